// A publisher whose feed goes to a socket of the test, and the verbs of its tests.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "feed/publisher.h"
#include "tests/unit/common/loopback.h"

namespace vorbeld {

// The feed goes to a unicast port of 127.0.0.1, which the multicast sender reaches like a group.
struct FeedBench {
  UdpSocket receiver = open_udp();
  MoldPublisher publisher;
  Descriptor feed_socket;  // closes what the publisher leaves to the end of the process

  explicit FeedBench(std::string_view session = "BTDS000001") {
    start_publisher(publisher, session);
    open_feed(publisher, "127.0.0.1", receiver.port, "127.0.0.1");
    feed_socket.value = publisher.feed_socket;
  }
};

// Numbers, packs and sends one message, as every sender of messages does.
inline std::uint64_t send_message(FeedBench& bench, std::string_view message) {
  const std::uint64_t sequence = append_message(bench.publisher, message);
  flush(bench.publisher);
  return sequence;
}

// Sends messages "m1", "m2" and so on, each in a packet of its own, behind those sent before.
inline void send_messages(FeedBench& bench, int count) {
  for (int i = 0; i < count; ++i) send_message(bench, "m" + std::to_string(last_sequence(bench.publisher) + 1));
}

// The packets that the feed has carried since the last call.
inline std::vector<std::string> sent_packets(const FeedBench& bench) {
  return received_datagrams(bench.receiver);
}

// The messages that packets of one message carry, in their order; a heartbeat shows as an empty one.
inline std::vector<std::string> sent_messages(const FeedBench& bench) {
  constexpr std::size_t before_message = 22;
  std::vector<std::string> messages;
  for (const std::string& packet : sent_packets(bench)) {
    messages.push_back(packet.size() < before_message ? "" : packet.substr(before_message));
  }
  return messages;
}

}  // namespace vorbeld
