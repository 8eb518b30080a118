// The limits of packets: full ones, and messages too long for any.
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "feed/publisher.h"
#include "tests/unit/common/console.h"
#include "tests/unit/feed/feed_fixture.h"

namespace vorbeld {
namespace {

using namespace std::string_view_literals;
using Packets = std::vector<std::string>;

constexpr std::size_t too_long = 1479;

// The sequence number and message count in a packet's header.
std::string header_of(const std::string& packet) {
  return packet.substr(10, 10);
}

TEST(FullPacket, TakesMessagesUpToFifteenHundredBytes) {
  FeedBench bench;
  append_message(bench.publisher, std::string(738, 'a'));
  append_message(bench.publisher, std::string(738, 'b'));
  EXPECT_EQ(bench.publisher.packets, 0U);
  flush(bench.publisher);
  const Packets packets = sent_packets(bench);
  ASSERT_EQ(packets.size(), 1U);
  EXPECT_EQ(packets[0].size(), 1500U);
  EXPECT_EQ(header_of(packets[0]), "\x00\x00\x00\x00\x00\x00\x00\x01\x00\x02"sv);
}

TEST(FullPacket, IsFlushedBeforeAMessageThatNoLongerFits) {
  FeedBench bench;
  append_message(bench.publisher, std::string(738, 'a'));
  append_message(bench.publisher, std::string(739, 'b'));
  const Packets first = sent_packets(bench);
  ASSERT_EQ(first.size(), 1U);
  EXPECT_EQ(first[0].size(), 20U + 740U);
  flush(bench.publisher);
  const Packets second = sent_packets(bench);
  ASSERT_EQ(second.size(), 1U);
  EXPECT_EQ(second[0].size(), 20U + 741U);
  EXPECT_EQ(header_of(second[0]), "\x00\x00\x00\x00\x00\x00\x00\x02\x00\x01"sv);
}

TEST(FullPacket, CarriesTheShortestMessagesToTheLastByte) {
  FeedBench bench;
  for (int i = 0; i < 741; ++i) append_message(bench.publisher, std::string_view());
  const Packets packets = sent_packets(bench);
  ASSERT_EQ(packets.size(), 1U);
  EXPECT_EQ(packets[0].size(), 1500U);
  EXPECT_EQ(header_of(packets[0]), "\x00\x00\x00\x00\x00\x00\x00\x01\x02\xe4"sv);
}

TEST(LongMessage, Of1478BytesFillsAPacket) {
  FeedBench bench;
  send_message(bench, std::string(1478, 'x'));
  const Packets packets = sent_packets(bench);
  ASSERT_EQ(packets.size(), 1U);
  EXPECT_EQ(packets[0].size(), 1500U);
}

TEST(LongMessage, OfOneByteMoreIsNumberedAndStoredButNotSent) {
  FeedBench bench;
  EXPECT_EQ(send_message(bench, std::string(too_long, 'x')), 1U);
  EXPECT_EQ(bench.publisher.next_sequence, 2U);
  EXPECT_EQ(bench.publisher.messages, 1U);
  EXPECT_EQ(bench.publisher.packets, 0U);
  EXPECT_EQ(stored_block(bench.publisher.store, 1).size(), too_long + 2);
  EXPECT_EQ(sent_packets(bench), Packets{});
}

TEST(LongMessage, FlushesThePacketThatItDoesNotFit) {
  FeedBench bench;
  append_message(bench.publisher, "waiting"sv);
  EXPECT_EQ(append_message(bench.publisher, std::string(too_long, 'x')), 2U);
  EXPECT_EQ(sent_messages(bench), Packets{"waiting"});
}

TEST(LongMessage, ItsNumberStandsInTheHeaderOfTheNextPacket) {
  FeedBench bench;
  send_message(bench, "a");
  send_message(bench, std::string(too_long, 'x'));
  EXPECT_EQ(send_message(bench, "b"), 3U);
  const Packets packets = sent_packets(bench);
  ASSERT_EQ(packets.size(), 2U);
  EXPECT_EQ(header_of(packets[1]), "\x00\x00\x00\x00\x00\x00\x00\x02\x00\x01"sv);
  EXPECT_EQ(packets[1].substr(22), "b");
  send_message(bench, "c");
  EXPECT_EQ(header_of(sent_packets(bench)[0]), "\x00\x00\x00\x00\x00\x00\x00\x04\x00\x01"sv);
}

TEST(LongMessage, DoesNotShiftTheNumberThatAFaultLineNames) {
  FeedBench bench;
  send_message(bench, std::string(too_long, 'x'));
  bench.publisher.faults.armed_drops = 1;
  EXPECT_EQ(console_of([&] { send_message(bench, "b"); }), "vorbeld fault: dropped seq 2 (packet 1, 1 message(s))\n");
}

TEST(FaultyPacket, NamesItsFirstMessageAndTheirNumber) {
  FeedBench bench;
  send_message(bench, "a");
  append_message(bench.publisher, "b"sv);
  append_message(bench.publisher, "c"sv);
  append_message(bench.publisher, "d"sv);
  bench.publisher.faults.armed_drops = 1;
  EXPECT_EQ(console_of([&] { flush(bench.publisher); }), "vorbeld fault: dropped seq 2 (packet 2, 3 message(s))\n");
}

}  // namespace
}  // namespace vorbeld
