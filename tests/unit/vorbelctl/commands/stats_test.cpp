// The statistics text taken apart.
#include "vorbelctl/commands/stats.h"

#include <gtest/gtest.h>

namespace vorbelctl {
namespace {

const std::string text =
    "seq 12 messages 13 packets 9 reports 10 capped 2 cancels 1 corrections 3 halts 4 retrans 5 "
    "vorbeld faults: sent 8 dropped 1 duplicated 6 reordered 7";

TEST(Stats, AreReadByName) {
  const auto stats = parse_stats(text);
  ASSERT_TRUE(stats.has_value());
  EXPECT_EQ(json_line(*stats),
            R"({"seq":12,"messages":13,"packets":9,"reports":10,"capped":2,"cancels":1,"corrections":3,"halts":4,)"
            R"("retrans":5,"sent":8,"dropped":1,"duplicated":6,"reordered":7})");
  EXPECT_EQ(stat(*stats, "reordered"), 7U);
}

TEST(Stats, AreNothingElse) {
  EXPECT_FALSE(parse_stats("").has_value());
  EXPECT_FALSE(parse_stats("ok").has_value());
  EXPECT_FALSE(parse_stats(text + " more").has_value());
  EXPECT_FALSE(parse_stats(text.substr(0, text.size() - 2)).has_value());
  EXPECT_FALSE(parse_stats("seq x" + text.substr(6)).has_value());
  EXPECT_FALSE(parse_stats("seq 12x" + text.substr(6)).has_value());
}

}  // namespace
}  // namespace vorbelctl
