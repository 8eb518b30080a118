// A retransmission server with a store to answer from, and a receiver that asks it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "services/retransmission.h"
#include "tests/unit/services/service_fixture.h"

namespace vorbeld {

struct RetransmissionBench {
  FeedBench feed;
  UdpSocket service = open_service_socket();
  UdpSocket client = open_udp();
  RetransmissionServer server;
  bool quiet = true;

  RetransmissionBench() { server.socket = service.descriptor.value; }
};

// `value` in its low `width` bytes, the highest first.
inline std::string big_endian(std::uint64_t value, int width) {
  std::string bytes;
  for (int shift = 8 * (width - 1); shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift);
  return bytes;
}

// The 20 bytes of a request.
inline std::string request_bytes(std::uint64_t first, std::uint64_t count, std::string_view session = "BTDS000001") {
  return std::string(session) + big_endian(first, 8) + big_endian(count, 2);
}

// A packet as it must look: header and one block a message.
inline std::string packet_bytes(std::uint64_t first, const std::vector<std::string>& messages,
                                std::string_view session = "BTDS000001") {
  std::string bytes = std::string(session) + big_endian(first, 8) + big_endian(messages.size(), 2);
  for (const std::string& message : messages) bytes += big_endian(message.size(), 2) + message;
  return bytes;
}

inline void send_request(const RetransmissionBench& bench, std::string_view datagram) {
  send_datagram(bench.client, bench.service.port, datagram);
}

// One pass of the server.
inline void serve_pass(RetransmissionBench& bench) {
  serve_retransmissions(bench.server, bench.feed.publisher.store, bench.quiet);
}

// The packets that one request is answered with.
inline std::vector<std::string> answers_to(RetransmissionBench& bench, std::string_view datagram) {
  send_request(bench, datagram);
  serve_pass(bench);
  return received_datagrams(bench.client);
}

}  // namespace vorbeld
