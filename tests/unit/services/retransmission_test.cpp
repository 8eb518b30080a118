// Retransmission requests: which messages are served, how they are cut into packets, what counts as a request, and the
// line on the console.
#include "services/retransmission.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "feed/message_store.h"
#include "feed/publisher.h"
#include "tests/unit/common/console.h"
#include "tests/unit/services/retransmission_fixture.h"

namespace vorbeld {
namespace {

using Packets = std::vector<std::string>;

TEST(Retransmission, AnswersWithTheMessagesAskedFor) {
  RetransmissionBench bench;
  send_messages(bench.feed, 5);
  EXPECT_EQ(answers_to(bench, request_bytes(2, 3)), Packets{packet_bytes(2, {"m2", "m3", "m4"})});
  EXPECT_EQ(bench.server.requests, 1U);
}

TEST(Retransmission, KeepsNothingBetweenRequests) {
  RetransmissionBench bench;
  send_messages(bench.feed, 3);
  EXPECT_EQ(answers_to(bench, request_bytes(1, 3)), Packets{packet_bytes(1, {"m1", "m2", "m3"})});
  EXPECT_EQ(answers_to(bench, request_bytes(2, 1)), Packets{packet_bytes(2, {"m2"})});
}

TEST(Retransmission, CountsFromTheNumberAskedForEvenWhereNoneHasIt) {
  RetransmissionBench bench;
  send_messages(bench.feed, 100);
  EXPECT_EQ(answers_to(bench, request_bytes(0, 5)), Packets{packet_bytes(1, {"m1", "m2", "m3", "m4"})});
}

TEST(Retransmission, EndsWithTheLastMessageSent) {
  RetransmissionBench bench;
  send_messages(bench.feed, 4);
  EXPECT_EQ(answers_to(bench, request_bytes(3, 100)), Packets{packet_bytes(3, {"m3", "m4"})});
}

TEST(Retransmission, SendsNothingForNumbersNotYetGiven) {
  RetransmissionBench bench;
  send_messages(bench.feed, 4);
  EXPECT_EQ(answers_to(bench, request_bytes(5, 3)), Packets{});
  EXPECT_EQ(bench.server.requests, 1U);
}

TEST(Retransmission, SendsNothingFromAnEmptyStore) {
  RetransmissionBench bench;
  EXPECT_EQ(answers_to(bench, request_bytes(1, 10)), Packets{});
  EXPECT_EQ(answers_to(bench, request_bytes(0, 65535)), Packets{});
  EXPECT_EQ(bench.server.requests, 2U);
}

TEST(Retransmission, SendsNothingWhereTheRangeWrapsAround) {
  RetransmissionBench bench;
  send_messages(bench.feed, 4);
  EXPECT_EQ(answers_to(bench, request_bytes(std::numeric_limits<std::uint64_t>::max(), 5)), Packets{});
  EXPECT_EQ(answers_to(bench, request_bytes(std::uint64_t{1} << 63U, 65535)), Packets{});
  EXPECT_EQ(bench.server.requests, 2U);
}

TEST(Retransmission, CountsARequestForNothing) {
  RetransmissionBench bench;
  bench.quiet = false;
  send_messages(bench.feed, 4);
  const std::string console = console_of([&] { EXPECT_EQ(answers_to(bench, request_bytes(2, 0)), Packets{}); });
  EXPECT_EQ(bench.server.requests, 1U);
  EXPECT_EQ(console, "[vorbeld] retransmission: seq 2 count 0 → 0 message(s) to 127.0.0.1:" +
                         std::to_string(bench.client.port) + "\n");
}

TEST(Retransmission, PrintsWhatWasAskedForAndHowManyWereSent) {
  RetransmissionBench bench;
  bench.quiet = false;
  send_messages(bench.feed, 7);
  send_request(bench, request_bytes(0, 65535));
  EXPECT_EQ(console_of([&] { serve_pass(bench); }),
            "[vorbeld] retransmission: seq 0 count 65535 → 7 message(s) to 127.0.0.1:" +
                std::to_string(bench.client.port) + "\n");
}

TEST(Retransmission, PrintsTheNumberAskedForWhole) {
  RetransmissionBench bench;
  bench.quiet = false;
  send_request(bench, request_bytes(std::numeric_limits<std::uint64_t>::max(), 1));
  EXPECT_EQ(console_of([&] { serve_pass(bench); }),
            "[vorbeld] retransmission: seq 18446744073709551615 count 1 → 0 message(s) to 127.0.0.1:" +
                std::to_string(bench.client.port) + "\n");
}

TEST(Retransmission, IsServedAndCountedButNotPrintedWhenQuiet) {
  RetransmissionBench bench;
  send_messages(bench.feed, 2);
  const std::string console = console_of([&] {
    EXPECT_EQ(answers_to(bench, request_bytes(1, 2)), Packets{packet_bytes(1, {"m1", "m2"})});
  });
  EXPECT_EQ(console, "");
  EXPECT_EQ(bench.server.requests, 1U);
}

TEST(Retransmission, DropsAShortDatagramAndServesThoseBehindItInTheNextPass) {
  RetransmissionBench bench;
  bench.quiet = false;
  send_messages(bench.feed, 1);
  send_request(bench, request_bytes(1, 1).substr(0, 19));
  send_request(bench, request_bytes(1, 1));
  EXPECT_EQ(console_of([&] { serve_pass(bench); }), "");
  EXPECT_EQ(received_datagrams(bench.client), Packets{});
  EXPECT_EQ(bench.server.requests, 0U);

  console_of([&] { serve_pass(bench); });
  EXPECT_EQ(received_datagrams(bench.client), Packets{packet_bytes(1, {"m1"})});
  EXPECT_EQ(bench.server.requests, 1U);
}

TEST(Retransmission, DropsAnEmptyDatagramTheSameWay) {
  RetransmissionBench bench;
  send_messages(bench.feed, 1);
  send_request(bench, "");
  send_request(bench, request_bytes(1, 1));
  serve_pass(bench);
  EXPECT_EQ(bench.server.requests, 0U);
  serve_pass(bench);
  EXPECT_EQ(bench.server.requests, 1U);
}

TEST(Retransmission, IgnoresWhatStandsBehindARequest) {
  RetransmissionBench bench;
  send_messages(bench.feed, 3);
  EXPECT_EQ(answers_to(bench, request_bytes(3, 1) + "behind"), Packets{packet_bytes(3, {"m3"})});
  EXPECT_EQ(answers_to(bench, request_bytes(2, 1) + std::string(1000, 'x')), Packets{packet_bytes(2, {"m2"})});
}

TEST(Retransmission, BringsTheSessionBytesOfTheRequestBack) {
  RetransmissionBench bench;
  send_messages(bench.feed, 2);
  const std::string session("other\0\xff \t1", 10);
  EXPECT_EQ(answers_to(bench, request_bytes(1, 2, session)), Packets{packet_bytes(1, {"m1", "m2"}, session)});
}

TEST(Retransmission, ServesAllRequestsThatWaitInOrder) {
  RetransmissionBench bench;
  send_messages(bench.feed, 9);
  for (const std::uint64_t first : {7U, 3U, 5U}) send_request(bench, request_bytes(first, 1));
  serve_pass(bench);
  EXPECT_EQ(received_datagrams(bench.client),
            (Packets{packet_bytes(7, {"m7"}), packet_bytes(3, {"m3"}), packet_bytes(5, {"m5"})}));
  EXPECT_EQ(bench.server.requests, 3U);
}

TEST(Retransmission, AnswersEachRequesterAlone) {
  RetransmissionBench bench;
  send_messages(bench.feed, 2);
  const UdpSocket other = open_udp();
  send_datagram(other, bench.service.port, request_bytes(1, 1));
  send_request(bench, request_bytes(2, 1));
  serve_pass(bench);
  EXPECT_EQ(received_datagrams(other), Packets{packet_bytes(1, {"m1"})});
  EXPECT_EQ(received_datagrams(bench.client), Packets{packet_bytes(2, {"m2"})});
}

TEST(Retransmission, IsNeverFaultedAndLeavesTheFeedAlone) {
  RetransmissionBench bench;
  send_messages(bench.feed, 2);
  sent_packets(bench.feed);
  FaultSettings& faults = bench.feed.publisher.faults;
  faults = {.drop_every = 1, .duplicate_every = 1, .reorder_every = 1, .armed_drops = 9};
  const std::int64_t last_send_ms = bench.feed.publisher.last_send_ms;
  EXPECT_EQ(answers_to(bench, request_bytes(1, 2)), Packets{packet_bytes(1, {"m1", "m2"})});
  EXPECT_EQ(faults.armed_drops, 9U);
  EXPECT_EQ(bench.feed.publisher.packets, 2U);
  EXPECT_EQ(bench.feed.publisher.last_send_ms, last_send_ms);
  EXPECT_EQ(sent_packets(bench.feed), Packets{});
}

TEST(Retransmission, GoesOnAfterTheClose) {
  RetransmissionBench bench;
  send_messages(bench.feed, 2);
  end_session(bench.feed.publisher);
  EXPECT_EQ(answers_to(bench, request_bytes(1, 2)), Packets{packet_bytes(1, {"m1", "m2"})});
}

TEST(Retransmission, RecoversWhatTheLiveFeedDropped) {
  RetransmissionBench bench;
  bench.feed.publisher.faults.armed_drops = 2;
  console_of([&] { send_messages(bench.feed, 3); });
  EXPECT_EQ(sent_messages(bench.feed), Packets{"m3"});
  EXPECT_EQ(answers_to(bench, request_bytes(1, 2)), Packets{packet_bytes(1, {"m1", "m2"})});
}

// Numbers and stores a message; it leaves with a later flush or when the packet is full.
void store(RetransmissionBench& bench, const std::string& message) {
  append_message(bench.feed.publisher, message);
}

// The answer to a request for messages[first - 1] on, filled packet by packet, as many as fit 1500 bytes.
Packets packets_of(const std::vector<std::string>& messages, std::size_t first, std::size_t count) {
  Packets packets;
  const std::size_t end = std::min(messages.size(), first - 1 + count);
  for (std::size_t next = first - 1; next < end;) {
    const std::size_t begin = next;
    std::size_t length = 20;
    for (; next < end && length + 2 + messages[next].size() <= 1500; ++next) length += 2 + messages[next].size();
    const auto from = messages.begin() + static_cast<std::ptrdiff_t>(begin);
    packets.push_back(packet_bytes(begin + 1, {from, messages.begin() + static_cast<std::ptrdiff_t>(next)}));
  }
  return packets;
}

// The packets that one request is answered with; the console must say that `sent` messages were in them.
Packets answers_of(RetransmissionBench& bench, std::uint64_t sent, std::string_view datagram) {
  bench.quiet = false;
  Packets answers;
  const std::string console = console_of([&] { answers = answers_to(bench, datagram); });
  EXPECT_NE(console.find(" → " + std::to_string(sent) + " message(s) to "), std::string::npos) << console;
  return answers;
}

TEST(RetransmissionPackets, FillsAPacketToItsLastByte) {
  RetransmissionBench bench;
  const std::string half(738, 'a');  // two blocks of 740 bytes and the header make 1500
  store(bench, half);
  store(bench, half);
  EXPECT_EQ(answers_to(bench, request_bytes(1, 2)), Packets{packet_bytes(1, {half, half})});
}

TEST(RetransmissionPackets, StartsAnotherPacketWhereOneByteIsMissing) {
  RetransmissionBench bench;
  const std::string half(738, 'a');
  const std::string longer(739, 'b');
  store(bench, half);
  store(bench, longer);
  EXPECT_EQ(answers_of(bench, 2, request_bytes(1, 2)), (Packets{packet_bytes(1, {half}), packet_bytes(2, {longer})}));
  EXPECT_EQ(bench.server.requests, 1U);
}

TEST(RetransmissionPackets, SendsTheLongestMessageInAPacketOfItsOwn) {
  RetransmissionBench bench;
  const std::string longest(1478, 'x');
  store(bench, longest);
  store(bench, "m2");
  EXPECT_EQ(answers_to(bench, request_bytes(1, 2)), (Packets{packet_bytes(1, {longest}), packet_bytes(2, {"m2"})}));
}

TEST(RetransmissionPackets, PassesOverAMessageThatFitsNoPacket) {
  RetransmissionBench bench;
  store(bench, "m1");
  store(bench, std::string(1479, 'x'));
  store(bench, std::string(3000, 'y'));
  store(bench, "m4");
  EXPECT_EQ(answers_of(bench, 2, request_bytes(1, 4)), (Packets{packet_bytes(1, {"m1"}), packet_bytes(4, {"m4"})}));
  EXPECT_EQ(answers_of(bench, 0, request_bytes(2, 2)), Packets{});
}

TEST(RetransmissionPackets, BringAnEmptyMessageBack) {
  RetransmissionBench bench;
  store(bench, "");
  store(bench, "m2");
  EXPECT_EQ(answers_to(bench, request_bytes(1, 2)), Packets{packet_bytes(1, {"", "m2"})});
}

TEST(RetransmissionPackets, AreCutTheSameWayForMessagesOfAnyLength) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  RetransmissionBench bench;
  std::vector<std::string> messages;
  for (int i = 0; i < 300; ++i) {
    messages.emplace_back(random() % (i % 3 == 0 ? 1479 : 200), static_cast<char>('a' + i % 26));
    store(bench, messages.back());
  }
  for (int i = 0; i < 40; ++i) {
    const std::size_t first = 1 + random() % messages.size();
    const std::size_t count = random() % 60;
    EXPECT_EQ(answers_to(bench, request_bytes(first, count)), packets_of(messages, first, count));
  }
}

TEST(RetransmissionPackets, ServeTheLargestRequestWhole) {
  RetransmissionBench bench;
  std::vector<std::string> messages;
  for (int i = 0; i < 70000; ++i) messages.emplace_back(1, static_cast<char>(i * 7));
  for (const std::string& message : messages) store(bench, message);
  const Packets expected = packets_of(messages, 2, 65535);
  ASSERT_EQ(expected.size(), 133U);  // 493 one-byte messages a packet
  EXPECT_EQ(answers_of(bench, 65535, request_bytes(2, 65535)), expected);
}

TEST(RetransmissionPackets, BeginWithTheOldestMessageThatWasNotEvicted) {
  RetransmissionBench bench;
  const auto text = [](std::uint64_t sequence) { return std::to_string(sequence); };
  for (std::uint64_t sequence = 1; sequence <= most_stored_messages; ++sequence) store(bench, text(sequence));
  EXPECT_EQ(answers_to(bench, request_bytes(1, 2)), Packets{packet_bytes(1, {"1", "2"})});
  store(bench, "400001");
  EXPECT_EQ(answers_to(bench, request_bytes(1, 1)), Packets{});
  EXPECT_EQ(answers_to(bench, request_bytes(1, 3)), Packets{packet_bytes(2, {"2", "3"})});
  EXPECT_EQ(answers_to(bench, request_bytes(400001, 9)), Packets{packet_bytes(400001, {"400001"})});
}

TEST(RetransmissionPackets, FollowTheStoreAsItMovesOn) {
  RetransmissionBench bench;
  const std::uint64_t last = most_stored_messages + 150'000;
  for (std::uint64_t sequence = 1; sequence <= last; ++sequence) store(bench, std::to_string(sequence));
  EXPECT_EQ(answers_to(bench, request_bytes(100'000, 50'000)), Packets{});
  EXPECT_EQ(answers_to(bench, request_bytes(100'000, 50'003)), Packets{packet_bytes(150'001, {"150001", "150002"})});
  EXPECT_EQ(answers_to(bench, request_bytes(last - 1, 65535)), Packets{packet_bytes(last - 1, {"549999", "550000"})});
}

}  // namespace
}  // namespace vorbeld
