// What an audit counts as the same, and how it keeps what is not.
#include "vorbelctl/audit/findings.h"

#include <gtest/gtest.h>

#include <limits>

namespace vorbelctl {
namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinite = std::numeric_limits<double>::infinity();

const Value nothing;

void find_difference(Findings& findings, std::uint64_t sequence, const std::string& field) {
  compare_value(findings, sequence, field, Witness::truth, std::string("A"), Witness::message, std::string("B"));
}

TEST(SameValue, ComparesNumbersToTheLastDecimalExpected) {
  EXPECT_TRUE(same_value(Number{98.25, 6}, Number{98.2500004, 6}));
  EXPECT_FALSE(same_value(Number{98.25, 6}, Number{98.2500006, 6}));
  EXPECT_TRUE(same_value(Number{98, 2}, std::uint64_t{98}));
  EXPECT_TRUE(same_value(std::uint64_t{98}, Number{98.4, 6}));
  EXPECT_FALSE(same_value(std::uint64_t{98}, std::uint64_t{99}));
}

TEST(SameValue, TakesTwoNumbersThatAreNoneForTheSame) {
  EXPECT_TRUE(same_value(Number{nan, 6}, Number{nan, 6}));
  EXPECT_FALSE(same_value(Number{nan, 6}, Number{0, 6}));
  EXPECT_FALSE(same_value(Number{0, 6}, Number{nan, 6}));
  EXPECT_TRUE(same_value(Number{infinite, 6}, Number{infinite, 6}));
  EXPECT_FALSE(same_value(Number{infinite, 6}, Number{-infinite, 6}));
}

TEST(SameValue, TakesNoNoticeOfBlanksBehindAText) {
  EXPECT_TRUE(same_value(std::string("AAPL"), std::string("AAPL   ")));
  EXPECT_FALSE(same_value(std::string("AAPL"), std::string(" AAPL")));
  EXPECT_TRUE(same_value(std::string("  "), nothing));
  EXPECT_TRUE(same_value(nothing, std::string()));
}

TEST(SameValue, KeepsKindsApart) {
  EXPECT_FALSE(same_value(nothing, Number{0, 0}));
  EXPECT_FALSE(same_value(std::string("98"), std::uint64_t{98}));
  EXPECT_FALSE(same_value(true, false));
  EXPECT_TRUE(same_value(true, true));
}

TEST(Findings, SayNothingOfWhatIsTheSame) {
  Findings findings;
  compare_value(findings, 5, "side", Witness::truth, std::string("B"), Witness::message, std::string("B"));
  EXPECT_EQ(findings.total, 0U);
  EXPECT_FALSE(findings.first);
}

TEST(Findings, ShowBothSides) {
  Findings findings;
  compare_value(findings, 5, "as_of", Witness::truth, std::string("R"), Witness::message, std::string(" "));
  ASSERT_EQ(findings.listed.size(), 1U);
  EXPECT_EQ(findings.listed[0].sequence, 5U);
  EXPECT_EQ(findings.listed[0].field, "as_of");
  EXPECT_EQ(findings.listed[0].expected, "R");
  EXPECT_EQ(findings.listed[0].found, "\" \"") << "a blank must be seen";
}

TEST(Findings, CutWhatIsTooLongToShow) {
  Findings findings;
  compare_value(findings, 5, "symbol", Witness::truth, std::string(500, 'x'), Witness::message, nothing);
  EXPECT_EQ(findings.listed.at(0).expected, std::string(120, 'x') + "...");
  EXPECT_EQ(findings.listed.at(0).found, "-");
}

TEST(Findings, NameTheLowestSequenceNumberAndTheFieldFoundFirst) {
  Findings findings;
  find_difference(findings, 9, "price");
  find_difference(findings, 4, "side");
  find_difference(findings, 4, "quantity");
  EXPECT_EQ(findings.first->sequence, 4U);
  EXPECT_EQ(findings.first->field, "side");
}

TEST(Findings, AreCountedBeyondThoseThatAreListed) {
  Findings findings;
  for (std::uint64_t sequence = 2000; sequence > 0; --sequence) find_difference(findings, sequence, "side");
  EXPECT_EQ(findings.total, 2000U);
  EXPECT_EQ(findings.listed.size(), most_differences_listed);
  EXPECT_EQ(findings.first->sequence, 1U);
}

}  // namespace
}  // namespace vorbelctl
