// Splitting at one character: every rule, and a property over random texts. Tables keyed by text and asked with views.
#include "common/text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace vorbeld {
namespace {

using Pieces = std::vector<std::string_view>;

Pieces pieces_of(std::string_view text, char separator) {
  Pieces pieces;
  split(text, separator, pieces);
  return pieces;
}

TEST(Split, MakesOneEmptyPieceOfAnEmptyText) {
  EXPECT_EQ(pieces_of("", ','), (Pieces{""}));
}

TEST(Split, MakesOnePieceOfATextWithoutSeparator) {
  EXPECT_EQ(pieces_of("a b:c", ','), (Pieces{"a b:c"}));
}

TEST(Split, KeepsEmptyPieces) {
  EXPECT_EQ(pieces_of("a||b", '|'), (Pieces{"a", "", "b"}));
  EXPECT_EQ(pieces_of("|a", '|'), (Pieces{"", "a"}));
  EXPECT_EQ(pieces_of("||", '|'), (Pieces{"", "", ""}));
}

TEST(Split, GivesAnEmptyLastPieceForATrailingSeparator) {
  EXPECT_EQ(pieces_of("a,b,", ','), (Pieces{"a", "b", ""}));
}

TEST(Split, TrimsNothing) {
  EXPECT_EQ(pieces_of(" a , b\r,\t", ','), (Pieces{" a ", " b\r", "\t"}));
}

TEST(Split, ReplacesWhatThePiecesHeld) {
  Pieces pieces{"left", "over", "from", "before"};
  split("a,b", ',', pieces);
  EXPECT_EQ(pieces, (Pieces{"a", "b"}));
}

TEST(Split, TakesNoOtherByteForTheSeparator) {
  for (const char separator : {'|', '\0', '\x80', '\xff'}) {
    std::string others;
    for (int code = 0; code < 256; ++code) {
      if (static_cast<char>(code) != separator) others.append(3, static_cast<char>(code));
    }
    EXPECT_EQ(pieces_of(others, separator), (Pieces{others}));
    EXPECT_EQ(pieces_of(others + separator + others, separator), (Pieces{others, others}));
  }
}

TEST(Split, PiecesJoinedAgainGiveTheText) {
  std::mt19937 random(20240701);
  for (int round = 0; round < 20'000; ++round) {
    std::string text(random() % 100, '\0');
    for (char& letter : text) letter = "ab,:"[random() % 4];
    const Pieces pieces = pieces_of(text, ',');
    ASSERT_EQ(pieces.size(), static_cast<std::size_t>(std::count(text.begin(), text.end(), ',')) + 1) << text;
    std::string joined;
    for (const std::string_view piece : pieces) {
      ASSERT_EQ(piece.find(','), std::string_view::npos) << text;
      joined.append(piece).push_back(',');
    }
    joined.pop_back();
    ASSERT_EQ(joined, text);
  }
}

TEST(TextMap, FindsByAViewWhatWasPutUnderAString) {
  TextMap<int> map;
  map[std::string("037833DT4")] = 1;
  map[std::string()] = 2;
  const std::string_view line = "T|037833DT4|X";
  ASSERT_NE(map.find(line.substr(2, 9)), map.end());
  EXPECT_EQ(map.find(line.substr(2, 9))->second, 1);
  ASSERT_NE(map.find(std::string_view()), map.end());
  EXPECT_EQ(map.find(std::string_view())->second, 2);
  EXPECT_EQ(map.find(line.substr(2, 8)), map.end());
}

TEST(TextMap, TellsTextsApartBehindAZeroByte) {
  TextMap<int> map;
  map[std::string("a\0b", 3)] = 1;
  map[std::string("a\0c", 3)] = 2;
  EXPECT_EQ(map.size(), 2U);
  EXPECT_EQ(map.find(std::string_view("a\0c", 3))->second, 2);
}

}  // namespace
}  // namespace vorbeld
