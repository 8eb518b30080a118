// Feed local time as the audit works it out: the edges of summer, and the hours that exist twice or not at all.
#include "vorbelctl/audit/eastern_time.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace vorbelctl {
namespace {

using Listed = std::vector<std::int64_t>;

Listed listed(const Instants& instants) {
  return {instants.begin(), instants.end()};
}

constexpr std::int64_t summer_2024_s = 1710054000;  // 10 March 2024 07:00 UTC
constexpr std::int64_t winter_2024_s = 1730613600;  // 3 November 2024 06:00 UTC

TEST(EasternTime, ChangesAtTwoInTheMorning) {
  EXPECT_EQ(local_date_time(summer_2024_s - 1), "20240310015959");
  EXPECT_EQ(local_date_time(summer_2024_s), "20240310030000");
  EXPECT_EQ(local_date_time(winter_2024_s - 1), "20241103015959");
  EXPECT_EQ(local_date_time(winter_2024_s), "20241103010000");
  EXPECT_EQ(local_offset_s(summer_2024_s), -14400);
  EXPECT_EQ(local_offset_s(winter_2024_s), -18000);
}

TEST(EasternTime, HasNoTextOutsideTheYearsOfFourDigits) {
  constexpr std::int64_t year_1_s = -62135596800;
  constexpr std::int64_t year_10000_s = 253402300800;
  EXPECT_EQ(local_date_time(year_1_s), "");  // still the year before by local time
  EXPECT_EQ(local_date_time(year_1_s + 18000), "00010101000000");
  EXPECT_EQ(local_date_time(year_10000_s - 1), "99991231185959");
  EXPECT_EQ(local_date_time(year_10000_s), "");
  EXPECT_EQ(local_date_time(INT64_MAX), "");
  EXPECT_EQ(local_date_time(INT64_MIN), "");
}

TEST(EasternTime, IsReadBack) {
  EXPECT_EQ(listed(utc_of_local("20240701120000")), Listed{1719849600});
  EXPECT_EQ(listed(utc_of_local("20240115120000")), Listed{1705338000});
}

TEST(EasternTime, MayMeanTwoInstantsInAutumnAndNoneInSpring) {
  EXPECT_EQ(listed(utc_of_local("20241103013000")), (Listed{winter_2024_s - 1800, winter_2024_s + 1800}));
  EXPECT_EQ(listed(utc_of_local("20240310023000")), Listed{});
}

TEST(EasternTime, IsNotReadFromWhatIsNoDateAndTime) {
  for (const auto* const digits : {"", "2024070112000", "202407011200000", "20240701 20000", "20240230120000",
                                   "20240701240000", "20240701126000", "20240701120060", "00000101000000"}) {
    EXPECT_EQ(listed(utc_of_local(digits)), Listed{}) << digits;
  }
}

TEST(EasternTime, IsOneInstantExceptInTheNightsOfChange) {
  EXPECT_TRUE(is_one_instant("20240701120000"));
  EXPECT_TRUE(is_one_instant("20241103005959"));
  EXPECT_FALSE(is_one_instant("20241103010000"));
  EXPECT_FALSE(is_one_instant("20241103015959"));
  EXPECT_TRUE(is_one_instant("20241103020000"));
  EXPECT_FALSE(is_one_instant("20240310020000"));
  EXPECT_FALSE(is_one_instant("no time"));
}

TEST(EasternTime, IsReadBackOverFourCenturies) {
  for (std::int64_t utc_s = -5000000000; utc_s < 8000000000; utc_s += 86400 * 3 + 12347) {
    const auto instants = utc_of_local(local_date_time(utc_s));
    ASSERT_NE(std::find(instants.begin(), instants.end(), utc_s), instants.end()) << utc_s;
  }
}

}  // namespace
}  // namespace vorbelctl
