// When what a handler wrote down says what the message does, whatever way of writing it chose.
#include "vorbelctl/audit/claim.h"

#include <gtest/gtest.h>

#include <limits>

namespace vorbelctl {
namespace {

using vorbeld::Form;

constexpr double tolerance = 0.5e-6;

Claim number_claim(double number) {
  return {"x", Claim::Type::number, std::to_string(number), number, false};
}

Claim text_claim(const std::string& text) {
  return {"x", Claim::Type::text, text, 0, false};
}

Claim flag_claim(bool flag) {
  return {"x", Claim::Type::flag, "", 0, flag};
}

const Claim null_claim{"x", Claim::Type::nothing, "", 0, false};

Cell number_cell(double number) {
  return {{}, number, true};
}

Cell text_cell(std::string_view text) {
  return {text, 0, true};
}

bool says_price(const Claim& claim, const Cell& cell) {
  return says(claim, cell, Form::price, "", tolerance);
}

bool says_text(const Claim& claim, std::string_view text) {
  return says(claim, text_cell(text), Form::text, "", 0);
}

bool says_code(const Claim& claim, std::string_view code, std::string_view codes) {
  return says(claim, text_cell(code), Form::code, codes, 0);
}

TEST(Says, ComparesNumbersWithinTheTolerance) {
  EXPECT_TRUE(says_price(number_claim(98.25), number_cell(98.25)));
  EXPECT_TRUE(says_price(number_claim(98.2500004), number_cell(98.25)));
  EXPECT_FALSE(says_price(number_claim(98.2500006), number_cell(98.25)));
  EXPECT_FALSE(says_price(number_claim(-98.25), number_cell(98.25)));
  EXPECT_TRUE(says(number_claim(98.4), number_cell(98), Form::quantity, "", 0.5));
}

TEST(Says, TakesNumbersWrittenAsTexts) {
  EXPECT_TRUE(says_price(text_claim("98.250000"), number_cell(98.25)));
  EXPECT_TRUE(says_price(text_claim("98.25  "), number_cell(98.25)));
  EXPECT_TRUE(says_price(text_claim("9.825e1"), number_cell(98.25)));
  EXPECT_FALSE(says_price(text_claim("98.26"), number_cell(98.25)));
  EXPECT_FALSE(says_price(text_claim("98.25x"), number_cell(98.25)));
  EXPECT_FALSE(says_price(text_claim("98.25"), Cell()));
}

TEST(Says, TakesNoNumberForOneThatIsNone) {
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  constexpr double infinite = std::numeric_limits<double>::infinity();
  EXPECT_FALSE(says_price(number_claim(98.25), number_cell(nan)));
  EXPECT_FALSE(says_price(number_claim(nan), number_cell(98.25)));
  EXPECT_FALSE(says_price(text_claim("nan"), number_cell(98.25)));
  EXPECT_FALSE(says_price(number_claim(1e308), number_cell(98.25)));
  EXPECT_TRUE(says_price(number_claim(infinite), number_cell(infinite)));
  for (const char* const text : {"inf", "Infinity"}) {
    EXPECT_TRUE(says_price(text_claim(text), number_cell(infinite))) << text;
    EXPECT_FALSE(says_price(text_claim(text), number_cell(nan))) << text;
  }
  EXPECT_TRUE(says_price(text_claim("NaN"), number_cell(nan)));
  EXPECT_FALSE(says_price(number_claim(infinite), number_cell(-infinite)));
}

TEST(Says, TakesDigitsForNumbersToo) {
  const Cell id = text_cell("0000042");
  EXPECT_TRUE(says(text_claim("0000042"), id, Form::optional_digits, "", 0));
  EXPECT_TRUE(says(number_claim(42), id, Form::optional_digits, "", 0));
  EXPECT_FALSE(says(number_claim(43), id, Form::optional_digits, "", 0));
  EXPECT_FALSE(says(text_claim("42"), id, Form::optional_digits, "", 0)) << "a text is all of its digits";
  EXPECT_TRUE(says(number_claim(20240701120000), text_cell("20240701120000"), Form::digits, "", 0));
}

TEST(Says, TakesNoNumberForAText) {
  EXPECT_FALSE(says_text(number_claim(0), "AAPL"));
  EXPECT_FALSE(says_text(number_claim(0), ""));
}

TEST(Says, TakesNoNoticeOfBlanksBehindAText) {
  EXPECT_TRUE(says_text(text_claim("AAPL"), "AAPL"));
  EXPECT_TRUE(says_text(text_claim("AAPL   "), "AAPL"));
  EXPECT_FALSE(says_text(text_claim(" AAPL"), "AAPL"));
  EXPECT_FALSE(says_text(text_claim("AAP"), "AAPL"));
  EXPECT_FALSE(says_text(text_claim("aapl"), "AAPL"));
}

TEST(Says, TakesATextAsJsonCanShowIt) {
  EXPECT_TRUE(says_text(text_claim("A\xef\xbf\xbd"), "A\xff"));
  EXPECT_FALSE(says_text(text_claim("A?"), "A\xff"));
}

TEST(Says, TakesNullAndBlanksForNothing) {
  for (const Claim& nothing : {null_claim, text_claim(""), text_claim("  ")}) {
    EXPECT_TRUE(says(nothing, Cell(), Form::yield, "", tolerance));
    EXPECT_TRUE(says(nothing, Cell(), Form::optional_digits, "", 0));
    EXPECT_TRUE(says_text(nothing, ""));
    EXPECT_TRUE(says_code(nothing, " ", "Y "));
    EXPECT_FALSE(says_text(nothing, "AAPL"));
    EXPECT_FALSE(says_code(nothing, "Y", "Y "));
    EXPECT_FALSE(says_price(nothing, number_cell(0)));
  }
}

TEST(Says, TakesNullForWhatJsonHasNoNumberFor) {
  EXPECT_TRUE(says_price(null_claim, number_cell(std::numeric_limits<double>::infinity())));
  EXPECT_TRUE(says_price(null_claim, number_cell(std::numeric_limits<double>::quiet_NaN())));
  EXPECT_FALSE(says_price(null_claim, number_cell(98.25)));
}

TEST(Says, TakesNaNForNothing) {
  EXPECT_TRUE(says(text_claim("NaN"), Cell(), Form::yield, "", tolerance));
  EXPECT_FALSE(says(text_claim("inf"), Cell(), Form::yield, "", tolerance));
}

TEST(Says, TakesNoZeroForNothing) {
  EXPECT_FALSE(says(number_claim(0), Cell(), Form::yield, "", tolerance));
  EXPECT_FALSE(says(number_claim(0), Cell(), Form::optional_digits, "", 0));
}

TEST(Says, TakesFlagsForYAndBlankAlone) {
  EXPECT_TRUE(says_code(flag_claim(true), "Y", "Y "));
  EXPECT_TRUE(says_code(flag_claim(false), " ", "Y "));
  EXPECT_FALSE(says_code(flag_claim(true), " ", "Y "));
  EXPECT_FALSE(says_code(flag_claim(false), "Y", "Y "));
  EXPECT_FALSE(says_code(flag_claim(true), "W", "W "));
  EXPECT_FALSE(says_price(flag_claim(true), number_cell(1)));
}

TEST(Says, WantsTheVeryCode) {
  EXPECT_TRUE(says_code(text_claim("R"), "R", "AR "));
  EXPECT_FALSE(says_code(text_claim("A"), "R", "AR "));
  EXPECT_FALSE(says_code(text_claim("RR"), "R", "AR "));
  EXPECT_TRUE(says_code(text_claim(" "), " ", "AR "));
}

TEST(Claims, AreFoundByName) {
  const Claims claims{{"a", Claim::Type::number, "1", 1, false}, {"b", Claim::Type::number, "2", 2, false}};
  EXPECT_EQ(find_claim(claims, "b"), &claims[1]);
  EXPECT_EQ(find_claim(claims, "c"), nullptr);
}

TEST(ClaimText, IsForPeople) {
  EXPECT_EQ(claim_text(null_claim), "-");
  EXPECT_EQ(claim_text(flag_claim(true)), "true");
  EXPECT_EQ(claim_text(flag_claim(false)), "false");
  EXPECT_EQ(claim_text(number_claim(98.25)), "98.250000");
  EXPECT_EQ(claim_text(text_claim(" ")), "\" \"");
  EXPECT_EQ(claim_text(text_claim("\x1b")), "\\x1b");
  EXPECT_EQ(claim_text(text_claim(std::string(200, 'x'))), std::string(120, 'x') + "...");
}

}  // namespace
}  // namespace vorbelctl
