// Feed local time: the daylight-saving rule at its edges, and the calendar against the C library's.
#include "btds/local_time.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <random>
#include <string>

#include "tests/unit/btds/reference_time.h"

namespace vorbeld {
namespace {

constexpr std::int64_t standard = -18000;
constexpr std::int64_t daylight = -14400;

std::string date_time(std::int64_t utc_s) {
  std::array<char, 14> text;
  put_date_time(text, utc_s);
  return {text.data(), text.size()};
}

std::string date(std::int64_t utc_s) {
  std::array<char, 8> text;
  put_date(text, utc_s);
  return {text.data(), text.size()};
}

::testing::AssertionResult same_as_reference(std::int64_t utc_s) {
  if (local_offset(utc_s) != reference_offset(utc_s)) return ::testing::AssertionFailure() << "offset at " << utc_s;
  const std::string expected = reference_date_time(utc_s);
  if (date_time(utc_s) != expected.substr(0, 14)) {
    return ::testing::AssertionFailure() << utc_s << ": " << date_time(utc_s) << " for " << expected;
  }
  if (date(utc_s) != expected.substr(0, 8)) return ::testing::AssertionFailure() << utc_s << ": " << date(utc_s);
  return ::testing::AssertionSuccess();
}

TEST(LocalTime, InSummerIsFourHoursBehind) {
  EXPECT_EQ(date_time(utc_seconds(2024, 7, 1, 16)), "20240701120000");
  EXPECT_EQ(date(utc_seconds(2024, 7, 1, 16)), "20240701");
}

TEST(LocalTime, InWinterIsFiveHoursBehind) {
  EXPECT_EQ(date_time(utc_seconds(2024, 1, 15, 17)), "20240115120000");
  EXPECT_EQ(date(utc_seconds(2024, 1, 15, 17)), "20240115");
}

TEST(LocalTime, TurnsTheDateAtLocalMidnight) {
  EXPECT_EQ(date_time(utc_seconds(2024, 7, 1, 3, 59, 59)), "20240630235959");
  EXPECT_EQ(date_time(utc_seconds(2024, 7, 1, 4)), "20240701000000");
  EXPECT_EQ(date(utc_seconds(2025, 1, 1, 4, 59, 59)), "20241231");
  EXPECT_EQ(date(utc_seconds(2025, 1, 1, 5)), "20250101");
}

TEST(LocalTime, HasALeapDayWhereTheCalendarHasOne) {
  EXPECT_EQ(date(utc_seconds(2024, 2, 29, 12)), "20240229");
  EXPECT_EQ(date(utc_seconds(2023, 2, 28, 12) + 86400), "20230301");
  EXPECT_EQ(date(utc_seconds(2100, 2, 28, 12) + 86400), "21000301");
  EXPECT_EQ(date(utc_seconds(2000, 2, 28, 12) + 86400), "20000229");
}

TEST(Daylight, BeginsAtSevenOnTheSecondSundayOfMarch) {
  const std::int64_t start = utc_seconds(2024, 3, 10, 7);
  EXPECT_EQ(local_offset(start - 1), standard);
  EXPECT_EQ(local_offset(start), daylight);
  EXPECT_EQ(date_time(start - 1), "20240310015959");
  EXPECT_EQ(date_time(start), "20240310030000");
}

TEST(Daylight, EndsAtSixOnTheFirstSundayOfNovember) {
  const std::int64_t end = utc_seconds(2024, 11, 3, 6);
  EXPECT_EQ(local_offset(end - 1), daylight);
  EXPECT_EQ(local_offset(end), standard);
  EXPECT_EQ(date_time(end - 1), "20241103015959");
  EXPECT_EQ(date_time(end), "20241103010000");
}

// The earliest and the latest day that either change can fall on.
TEST(Daylight, ChangesOnTheDaysOfTheCalendar) {
  EXPECT_EQ(local_offset(utc_seconds(2015, 3, 8, 7)), daylight);  // 1 March is a Sunday
  EXPECT_EQ(local_offset(utc_seconds(2015, 3, 8, 7) - 1), standard);
  EXPECT_EQ(local_offset(utc_seconds(2021, 3, 14, 7)), daylight);  // 1 March is a Monday
  EXPECT_EQ(local_offset(utc_seconds(2021, 3, 14, 7) - 1), standard);
  EXPECT_EQ(local_offset(utc_seconds(2015, 11, 1, 6)), standard);  // 1 November is a Sunday
  EXPECT_EQ(local_offset(utc_seconds(2015, 11, 1, 6) - 1), daylight);
  EXPECT_EQ(local_offset(utc_seconds(2021, 11, 7, 6)), standard);  // 1 November is a Monday
  EXPECT_EQ(local_offset(utc_seconds(2021, 11, 7, 6) - 1), daylight);
}

TEST(Daylight, ChangesByTheRuleInEveryYear) {
  for (int year = 1970; year <= 2100; ++year) {
    EXPECT_EQ(local_offset(daylight_start(year) - 1), standard) << year;
    EXPECT_EQ(local_offset(daylight_start(year)), daylight) << year;
    EXPECT_EQ(local_offset(daylight_end(year) - 1), daylight) << year;
    EXPECT_EQ(local_offset(daylight_end(year)), standard) << year;
    for (const std::int64_t edge : {daylight_start(year), daylight_end(year)}) {
      for (std::int64_t step = -7200; step <= 7200; step += 1800) EXPECT_TRUE(same_as_reference(edge + step));
    }
  }
}

// The year that decides is that of UTC, which at the turn of the year is not the local one.
TEST(Daylight, IsStandardTimeAroundTheTurnOfEveryYear) {
  for (int year = 1970; year <= 2100; ++year) {
    for (std::int64_t step = -18001; step <= 18001; step += 1286) {
      EXPECT_TRUE(same_as_reference(utc_seconds(year, 1, 1) + step));
    }
  }
}

TEST(LocalTime, EveryDayOfTwoCenturiesIsThatOfTheCLibrary) {
  for (std::int64_t noon = utc_seconds(1900, 1, 1, 12); noon < utc_seconds(2101, 1, 1); noon += 86400) {
    ASSERT_TRUE(same_as_reference(noon));
  }
}

TEST(LocalTime, RandomInstantsOfTwentyMillenniaAreThoseOfTheCLibrary) {
  constexpr std::uint64_t seed = 99;
  std::mt19937_64 random(seed);
  std::uniform_int_distribution<std::int64_t> instants(utc_seconds(0, 1, 1), utc_seconds(20000, 12, 31));
  for (int i = 0; i < 100'000; ++i) ASSERT_TRUE(same_as_reference(instants(random))) << "seed " << seed;
}

TEST(LocalTime, BeforeTheEpochIsThatOfTheCLibrary) {
  EXPECT_EQ(date_time(0), "19691231190000");
  EXPECT_EQ(date_time(-1), "19691231185959");
  EXPECT_EQ(date_time(utc_seconds(1969, 7, 20, 20, 17, 40)), "19690720161740");
  std::mt19937_64 random(100);
  for (int i = 0; i < 20'000; ++i) {
    ASSERT_TRUE(same_as_reference(-static_cast<std::int64_t>(random() % 4'000'000'000)));
  }
}

TEST(LocalTime, CutsYearsWiderThanFourDigits) {
  const std::int64_t wide = utc_seconds(12345, 6, 7, 12, 34, 56);
  EXPECT_EQ(date_time(wide), "12345060708345");
  EXPECT_EQ(date(wide), "12345060");
  EXPECT_EQ(date_time(utc_seconds(10000, 1, 1, 5)), "10000010100000");
  EXPECT_EQ(date_time(utc_seconds(10000, 1, 1, 5) - 1), "99991231235959");
}

TEST(LocalTime, WritesYearsBeforeChristAsPrintfDoes) {
  EXPECT_EQ(date(utc_seconds(-1, 6, 7, 12)), "-0010607");
  EXPECT_EQ(date_time(utc_seconds(-12345, 6, 7, 12, 34, 56)), "-1234506070834");
  EXPECT_EQ(date(utc_seconds(0, 6, 7, 12)), "00000607");
}

// The latest execution time that a report in milliseconds can name.
TEST(LocalTime, TakesTheLargestExecutionTimeOfAReport) {
  constexpr std::uint64_t largest_s = std::numeric_limits<std::uint64_t>::max() / 1000;
  EXPECT_TRUE(same_as_reference(static_cast<std::int64_t>(largest_s)));
  EXPECT_TRUE(same_as_reference(static_cast<std::int64_t>(largest_s + 86400)));
}

}  // namespace
}  // namespace vorbeld
