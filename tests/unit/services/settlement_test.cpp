// The settlement date of a report: the one field that tolerates bad text.
#include <gtest/gtest.h>

#include <cstdint>
#include <string_view>

#include "services/report_line.h"

namespace vorbeld {
namespace {

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
