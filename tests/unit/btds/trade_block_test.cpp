// The 74-byte trade block, compared with bytes worked out by hand.
#include "btds/trade_block.h"

#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <string>

#include "tests/unit/btds/reference_time.h"

namespace vorbeld {
namespace {

TradeTerms plain_terms() {
  TradeTerms terms;
  terms.price = 98.5;
  terms.quantity = 1'000'000;
  terms.exec_s = static_cast<std::uint64_t>(utc_seconds(2024, 7, 1, 16));
  return terms;
}

std::string block_of(const TradeTerms& terms, bool high_yield = false, std::optional<double> yield = 4.5) {
  TradeBody block{};
  encode_trade_block(block, high_yield, terms, yield);
  return {block.data(), block.size()};
}

// Quantity indicator and quantity.
std::string quantity_of(double quantity, bool high_yield) {
  TradeTerms terms = plain_terms();
  terms.quantity = quantity;
  return block_of(terms, high_yield).substr(0, 15);
}

std::string settlement_of(const TradeTerms& terms) {
  return block_of(terms).substr(48, 8);
}

TEST(TradeBlock, PutsEachFieldWhereReceiversLookForIt) {
  TradeTerms terms = plain_terms();
  terms.remuneration = 'M';
  terms.special = 'Y';
  terms.side = 'B';
  terms.as_of = 'A';
  terms.sale_condition_3 = 'Z';
  terms.sale_condition_4 = 'W';
  terms.settle_s = static_cast<std::uint64_t>(utc_seconds(2024, 7, 3, 12));
  terms.second_modifier = '2';
  terms.reporting_party = 'T';
  terms.contra_party = 'C';
  terms.ats = 'Y';
  EXPECT_EQ(block_of(terms),
            "A"
            "00001000000.00"
            "0098.500000"
            "M"
            "Y"
            "B"
            "A"
            "20240701120000"
            "  "
            "Z"
            "W"
            "20240703"
            " 000004.500000"
            "2"
            "T"
            "C"
            "Y");
}

TEST(TradeBlock, IsBlankWhereAnAttributeDoesNotApply) {
  EXPECT_EQ(block_of(plain_terms(), false, std::nullopt),
            "A"
            "00001000000.00"
            "0098.500000"
            "  S "
            "20240701120000"
            "    "
            "20240702"
            "              "
            " DD ");
}

TEST(TradeBlock, CopiesAttributesAsTheyAre) {
  TradeTerms terms = plain_terms();
  terms.side = '"';
  terms.second_modifier = '\xff';
  const std::string block = block_of(terms);
  EXPECT_EQ(block[28], '"');
  EXPECT_EQ(block[70], '\xff');
}

TEST(Cap, OfInvestmentGradeIsFiveMillion) {
  EXPECT_EQ(quantity_of(5'000'000, false), "A00005000000.00");
  EXPECT_EQ(quantity_of(5'000'000.01, false), "E5MM+          ");
  EXPECT_EQ(quantity_of(7'000'000, false), "E5MM+          ");
}

TEST(Cap, OfHighYieldIsOneMillion) {
  EXPECT_EQ(quantity_of(1'000'000, true), "A00001000000.00");
  EXPECT_EQ(quantity_of(1'000'000.01, true), "E1MM+          ");
  EXPECT_EQ(quantity_of(1'000'001, true), "E1MM+          ");
}

TEST(Cap, IsExceededByInfinityAndNotByNan) {
  EXPECT_EQ(quantity_of(std::numeric_limits<double>::infinity(), false), "E5MM+          ");
  EXPECT_EQ(quantity_of(std::numeric_limits<double>::quiet_NaN(), true), "A           nan");
}

TEST(Cap, LeavesNegativeQuantitiesAlone) {
  EXPECT_EQ(quantity_of(-6'000'000, false), "A-0006000000.00");
}

TEST(Settlement, IsTheLocalDateOfItsInstant) {
  TradeTerms terms = plain_terms();
  terms.settle_s = static_cast<std::uint64_t>(utc_seconds(2024, 7, 3, 3, 59, 59));
  EXPECT_EQ(settlement_of(terms), "20240702");
  terms.settle_s += 1;
  EXPECT_EQ(settlement_of(terms), "20240703");
}

TEST(Settlement, WithoutAnInstantIsOneDayAfterExecution) {
  TradeTerms terms = plain_terms();
  terms.exec_s = static_cast<std::uint64_t>(utc_seconds(2024, 12, 31, 12));
  EXPECT_EQ(settlement_of(terms), "20250101");
}

// 23:30 before a day of 23 hours; 86400 seconds later that day is over.
TEST(Settlement, CountsADayAs86400Seconds) {
  TradeTerms terms = plain_terms();
  terms.exec_s = static_cast<std::uint64_t>(utc_seconds(2024, 3, 10, 4, 30));
  EXPECT_EQ(block_of(terms).substr(30, 14), "20240309233000");
  EXPECT_EQ(settlement_of(terms), "20240311");
}

TEST(Amounts, AreAllThatChangesInABlock) {
  TradeBody block{};
  TradeTerms terms = plain_terms();
  terms.remuneration = 'M';
  encode_trade_block(block, false, terms, 4.5);
  encode_amounts(block, false, -3, 8'000'000, std::nullopt);
  EXPECT_EQ(std::string(block.data(), block.size()),
            "E"
            "5MM+          "
            "0000.000000"
            "M S "
            "20240701120000"
            "    "
            "20240702"
            "              "
            " DD ");
}

TEST(Body, GivesItsFieldsOneByOne) {
  TradeBody body;
  for (std::size_t i = 0; i < body.size(); ++i) body[i] = static_cast<char>('0' + i);
  EXPECT_EQ(body_char(body, layout::trade_body["side"]), '0' + 28);
  EXPECT_EQ(body_text(body, layout::trade_body["settlement"]), "`abcdefg");  // from offset 48
}

}  // namespace
}  // namespace vorbeld
