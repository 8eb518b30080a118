// Pieces of text fitted into a width.
#include "vorbelctl/commands/screen_text.h"

#include <gtest/gtest.h>

namespace vorbelctl {
namespace {

std::vector<std::string> texts_of(const std::vector<ScreenLine>& lines) {
  std::vector<std::string> texts;
  for (const ScreenLine& line : lines) texts.push_back(text_of(line));
  return texts;
}

using Texts = std::vector<std::string>;

TEST(ScreenText, FlowsBelowItsLabel) {
  const std::vector<Span> pieces{{"one 1"}, {"two 2"}, {"three 3"}};
  EXPECT_EQ(texts_of(flowed({"seen  "}, pieces, 80)), Texts{"seen  one 1  two 2  three 3"});
  EXPECT_EQ(texts_of(flowed({"seen  "}, pieces, 18)), (Texts{"seen  one 1  two 2", "      three 3"}));
  EXPECT_EQ(texts_of(flowed({"seen  "}, pieces, 5)), (Texts{"seen  one 1", "      two 2", "      three 3"}));
}

TEST(ScreenText, LosesBlanksBeforeItIsBroken) {
  EXPECT_EQ(fitted("  4  halt   a b", 15), Texts{"  4  halt   a b"});
  EXPECT_EQ(fitted("  4  halt   a b", 14), Texts{"4 halt a b"});
  EXPECT_EQ(fitted("  4  halt   abc def", 11), (Texts{"4 halt abc", "  def"}));
  EXPECT_EQ(fitted("abcdefghij", 6), (Texts{"abcdef", "  ghij"}));
  EXPECT_EQ(fitted("abcdefghij", 3), Texts{"abc"});
}

TEST(ScreenText, IsCutAndFilledAcrossItsPieces) {
  const ScreenLine line{{"abc", Look::bad}, {"def"}};
  EXPECT_EQ(text_of(clipped(line, 4)), "abcd");
  EXPECT_EQ(clipped(line, 3).size(), 1U);
  EXPECT_EQ(text_of(filled(line, 8, Look::alarm)), "abcdef  ");
  EXPECT_EQ(filled(line, 6, Look::alarm).size(), 2U);
}

}  // namespace
}  // namespace vorbelctl
