// The publisher of the feed: numbers every message, keeps it in the store, packs it and sends the packet to the
// multicast group, faults permitting; sends heartbeats while nothing else is sent. There is one for the whole run.
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "feed/faults.h"
#include "feed/message_store.h"
#include "feed/mold_packet.h"

namespace vorbeld {

struct MoldPublisher {
  int feed_socket = -1;       // UDP, blocking, not bound; -1 until opened
  sockaddr_in destination{};  // multicast group and port of the feed
  Session session{};

  MessageStore store;             // every message enters it; the count of them is the last sequence number
  MoldPacket packet;              // under construction
  std::uint64_t packets = 0;      // flushed since start: sent, dropped or held alike
  std::int64_t last_send_ms = 0;  // monotonic; last flush that had messages, or last heartbeat; 0 makes one due
  std::uint64_t heartbeats = 0;   // end-of-session packets are not counted
  bool closed = false;            // the session has ended; only end_session() sets it

  FaultSettings faults;
  FaultCounters fault_counters;
  std::vector<char> held_packet;  // held behind the next packet that is sent; empty: none
};

// The sequence number of the newest message, which is the number of messages since start; 0 before the first.
inline std::uint64_t last_sequence(const MoldPublisher& publisher) {
  return publisher.store.appended;
}

// The session name on the wire: the first 10 characters of `name`, blanks behind a shorter one.
Session session_bytes(std::string_view name);

// Gives a fresh publisher its session and its empty first packet.
void start_publisher(MoldPublisher& publisher, std::string_view session_name);

// Opens the multicast sender towards `group`:`port` out of the interface with the address `interface`; TTL 1, looped
// back to receivers on this host. Nothing is checked: an unreadable address counts as 0.0.0.0, and a socket that cannot
// be had shows up as sends that reach nobody.
void open_feed(MoldPublisher& publisher, const std::string& group, std::uint16_t port, const std::string& interface);

// Stores, numbers and packs one message and returns its sequence number. The packet waits for flush(), unless it is
// full already. A message longer than 1478 bytes is numbered and stored but never sent on the live feed.
std::uint64_t append_message(MoldPublisher& publisher, std::span<const char> message);

// Sends, drops, duplicates or holds back the packet under construction; does nothing when it is empty.
void flush(MoldPublisher& publisher);

// Sends a heartbeat, or an end-of-session packet once the session has ended, when nothing was sent for more than 999
// ms.
void send_heartbeat(MoldPublisher& publisher);

// Ends the session: from now on heartbeats are end-of-session packets, and the first of them is due at once. Messages
// can still be sent.
void end_session(MoldPublisher& publisher);

}  // namespace vorbeld
