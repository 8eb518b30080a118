// The percentiles that every latency figure is made of.
#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "bench/load.h"

namespace vorbeld {
namespace {

TEST(SpreadOf, TakesTheNearestRankOfUnsortedDurations) {
  std::vector<std::uint64_t> durations(2000);
  std::iota(durations.rbegin(), durations.rend(), 1);
  const Spread spread = spread_of(durations);
  EXPECT_EQ(spread.p50, 1000U);
  EXPECT_EQ(spread.p99, 1980U);
  EXPECT_EQ(spread.p999, 1998U);
}

TEST(SpreadOf, TakesTheWorstWhereThereAreFewerThanItsRankNeeds) {
  const Spread spread = spread_of({7, 900, 30});
  EXPECT_EQ(spread.p50, 30U);
  EXPECT_EQ(spread.p99, 900U);
  EXPECT_EQ(spread.p999, 900U);
}

TEST(SpreadOf, IsZeroForNothing) {
  const Spread spread = spread_of({});
  EXPECT_EQ(spread.p50 + spread.p99 + spread.p999, 0U);
}

}  // namespace
}  // namespace vorbeld
