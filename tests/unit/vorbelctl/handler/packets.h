// Packets for the receiver's tests: message number n has the bytes "m<n>".
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>

#include "common/big_endian.h"
#include "vorbelctl/handler/packet.h"

namespace vorbelctl::test {

inline std::string message_bytes(std::uint64_t sequence) {
  return "m" + std::to_string(sequence);
}

inline std::string header(std::uint64_t first, std::uint16_t count, const std::string& session = "BTDS000001") {
  const auto bytes = vorbeld::make_header(make_session(session), first, count);
  return {bytes.begin(), bytes.end()};
}

// The messages `first` to `last` in one packet; `contents` stands behind the number in the bytes of each.
inline std::string data(std::uint64_t first, std::uint64_t last, const std::string& session = "BTDS000001",
                        const std::string& contents = "") {
  std::string packet = header(first, static_cast<std::uint16_t>(last - first + 1), session);
  for (std::uint64_t sequence = first; sequence <= last; ++sequence) {
    const std::string message = message_bytes(sequence) + contents;
    std::string prefix(2, '\0');
    vorbeld::put_u16(prefix.data(), static_cast<std::uint16_t>(message.size()));
    packet += prefix + message;
  }
  return packet;
}

// The same of another run, or altered.
inline std::string other_data(std::uint64_t first, std::uint64_t last) {
  return data(first, last, "BTDS000001", "!");
}

inline std::string heartbeat(std::uint64_t next) {
  return header(next, vorbeld::mold::heartbeat_count);
}

inline std::string end_of_session(std::uint64_t next) {
  return header(next, vorbeld::mold::end_of_session_count);
}

}  // namespace vorbelctl::test
