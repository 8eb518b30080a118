// Faults as receivers and the console see them: what the wire carries, the lines, the counters, the held packet.
#include <gtest/gtest.h>

#include <string>

#include "feed/publisher.h"
#include "tests/unit/common/console.h"
#include "tests/unit/feed/feed_fixture.h"

namespace vorbeld {
namespace {

using Messages = std::vector<std::string>;

TEST(Drop, EveryThirdPacketIsMissingAndNamed) {
  FeedBench bench;
  bench.publisher.faults.drop_every = 3;
  EXPECT_EQ(console_of([&] { send_messages(bench, 10); }),
            "vorbeld fault: dropped seq 3 (packet 3, 1 message(s))\n"
            "vorbeld fault: dropped seq 6 (packet 6, 1 message(s))\n"
            "vorbeld fault: dropped seq 9 (packet 9, 1 message(s))\n");
  EXPECT_EQ(sent_messages(bench), (Messages{"m1", "m2", "m4", "m5", "m7", "m8", "m10"}));
  EXPECT_EQ(bench.publisher.fault_counters.dropped, 3U);
  EXPECT_EQ(bench.publisher.packets, 10U);
}

TEST(Drop, ABurstFrom10For3Drops10To12) {
  FeedBench bench;
  bench.publisher.faults.drop_burst_start = 10;
  bench.publisher.faults.drop_burst_length = 3;
  EXPECT_EQ(console_of([&] { send_messages(bench, 13); }),
            "vorbeld fault: dropped seq 10 (packet 10, 1 message(s))\n"
            "vorbeld fault: dropped seq 11 (packet 11, 1 message(s))\n"
            "vorbeld fault: dropped seq 12 (packet 12, 1 message(s))\n");
  EXPECT_EQ(sent_messages(bench).back(), "m13");
  EXPECT_EQ(bench.publisher.fault_counters.dropped, 3U);
}

TEST(Drop, UpdatesTheTimeOfTheLastSend) {
  FeedBench bench;
  bench.publisher.faults.armed_drops = 1;
  bench.publisher.last_send_ms = 0;
  console_of([&] { send_messages(bench, 1); });
  EXPECT_GT(bench.publisher.last_send_ms, 0);
}

TEST(Drop, LeavesTheMessageInTheStore) {
  FeedBench bench;
  bench.publisher.faults.armed_drops = 1;
  console_of([&] { send_messages(bench, 1); });
  EXPECT_EQ(stored_block(bench.publisher.store, 1).size(), 4U);
}

TEST(Duplicate, SendsTheSameBytesTwiceAtOnce) {
  FeedBench bench;
  bench.publisher.faults.armed_duplicates = 1;
  EXPECT_EQ(console_of([&] { send_messages(bench, 2); }), "vorbeld fault: duplicated seq 1\n");
  const std::vector<std::string> packets = sent_packets(bench);
  ASSERT_EQ(packets.size(), 3U);
  EXPECT_EQ(packets[0], packets[1]);
  EXPECT_NE(packets[1], packets[2]);
  EXPECT_EQ(bench.publisher.fault_counters.duplicated, 1U);
  EXPECT_EQ(bench.publisher.packets, 2U);
}

TEST(Reorder, OneGoesOutRightBehindTheNext) {
  FeedBench bench;
  bench.publisher.faults.armed_reorders = 1;
  EXPECT_EQ(console_of([&] { send_messages(bench, 3); }),
            "vorbeld fault: reordered seq 1 (held behind the next packet)\n");
  EXPECT_EQ(sent_messages(bench), (Messages{"m2", "m1", "m3"}));
  EXPECT_EQ(bench.publisher.fault_counters.reordered, 1U);
  EXPECT_TRUE(bench.publisher.held_packet.empty());
}

TEST(Reorder, OfTwoTheFirstIsLostOnTheWire) {
  FeedBench bench;
  bench.publisher.faults.armed_reorders = 2;
  EXPECT_EQ(console_of([&] { send_messages(bench, 4); }),
            "vorbeld fault: reordered seq 1 (held behind the next packet)\n"
            "vorbeld fault: reordered seq 2 (held behind the next packet)\n");
  EXPECT_EQ(sent_messages(bench), (Messages{"m3", "m2", "m4"}));
  EXPECT_EQ(stored_block(bench.publisher.store, 1).size(), 4U);
}

TEST(Reorder, ReleasesTheHeldPacketWithTheHeaderItHad) {
  FeedBench bench;
  send_messages(bench, 1);
  bench.publisher.faults.armed_reorders = 1;
  console_of([&] { send_messages(bench, 2); });
  const std::vector<std::string> packets = sent_packets(bench);
  ASSERT_EQ(packets.size(), 3U);
  EXPECT_EQ(packets[1][17], '\x03');
  EXPECT_EQ(packets[2][17], '\x02');
}

TEST(Reorder, UpdatesTheTimeOfTheLastSend) {
  FeedBench bench;
  bench.publisher.faults.armed_reorders = 1;
  bench.publisher.last_send_ms = 0;
  console_of([&] { send_messages(bench, 1); });
  EXPECT_GT(bench.publisher.last_send_ms, 0);
}

TEST(Reorder, WithADuplicateHoldsThePacketOnce) {
  FeedBench bench;
  bench.publisher.faults.armed_duplicates = 1;
  bench.publisher.faults.armed_reorders = 1;
  EXPECT_EQ(console_of([&] { send_messages(bench, 3); }),
            "vorbeld fault: reordered seq 1 (held behind the next packet)\n");
  EXPECT_EQ(sent_messages(bench), (Messages{"m2", "m1", "m3"}));
  EXPECT_EQ(bench.publisher.faults.armed_duplicates, 0U);
  EXPECT_EQ(bench.publisher.fault_counters.duplicated, 0U);
}

TEST(HeldPacket, WaitsBehindDroppedPackets) {
  FeedBench bench;
  bench.publisher.faults.armed_reorders = 1;
  EXPECT_EQ(console_of([&] {
              send_messages(bench, 1);
              bench.publisher.faults.armed_drops = 2;
              send_messages(bench, 3);
            }),
            "vorbeld fault: reordered seq 1 (held behind the next packet)\n"
            "vorbeld fault: dropped seq 2 (packet 2, 1 message(s))\n"
            "vorbeld fault: dropped seq 3 (packet 3, 1 message(s))\n");
  EXPECT_EQ(sent_messages(bench), (Messages{"m4", "m1"}));
}

TEST(HeldPacket, GoesOutBehindTheDuplicateOfTheNext) {
  FeedBench bench;
  bench.publisher.faults.armed_reorders = 1;
  EXPECT_EQ(console_of([&] {
              send_messages(bench, 1);
              bench.publisher.faults.armed_duplicates = 1;
              send_messages(bench, 1);
            }),
            "vorbeld fault: reordered seq 1 (held behind the next packet)\n"
            "vorbeld fault: duplicated seq 2\n");
  EXPECT_EQ(sent_messages(bench), (Messages{"m2", "m2", "m1"}));
}

TEST(HeldPacket, IsNotReleasedByAFlushOfNothing) {
  FeedBench bench;
  bench.publisher.faults.armed_reorders = 1;
  console_of([&] { send_messages(bench, 1); });
  flush(bench.publisher);
  EXPECT_EQ(sent_packets(bench).size(), 0U);
  EXPECT_FALSE(bench.publisher.held_packet.empty());
}

}  // namespace
}  // namespace vorbeld
