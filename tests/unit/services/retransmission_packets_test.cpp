// Retransmission answers of many messages: how they are cut into packets, and what an evicting store leaves to send.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "feed/message_store.h"
#include "feed/publisher.h"
#include "tests/unit/services/retransmission_fixture.h"

namespace vorbeld {
namespace {

using Packets = std::vector<std::string>;

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
  EXPECT_EQ(answers_to(bench, request_bytes(1, 2)), (Packets{packet_bytes(1, {half}), packet_bytes(2, {longer})}));
  EXPECT_EQ(bench.feed.publisher.retransmission_requests, 1U);
  EXPECT_EQ(bench.feed.publisher.retransmitted_messages, 2U);
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
  EXPECT_EQ(answers_to(bench, request_bytes(1, 4)), (Packets{packet_bytes(1, {"m1"}), packet_bytes(4, {"m4"})}));
  EXPECT_EQ(bench.feed.publisher.retransmitted_messages, 2U);
  EXPECT_EQ(answers_to(bench, request_bytes(2, 2)), Packets{});
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
  EXPECT_EQ(answers_to(bench, request_bytes(2, 65535)), expected);
  EXPECT_EQ(bench.feed.publisher.retransmitted_messages, 65535U);
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
