// The publisher's road from a message to the wire: numbers, packets, counters and the multicast sender; full packets,
// and messages too long for any.
#include "feed/publisher.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <string>
#include <string_view>

#include "common/clocks.h"
#include "tests/unit/common/console.h"
#include "tests/unit/feed/feed_fixture.h"

namespace vorbeld {
namespace {

using namespace std::string_view_literals;
using Packets = std::vector<std::string>;

std::string address_of(const sockaddr_in& address) {
  return inet_ntoa(address.sin_addr);
}

template <class Value>
Value ip_option(int descriptor, int option) {
  Value value{};
  socklen_t length = sizeof value;
  getsockopt(descriptor, IPPROTO_IP, option, &value, &length);
  return value;
}

TEST(Publisher, NumbersMessagesFromOne) {
  FeedBench bench;
  EXPECT_EQ(last_sequence(bench.publisher), 0U);
  EXPECT_EQ(send_message(bench, "a"), 1U);
  EXPECT_EQ(send_message(bench, "b"), 2U);
  EXPECT_EQ(send_message(bench, "c"), 3U);
  EXPECT_EQ(last_sequence(bench.publisher), 3U);
}

TEST(Publisher, SendsAFlushedMessageInAPacketOfItsOwn) {
  FeedBench bench;
  send_message(bench, "first");
  send_message(bench, "second");
  const std::string first(
      "BTDS000001"
      "\x00\x00\x00\x00\x00\x00\x00\x01"
      "\x00\x01"
      "\x00\x05"
      "first"sv);
  const std::string second(
      "BTDS000001"
      "\x00\x00\x00\x00\x00\x00\x00\x02"
      "\x00\x01"
      "\x00\x06"
      "second"sv);
  EXPECT_EQ(sent_packets(bench), (Packets{first, second}));
}

TEST(Publisher, PacksMessagesUntilItIsFlushed) {
  FeedBench bench;
  send_message(bench, "first");
  append_message(bench.publisher, "b"sv);
  append_message(bench.publisher, "cd"sv);
  EXPECT_EQ(sent_packets(bench).size(), 1U);
  flush(bench.publisher);
  const std::string both(
      "BTDS000001"
      "\x00\x00\x00\x00\x00\x00\x00\x02"
      "\x00\x02"
      "\x00\x01"
      "b"
      "\x00\x02"
      "cd"sv);
  EXPECT_EQ(sent_packets(bench), Packets{both});
}

TEST(Publisher, PutsItsSessionNameOnEveryPacket) {
  FeedBench short_name("AB");
  send_message(short_name, "m");
  EXPECT_EQ(sent_packets(short_name)[0].substr(0, 10), "AB        ");
  FeedBench long_name("ABCDEFGHIJKL");
  send_message(long_name, "m");
  EXPECT_EQ(sent_packets(long_name)[0].substr(0, 10), "ABCDEFGHIJ");
}

TEST(Publisher, KeepsEveryMessageInTheStoreUnderItsNumber) {
  FeedBench bench;
  send_messages(bench, 50);
  EXPECT_EQ(stored_count(bench.publisher.store), 50U);
  const std::span<const char> block = stored_block(bench.publisher.store, 37);
  EXPECT_EQ(std::string_view(block.data(), block.size()), "\x00\x03m37"sv);
}

TEST(Publisher, CountsMessagesAndPackets) {
  FeedBench bench;
  send_message(bench, "a");
  append_message(bench.publisher, "b"sv);
  append_message(bench.publisher, "c"sv);
  EXPECT_EQ(last_sequence(bench.publisher), 3U);
  EXPECT_EQ(bench.publisher.packets, 1U);
  flush(bench.publisher);
  EXPECT_EQ(bench.publisher.packets, 2U);
}

TEST(Publisher, NotesWhenItLastSent) {
  FeedBench bench;
  const auto before = static_cast<std::int64_t>(monotonic_ms());
  send_message(bench, "a");
  EXPECT_GE(bench.publisher.last_send_ms, before);
  EXPECT_LE(bench.publisher.last_send_ms, static_cast<std::int64_t>(monotonic_ms()));
}

TEST(Publisher, AFlushOfNothingSendsNothingAndDelaysNoHeartbeat) {
  FeedBench bench;
  bench.publisher.last_send_ms = 12345;
  flush(bench.publisher);
  EXPECT_EQ(bench.publisher.last_send_ms, 12345);
  EXPECT_EQ(bench.publisher.packets, 0U);
  send_message(bench, "a");
  bench.publisher.last_send_ms = 12345;
  flush(bench.publisher);
  EXPECT_EQ(bench.publisher.last_send_ms, 12345);
  EXPECT_EQ(sent_packets(bench).size(), 1U);
}

TEST(Publisher, GoesOnWithoutASocket) {
  MoldPublisher publisher;
  start_publisher(publisher, "BTDS000001");
  EXPECT_EQ(append_message(publisher, "a"sv), 1U);
  flush(publisher);
  EXPECT_EQ(publisher.packets, 1U);
}

TEST(Publisher, IsStillUsableAfterTheClose) {
  FeedBench bench;
  bench.publisher.closed = true;
  EXPECT_EQ(send_message(bench, "late"), 1U);
  EXPECT_EQ(sent_messages(bench), Packets{"late"});
}

TEST(OpenFeed, AimsAtTheGroupOutOfTheInterface) {
  MoldPublisher publisher;
  open_feed(publisher, "233.54.19.111", 28977, "127.0.0.1");
  const Descriptor feed_socket(publisher.feed_socket);
  EXPECT_EQ(publisher.destination.sin_family, AF_INET);
  EXPECT_EQ(address_of(publisher.destination), "233.54.19.111");
  EXPECT_EQ(ntohs(publisher.destination.sin_port), 28977);
  EXPECT_EQ(ip_option<in_addr>(publisher.feed_socket, IP_MULTICAST_IF).s_addr, htonl(INADDR_LOOPBACK));
  EXPECT_EQ(ip_option<int>(publisher.feed_socket, IP_MULTICAST_TTL), 1);
  EXPECT_EQ(ip_option<int>(publisher.feed_socket, IP_MULTICAST_LOOP), 1);
}

TEST(OpenFeed, LeavesTheSocketUnboundAndBlocking) {
  MoldPublisher publisher;
  open_feed(publisher, "233.54.19.111", 28977, "127.0.0.1");
  const Descriptor feed_socket(publisher.feed_socket);
  EXPECT_EQ(port_of(publisher.feed_socket), 0);
  EXPECT_EQ(fcntl(publisher.feed_socket, F_GETFL) & O_NONBLOCK, 0);
}

TEST(OpenFeed, ReadsUnreadableAddressesAsZero) {
  MoldPublisher publisher;
  open_feed(publisher, "no address", 1, "nor this");
  const Descriptor feed_socket(publisher.feed_socket);
  EXPECT_EQ(address_of(publisher.destination), "0.0.0.0");
  EXPECT_EQ(ip_option<in_addr>(publisher.feed_socket, IP_MULTICAST_IF).s_addr, htonl(INADDR_ANY));
}

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
  EXPECT_EQ(last_sequence(bench.publisher), 1U);
  EXPECT_EQ(last_sequence(bench.publisher), 1U);
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
