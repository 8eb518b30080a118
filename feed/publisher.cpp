#include "feed/publisher.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdio>

#include "common/clocks.h"
#include "common/numbers.h"

namespace vorbeld {
namespace {

void send_to_group(const MoldPublisher& publisher, std::span<const char> bytes) {
  sendto(publisher.feed_socket, bytes.data(), bytes.size(), 0,
         reinterpret_cast<const sockaddr*>(&publisher.destination), sizeof publisher.destination);
}

void release_held_packet(MoldPublisher& publisher) {
  if (publisher.held_packet.empty()) return;
  send_to_group(publisher, publisher.held_packet);
  publisher.held_packet.clear();
}

void note_drop(MoldPublisher& publisher, std::uint64_t first) {
  ++publisher.fault_counters.dropped;
  std::fprintf(stderr, "vorbeld fault: dropped seq %llu (packet %llu, %u message(s))\n", Llu{first},
               Llu{publisher.packets}, unsigned{publisher.packet.message_count});
}

// An earlier held packet that was not released yet is lost from the live feed.
void hold_packet(MoldPublisher& publisher, std::uint64_t first) {
  const auto bytes = finish_packet(publisher.packet, publisher.session);
  publisher.held_packet.assign(bytes.begin(), bytes.end());
  ++publisher.fault_counters.reordered;
  std::fprintf(stderr, "vorbeld fault: reordered seq %llu (held behind the next packet)\n", Llu{first});
}

void send_packet(MoldPublisher& publisher) {
  send_to_group(publisher, finish_packet(publisher.packet, publisher.session));
}

void send_duplicate(MoldPublisher& publisher, std::uint64_t first) {
  send_packet(publisher);
  ++publisher.fault_counters.duplicated;
  std::fprintf(stderr, "vorbeld fault: duplicated seq %llu\n", Llu{first});
}

std::int64_t now_ms() {
  return static_cast<std::int64_t>(monotonic_ms());
}

}  // namespace

Session session_bytes(std::string_view name) {
  Session session;
  session.fill(' ');
  std::copy_n(name.begin(), std::min(name.size(), session.size()), session.begin());
  return session;
}

void start_publisher(MoldPublisher& publisher, std::string_view session_name) {
  publisher.session = session_bytes(session_name);
  start_packet(publisher.packet, last_sequence(publisher) + 1);
}

void open_feed(MoldPublisher& publisher, const std::string& group, std::uint16_t port, const std::string& interface) {
  publisher.feed_socket = socket(AF_INET, SOCK_DGRAM, 0);
  publisher.destination.sin_family = AF_INET;
  publisher.destination.sin_port = htons(port);
  inet_pton(AF_INET, group.c_str(), &publisher.destination.sin_addr);

  in_addr outgoing{};
  inet_pton(AF_INET, interface.c_str(), &outgoing);
  const unsigned char ttl = 1;
  const unsigned char loop = 1;
  setsockopt(publisher.feed_socket, IPPROTO_IP, IP_MULTICAST_IF, &outgoing, sizeof outgoing);
  setsockopt(publisher.feed_socket, IPPROTO_IP, IP_MULTICAST_TTL, &ttl, sizeof ttl);
  setsockopt(publisher.feed_socket, IPPROTO_IP, IP_MULTICAST_LOOP, &loop, sizeof loop);
}

std::uint64_t append_message(MoldPublisher& publisher, std::span<const char> message) {
  // A full packet goes out first: its sequence numbers are counted back from the last, which the store gives.
  if (!has_room(publisher.packet, mold::block_prefix + message.size())) flush(publisher);
  const auto block = store_message(publisher.store, message);
  if (has_room(publisher.packet, block.size())) add_blocks(publisher.packet, block, 1);
  return last_sequence(publisher);
}

void flush(MoldPublisher& publisher) {
  if (publisher.packet.message_count == 0) return;
  ++publisher.packets;
  const std::uint64_t first = last_sequence(publisher) + 1 - publisher.packet.message_count;
  switch (decide_fate(publisher.faults, publisher.packets)) {
    case Fate::send:
      send_packet(publisher);
      release_held_packet(publisher);
      break;
    case Fate::send_twice:
      send_packet(publisher);
      send_duplicate(publisher, first);
      release_held_packet(publisher);
      break;
    case Fate::hold:
      hold_packet(publisher, first);
      break;
    case Fate::drop:
      note_drop(publisher, first);
      break;
  }
  start_packet(publisher.packet, last_sequence(publisher) + 1);
  publisher.last_send_ms = now_ms();
}

void send_heartbeat(MoldPublisher& publisher) {
  constexpr std::int64_t silence_ms = 999;
  if (now_ms() - publisher.last_send_ms <= silence_ms) return;
  flush(publisher);
  const std::uint16_t count = publisher.closed ? mold::end_of_session_count : mold::heartbeat_count;
  send_to_group(publisher, make_header(publisher.session, last_sequence(publisher) + 1, count));
  publisher.last_send_ms = now_ms();
  if (!publisher.closed) ++publisher.heartbeats;
}

void end_session(MoldPublisher& publisher) {
  publisher.closed = true;
  publisher.last_send_ms = 0;
}

}  // namespace vorbeld
