// The report line: what is one, what each of its fields becomes, and the settlement date, the one field that tolerates
// bad text.
#include "services/report_line.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "common/text.h"

namespace vorbeld {
namespace {

constexpr std::uint64_t report_ms = 1'700'000'123'456;

std::vector<std::string_view> fields_of(std::string_view line) {
  std::vector<std::string_view> fields;
  split(line, '|', fields);
  return fields;
}

TradeInput read(std::string_view line) {
  SettlementMemo memo;
  return read_report(fields_of(line), memo, report_ms);
}

TEST(ReportLine, NeedsTenFieldsAndTheRecordType) {
  EXPECT_TRUE(is_report(fields_of("T|c|s|1|2|B|v|3|d|w")));
  EXPECT_TRUE(is_report(fields_of("T|||||||||")));
  EXPECT_TRUE(is_report(fields_of("T|c|s|1|2|B|v|3|d|w|eleventh|twelfth")));
}

TEST(ReportLine, IsRefusedWithNineFields) {
  EXPECT_FALSE(is_report(fields_of("T|c|s|1|2|B|v|3|d")));
  EXPECT_FALSE(is_report(fields_of("")));
  EXPECT_FALSE(is_report(fields_of("T")));
}

TEST(ReportLine, IsRefusedUnderAnyOtherRecordType) {
  EXPECT_FALSE(is_report(fields_of("t|c|s|1|2|B|v|3|d|w")));
  EXPECT_FALSE(is_report(fields_of("T |c|s|1|2|B|v|3|d|w")));
  EXPECT_FALSE(is_report(fields_of(" T|c|s|1|2|B|v|3|d|w")));
  EXPECT_FALSE(is_report(fields_of("TT|c|s|1|2|B|v|3|d|w")));
  EXPECT_FALSE(is_report(fields_of("|c|s|1|2|B|v|3|d|w")));
  EXPECT_FALSE(is_report(fields_of("X|c|s|1|2|B|v|3|d|w|T")));
}

TEST(ReportLine, BecomesATrade) {
  const TradeInput input = read("T|037833DT4|X|98.5|1000000|B|ATS1|1700000000000|20231116|book");
  EXPECT_EQ(input.cusip, "037833DT4");
  EXPECT_EQ(input.symbol, "X");
  EXPECT_EQ(input.venue, "ATS1");
  EXPECT_EQ(input.where, "book");
  EXPECT_EQ(input.terms.price, 98.5);
  EXPECT_EQ(input.terms.quantity, 1'000'000.0);
  EXPECT_EQ(input.terms.exec_s, 1'700'000'000U);
  EXPECT_EQ(input.exec_ms, 1'700'000'000'000U);
  EXPECT_EQ(input.terms.settle_s, 1'700'136'000U);
  EXPECT_EQ(input.report_ms, report_ms);
}

TEST(ReportLine, WantsAYieldAndLeavesAllConditionsBlank) {
  const TradeInput input = read("T|c|s|98.5|1000|B|v|1700000000000|20231116|w");
  EXPECT_TRUE(input.terms.yield_wanted);
  EXPECT_EQ(input.terms.as_of, ' ');
  EXPECT_EQ(input.terms.sale_condition_3, ' ');
  EXPECT_EQ(input.terms.sale_condition_4, ' ');
  EXPECT_EQ(input.terms.special, ' ');
  EXPECT_EQ(input.terms.second_modifier, ' ');
  EXPECT_EQ(input.orig_trade_date_s, 0U);
}

TEST(ReportLine, ReadsMillisecondsOfExecutionIntoWholeSeconds) {
  const TradeInput input = read("T|c|s|1|1|B|v|1700000000999|20231116|w");
  EXPECT_EQ(input.terms.exec_s, 1'700'000'000U);
  EXPECT_EQ(input.exec_ms, 1'700'000'000'999U);
}

TEST(ReportLine, KeepsTextsAsTheyAre) {
  const TradeInput input = read("T| c | \"s\\ |1|1|B| v |0||  w\t");
  EXPECT_EQ(input.cusip, " c ");
  EXPECT_EQ(input.symbol, " \"s\\ ");
  EXPECT_EQ(input.venue, " v ");
  EXPECT_EQ(input.where, "  w\t");
}

// The parties that field 5 stands for, written as side, contra party and remuneration.
std::string parties(std::string_view side_field) {
  const TradeTerms terms = read("T|c|s|1|1|" + std::string(side_field) + "|v|0||w").terms;
  return {terms.side, terms.contra_party, terms.remuneration};
}

TEST(ReportLine, IsBetweenDealersWithNoSideOrAD) {
  EXPECT_EQ(parties(""), "SD ");
  EXPECT_EQ(parties("D"), "SD ");
  EXPECT_EQ(parties("Dealer"), "SD ");
}

TEST(ReportLine, IsACustomerTradeWithAnyOtherSide) {
  EXPECT_EQ(parties("B"), "BCM");
  EXPECT_EQ(parties("S"), "SCM");
  EXPECT_EQ(parties("Buy"), "BCM");
  EXPECT_EQ(parties("BD"), "BCM");
  EXPECT_EQ(parties("d"), "dCM");
  EXPECT_EQ(parties(" D"), " CM");
  EXPECT_EQ(parties("\""), "\"CM");
}

// Reporting party and ATS indicator that field 9 stands for.
std::string place(std::string_view where_field) {
  const TradeTerms terms = read("T|c|s|1|1|B|v|0||" + std::string(where_field)).terms;
  return {terms.reporting_party, terms.ats};
}

TEST(ReportLine, IsAnAtsTradeOnlyOnTheBook) {
  EXPECT_EQ(place("book"), "TY");
  EXPECT_EQ(place(""), "D ");
  EXPECT_EQ(place("away"), "D ");
  EXPECT_EQ(place("Book"), "D ");
  EXPECT_EQ(place("book\r"), "D ");
  EXPECT_EQ(place("book "), "D ");
  EXPECT_EQ(place("book|eleventh"), "TY");
}

using namespace std::string_view_literals;

struct Settlement {
  std::string_view field;
  std::int64_t expected_s;
};

class SettlementText : public testing::TestWithParam<Settlement> {};

TEST_P(SettlementText, IsReadAsNoonOfItsDateOrNotAtAll) {
  SettlementMemo memo;
  EXPECT_EQ(settlement_s(memo, GetParam().field), static_cast<std::uint64_t>(GetParam().expected_s));
}

INSTANTIATE_TEST_SUITE_P(Dates, SettlementText,
                         testing::Values(Settlement{"20231116", 1'700'136'000}, Settlement{"20240229", 1'709'208'000},
                                         Settlement{"19700101", 43'200}, Settlement{"99991231", 253'402'257'600}));

// Months and days past their range carry over.
INSTANTIATE_TEST_SUITE_P(CarriedOver, SettlementText,
                         testing::Values(Settlement{"20230230", 1'677'758'400},   // 2 March 2023
                                         Settlement{"20231301", 1'704'110'400},   // 1 January 2024
                                         Settlement{"20230100", 1'672'488'000},   // 31 December 2022
                                         Settlement{"20230099", 1'678'363'200},   // 99th day of December 2022
                                         Settlement{"00000000", -62'169'940'800}  // 30 November of the year before 0
                                         ));

INSTANTIATE_TEST_SUITE_P(BeforeTheEpoch, SettlementText, testing::Values(Settlement{"19691231", -43'200}));

// What the scan makes of texts that are no plain dates but hold three numbers.
INSTANTIATE_TEST_SUITE_P(Scanned, SettlementText,
                         testing::Values(Settlement{"2023 1 1", 1'672'574'400},  // 1 January 2023
                                         Settlement{"2023111x", 1'698'840'000},  // 1 November 2023
                                         Settlement{"2023+1+1", 1'672'574'400}));

INSTANTIATE_TEST_SUITE_P(Refused, SettlementText,
                         testing::Values(Settlement{"", 0}, Settlement{"2023111", 0}, Settlement{"202311160", 0},
                                         Settlement{"2023-1-1", 0}, Settlement{"2023-112", 0},
                                         Settlement{"-2023111", 0}, Settlement{"abcdefgh", 0},
                                         Settlement{"2023abcd", 0}, Settlement{"202311  ", 0},
                                         Settlement{"        ", 0}, Settlement{"\0\0\0\0\0\0\0\0"sv, 0},
                                         Settlement{"2023\0001116"sv.substr(0, 8), 0}));

TEST(Settlement, IsReadAfreshForEachDate) {
  SettlementMemo memo;
  EXPECT_EQ(settlement_s(memo, "20231116"), 1'700'136'000U);
  EXPECT_EQ(settlement_s(memo, "20231116"), 1'700'136'000U);
  EXPECT_EQ(settlement_s(memo, "20240229"), 1'709'208'000U);
  EXPECT_EQ(settlement_s(memo, "2023-1-1"), 0U);
  EXPECT_EQ(settlement_s(memo, "2023-1-1"), 0U);
  EXPECT_EQ(settlement_s(memo, "2023111"), 0U);
  EXPECT_EQ(settlement_s(memo, "20240229"), 1'709'208'000U);
}

}  // namespace
}  // namespace vorbeld
