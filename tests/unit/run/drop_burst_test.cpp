// The drop burst of the command line: how its text is read, and that it reaches the feed.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>

#include "tests/unit/run/start_fixture.h"

namespace vorbeld {
namespace {

using Burst = std::pair<std::uint64_t, std::uint32_t>;

// Start and length that a run makes of the text.
Burst burst_of(const std::string& text) {
  StartBench bench;
  bench.options.drop_burst = text;
  start(bench);
  return {bench.run.publisher.faults.drop_burst_start, bench.run.publisher.faults.drop_burst_length};
}

TEST(DropBurst, IsNoneWithoutAText) {
  EXPECT_EQ(burst_of(""), Burst(0, 0));
}

TEST(DropBurst, HasItsStartAndLength) {
  EXPECT_EQ(burst_of("100:3"), Burst(100, 3));
  EXPECT_EQ(burst_of("10:0"), Burst(10, 0));
}

TEST(DropBurst, IsOnePacketLongWithoutALength) {
  EXPECT_EQ(burst_of("100"), Burst(100, 1));
}

TEST(DropBurst, ReadsNumbersLikeTheOtherOptions) {
  EXPECT_EQ(burst_of("70x: 2y"), Burst(70, 2));
  EXPECT_EQ(burst_of("100:2:3"), Burst(100, 2));
  EXPECT_EQ(burst_of("011:010"), Burst(11, 10));
  EXPECT_EQ(burst_of("-1:-1"), Burst(18'446'744'073'709'551'615U, 4'294'967'295U));
  EXPECT_EQ(burst_of("100:4294967297"), Burst(100, 1));
}

TEST(DropBurst, ThrowsWhatCannotBeRead) {
  for (const std::string text : {"x", ":3", ":", "100:", "100:x", " "}) {
    EXPECT_THROW(burst_of(text), std::invalid_argument) << text;
  }
  EXPECT_THROW(burst_of("18446744073709551616"), std::out_of_range);
  EXPECT_THROW(burst_of("1:18446744073709551616"), std::out_of_range);
}

TEST(DropBurst, NamesTheConversionThatFailed) {
  const auto thrown = [](const std::string& text) -> std::string {
    try {
      burst_of(text);
    } catch (const std::invalid_argument& error) {
      return error.what();
    }
    return "nothing";
  };
  EXPECT_EQ(thrown("x:1"), "stoull");
  EXPECT_EQ(thrown("1:x"), "stoul");
}

TEST(DropBurst, ReachesTheVeryFirstPacket) {
  StartBench bench;
  bench.options.quiet = true;
  bench.options.drop_burst = "1";
  const std::string console = start(bench);
  EXPECT_TRUE(console.ends_with("\nvorbeld fault: dropped seq 1 (packet 1, 1 message(s))\n")) << console;
  const auto packets = received_datagrams(bench.receiver);
  ASSERT_EQ(packets.size(), 1U);
  EXPECT_EQ(packets[0].substr(22, 2), "CO");
}

}  // namespace
}  // namespace vorbeld
