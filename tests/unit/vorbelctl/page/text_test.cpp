// Small texts of the page: escapes, times, and axes whose labels are round and few whatever is drawn.
#include "vorbelctl/page/text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/unit/vorbelctl/page/outcomes.h"

namespace vorbelctl::page {
namespace {

TEST(MomentOfDay, HasMilliseconds) {
  EXPECT_EQ(moment_of_day(1719842709007), "10:05:09.007");
  EXPECT_EQ(moment_of_day(std::int64_t{1} << 60), "");
}

TEST(PageText, EscapesWhatHtmlWouldRead) {
  EXPECT_EQ(escaped("<b a=\"1\">&</b>"), "&lt;b a=&quot;1&quot;&gt;&amp;&lt;/b&gt;");
  EXPECT_EQ(escaped("a\tb\xff"), "a\\x09b\\xff");
}

TEST(PageText, ShowsFeedLocalTime) {
  EXPECT_EQ(time_of_day(noon_ms + 3 * 3600000 + 4 * 60000 + 5999), "15:04:05");
  EXPECT_EQ(date_and_time(noon_ms), "2024-07-01 12:00:00");
  EXPECT_EQ(time_of_day(std::numeric_limits<std::int64_t>::max()), "");
}

TEST(PageText, PutsNothingOutsideTheDrawing) {
  EXPECT_EQ(percent(1, 8), "12.50%");
  EXPECT_EQ(percent(-1, 8), "0.00%");
  EXPECT_EQ(percent(9, 8), "100.00%");
  EXPECT_EQ(percent(1, 0), "0.00%");
}

TEST(PageText, WritesExponentsWithoutAPlus) {
  EXPECT_EQ(with_exponent(1.254e26, 2), "1.25e26");
  EXPECT_EQ(with_exponent(-9.5e7, 1), "-9.5e07");
}

TEST(PageText, WordsDurations) {
  EXPECT_EQ(duration(999), "999 ms");
  EXPECT_EQ(duration(2100), "2.1 s");
  EXPECT_EQ(duration(250000), "4 min 10 s");
  EXPECT_EQ(duration(7500000), "2 h 5 min");
}

TEST(Axis, StepsByOneTwoOrFive) {
  EXPECT_DOUBLE_EQ(round_step(10, 10), 1);
  EXPECT_DOUBLE_EQ(round_step(11, 10), 2);
  EXPECT_DOUBLE_EQ(round_step(0.21, 10), 0.05);
  EXPECT_DOUBLE_EQ(round_step(5100, 10), 1000);
}

TEST(Axis, IsLabelledAtRoundValues) {
  const std::vector<double> labels = axis_labels(-0.7, 1.2, 4);
  ASSERT_EQ(labels.size(), 4U);
  EXPECT_DOUBLE_EQ(labels[0], -0.5);
  EXPECT_EQ(fixed(labels[1], 1), "0.0");
  EXPECT_DOUBLE_EQ(labels[3], 1);
}

TEST(Axis, HasNoLabelsWithoutASpan) {
  EXPECT_TRUE(axis_labels(5, 5, 4).empty());
  EXPECT_TRUE(axis_labels(6, 5, 4).empty());
  EXPECT_TRUE(axis_labels(std::numeric_limits<double>::quiet_NaN(), 5, 4).empty());
}

TEST(Axis, HasFewLabelsHoweverLargeAndCloseItsEndsAre) {
  constexpr double large = 1e20;
  constexpr double infinite = std::numeric_limits<double>::infinity();
  EXPECT_LE(axis_labels(large, std::nextafter(large, infinite), 4).size(), 5U);
  EXPECT_LE(axis_labels(0, std::numeric_limits<double>::max(), 4).size(), 5U);
  EXPECT_LE(axis_labels(0, std::numeric_limits<double>::denorm_min(), 4).size(), 5U);
  EXPECT_LE(axis_labels(0, infinite, 4).size(), 5U);
}

TEST(Axis, OfTimeIsLabelledAtFullHoursOfTheFeed) {
  const std::vector<std::int64_t> labels = time_labels(noon_ms - 600000, noon_ms + 3 * 3600000, 4);
  EXPECT_EQ(labels,
            (std::vector<std::int64_t>{noon_ms, noon_ms + 3600000, noon_ms + 2 * 3600000, noon_ms + 3 * 3600000}));
}

TEST(Axis, OfTimeHasFewLabelsHoweverLongTheRun) {
  constexpr std::int64_t year_ms = 365LL * 86400 * 1000;
  EXPECT_LE(time_labels(noon_ms, noon_ms + 20 * year_ms, 6).size(), 7U);
}

}  // namespace
}  // namespace vorbelctl::page
