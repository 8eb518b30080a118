// MoldUDP64 packets as they arrive: framing is checked as a whole before anything of a packet is used. Also writes the
// one packet that a receiver sends, the retransmission request.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "feed/mold_packet.h"

namespace vorbelctl {

using vorbeld::Session;

// A view into the bytes it was read from.
struct Packet {
  Session session{};
  std::uint64_t first = 0;  // of the first message; in heartbeats and at the end of session: of the next one to come
  bool end_of_session = false;
  std::vector<std::string_view> messages;  // none: a heartbeat, or the end of session
  std::string malformed;                   // what is wrong with the framing; empty: nothing
};

// Reads any bytes. When they are not a packet, `malformed` says why and the rest must not be used. Whatever the packet
// claims, it has no more messages than half as many as it has bytes.
Packet read_packet(std::string_view bytes);

// `name` cut to ten characters and padded with blanks, as sessions stand in packets.
Session make_session(std::string_view name);

// The session's name without the padding.
std::string session_name(const Session& session);

// Asks for `count` messages from the number `first` on.
struct Request {
  std::uint64_t first = 0;
  std::uint16_t count = 0;
};

// The bytes of a request.
std::array<char, vorbeld::mold::header_length> request_bytes(const Session& session, const Request& request);

}  // namespace vorbelctl
