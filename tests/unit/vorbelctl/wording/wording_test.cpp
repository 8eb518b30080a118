// Figures and counts as people read them.
#include "vorbelctl/wording/wording.h"

#include <gtest/gtest.h>

#include <limits>

namespace vorbelctl {
namespace {

TEST(Grouped, HasACommaBeforeEachThreeDigits) {
  EXPECT_EQ(grouped(0), "0");
  EXPECT_EQ(grouped(999), "999");
  EXPECT_EQ(grouped(1000), "1,000");
  EXPECT_EQ(grouped(123456), "123,456");
  EXPECT_EQ(grouped(1234567), "1,234,567");
  EXPECT_EQ(grouped(std::numeric_limits<std::uint64_t>::max()), "18,446,744,073,709,551,615");
}

TEST(Counted, IsPluralButForOne) {
  EXPECT_EQ(counted(0, "gap"), "0 gaps");
  EXPECT_EQ(counted(1, "gap"), "1 gap");
  EXPECT_EQ(counted(2000, "message"), "2,000 messages");
}

}  // namespace
}  // namespace vorbelctl
