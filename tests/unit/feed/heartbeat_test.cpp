// Heartbeats and end-of-session packets: when they go out, and what they carry.
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "common/clocks.h"
#include "feed/publisher.h"
#include "tests/unit/common/console.h"
#include "tests/unit/feed/feed_fixture.h"

namespace vorbeld {
namespace {

using namespace std::string_view_literals;
using Packets = std::vector<std::string>;

std::int64_t now_ms() {
  return static_cast<std::int64_t>(monotonic_ms());
}

// Lets the feed have been silent for a second.
void fall_silent(FeedBench& bench) {
  bench.publisher.last_send_ms = now_ms() - 1000;
}

TEST(Heartbeat, BeforeAnyMessageCarriesNumberOne) {
  FeedBench bench;
  fall_silent(bench);
  send_heartbeat(bench.publisher);
  EXPECT_EQ(sent_packets(bench), Packets{std::string("BTDS000001"
                                                     "\x00\x00\x00\x00\x00\x00\x00\x01"
                                                     "\x00\x00"sv)});
}

TEST(Heartbeat, CarriesTheNumberOfTheNextMessage) {
  FeedBench bench;
  send_messages(bench, 5);
  fall_silent(bench);
  send_heartbeat(bench.publisher);
  EXPECT_EQ(sent_packets(bench).back(),
            "BTDS000001"
            "\x00\x00\x00\x00\x00\x00\x00\x06"
            "\x00\x00"sv);
}

TEST(Heartbeat, AfterTheCloseIsAnEndOfSessionPacket) {
  FeedBench bench;
  send_messages(bench, 2);
  end_session(bench.publisher);
  fall_silent(bench);
  send_heartbeat(bench.publisher);
  EXPECT_EQ(sent_packets(bench).back(),
            "BTDS000001"
            "\x00\x00\x00\x00\x00\x00\x00\x03"
            "\xff\xff"sv);
  EXPECT_EQ(bench.publisher.heartbeats, 0U);
}

TEST(Heartbeat, IsDueAtOnceWhenTheSessionEnds) {
  FeedBench bench;
  send_messages(bench, 2);
  sent_packets(bench);
  end_session(bench.publisher);
  send_heartbeat(bench.publisher);
  EXPECT_EQ(sent_packets(bench), Packets{std::string("BTDS000001"
                                                     "\x00\x00\x00\x00\x00\x00\x00\x03"
                                                     "\xff\xff"sv)});
}

TEST(Heartbeat, IsCountedAndStartsTheWaitAgain) {
  FeedBench bench;
  fall_silent(bench);
  const std::int64_t before = now_ms();
  send_heartbeat(bench.publisher);
  EXPECT_EQ(bench.publisher.heartbeats, 1U);
  EXPECT_GE(bench.publisher.last_send_ms, before);
  EXPECT_EQ(bench.publisher.packets, 0U);
}

TEST(Heartbeat, IsDueAtOnceWhenNothingWasEverSent) {
  FeedBench bench;
  bench.publisher.last_send_ms = 0;
  send_heartbeat(bench.publisher);
  EXPECT_EQ(bench.publisher.heartbeats, 1U);
}

TEST(Heartbeat, IsNotSentWhileTheFeedIsNotSilent) {
  FeedBench bench;
  bench.publisher.last_send_ms = now_ms() + 3'600'000;  // however slow the test, nothing is due
  send_heartbeat(bench.publisher);
  EXPECT_EQ(bench.publisher.heartbeats, 0U);
  EXPECT_EQ(sent_packets(bench), Packets{});
}

TEST(Heartbeat, IsNotDueAfter999Milliseconds) {
  FeedBench bench;
  // Only a try that the clock did not tick in tells; there is one among a few.
  const auto ask_within_one_tick = [&] {
    const std::int64_t now = now_ms();
    bench.publisher.last_send_ms = now - 999;
    const std::uint64_t before = bench.publisher.heartbeats;
    send_heartbeat(bench.publisher);
    if (now_ms() != now) return false;
    EXPECT_EQ(bench.publisher.heartbeats, before);
    return true;
  };
  const bool told = eventually(ask_within_one_tick, std::chrono::seconds(60));
  EXPECT_TRUE(told);
}

TEST(Heartbeat, FlushesAWaitingPacketFirst) {
  FeedBench bench;
  append_message(bench.publisher, "waiting"sv);
  fall_silent(bench);
  send_heartbeat(bench.publisher);
  const Packets packets = sent_packets(bench);
  ASSERT_EQ(packets.size(), 2U);
  EXPECT_EQ(packets[0].substr(22), "waiting");
  EXPECT_EQ(packets[1],
            "BTDS000001"
            "\x00\x00\x00\x00\x00\x00\x00\x02"
            "\x00\x00"sv);
}

TEST(Heartbeat, LeavesAWaitingPacketAloneWhileNotDue) {
  FeedBench bench;
  append_message(bench.publisher, "waiting"sv);
  bench.publisher.last_send_ms = now_ms() + 3'600'000;
  send_heartbeat(bench.publisher);
  EXPECT_EQ(sent_packets(bench), Packets{});
}

TEST(Heartbeat, IsNeverFaulted) {
  FeedBench bench;
  FaultSettings& faults = bench.publisher.faults;
  faults = {.drop_every = 1, .duplicate_every = 1, .reorder_every = 1};
  faults.armed_drops = faults.armed_duplicates = faults.armed_reorders = 3;
  fall_silent(bench);
  EXPECT_EQ(console_of([&] { send_heartbeat(bench.publisher); }), "");
  EXPECT_EQ(sent_packets(bench).size(), 1U);
  EXPECT_EQ(faults.armed_drops, 3U);
  EXPECT_EQ(faults.armed_duplicates, 3U);
  EXPECT_EQ(faults.armed_reorders, 3U);
}

TEST(Heartbeat, DoesNotReleaseAHeldPacket) {
  FeedBench bench;
  bench.publisher.faults.armed_reorders = 1;
  console_of([&] { send_message(bench, "held"); });
  fall_silent(bench);
  send_heartbeat(bench.publisher);
  EXPECT_EQ(sent_messages(bench), Packets{""});
  EXPECT_FALSE(bench.publisher.held_packet.empty());
}

}  // namespace
}  // namespace vorbeld
