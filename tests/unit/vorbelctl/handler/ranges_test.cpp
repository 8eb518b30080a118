// Lists of missing numbers, and how they are said.
#include "vorbelctl/handler/ranges.h"

#include <gtest/gtest.h>

#include <limits>

namespace vorbelctl {
namespace {

using Ranges = std::vector<Range>;

TEST(Missing, AreJoinedWithTheirNeighboursBefore) {
  Ranges missing;
  list_missing(missing, {3, 4});
  list_missing(missing, {5, 9});
  list_missing(missing, {11, 11});
  EXPECT_EQ(missing, (Ranges{{3, 9}, {11, 11}}));
}

TEST(Missing, EndGrowingButForTheLast) {
  Ranges missing;
  for (std::uint64_t i = 0; i < most_missing_listed + 5; ++i) list_missing(missing, {2 * i, 2 * i});
  ASSERT_EQ(missing.size(), most_missing_listed);
  const std::uint64_t last = 2 * (most_missing_listed - 1);
  EXPECT_EQ(missing.back(), (Range{last, last}));
  list_missing(missing, {last + 1, last + 7});
  EXPECT_EQ(missing.back(), (Range{last, last + 7}));
}

TEST(RangeText, NamesOneNumberOnce) {
  EXPECT_EQ(range_text({7, 7}), "7");
  EXPECT_EQ(range_text({7, 9}), "7 to 9");
  EXPECT_EQ(range_text({1, std::numeric_limits<std::uint64_t>::max()}), "1 to 18446744073709551615");
}

TEST(MissingText, NamesTenRanges) {
  EXPECT_EQ(missing_text({}), "");
  EXPECT_EQ(missing_text({{7, 7}, {9, 12}}), "missing: 7, 9 to 12");
  Ranges missing;
  for (std::uint64_t i = 1; i <= 10; ++i) missing.push_back({2 * i, 2 * i});
  EXPECT_EQ(missing_text(missing), "missing: 2, 4, 6, 8, 10, 12, 14, 16, 18, 20");
  missing.push_back({22, 23});
  EXPECT_EQ(missing_text(missing), "missing: 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, ...");
}

}  // namespace
}  // namespace vorbelctl
