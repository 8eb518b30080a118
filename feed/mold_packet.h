// The MoldUDP64 downstream packet: a 20-byte header and message blocks, all integers big-endian. Live packets,
// heartbeats and retransmission answers are built here; requests have the header's layout.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace vorbeld {

namespace mold {
// Offsets of the header's fields in bytes.
inline constexpr std::size_t session_at = 0;    // 10 bytes, ASCII, blanks on the right
inline constexpr std::size_t sequence_at = 10;  // 8 bytes: sequence number of the first message
inline constexpr std::size_t count_at = 18;     // 2 bytes: number of messages, or one of the two marks below
inline constexpr std::size_t header_length = 20;
// Before each message: its length in 2 bytes.
inline constexpr std::size_t block_prefix = 2;

inline constexpr std::size_t session_length = 10;
inline constexpr std::uint16_t heartbeat_count = 0;
inline constexpr std::uint16_t end_of_session_count = 0xffff;

inline constexpr std::size_t largest_packet = 1500;
inline constexpr std::uint16_t most_messages = 65534;
static_assert(session_at + session_length == sequence_at && sequence_at + 8 == count_at &&
              count_at + 2 == header_length);
}  // namespace mold

using Session = std::array<char, mold::session_length>;

// A packet under construction. The header's bytes are only written when it is finished.
struct MoldPacket {
  std::array<char, mold::largest_packet> bytes{};
  std::size_t length = mold::header_length;
  std::uint16_t message_count = 0;
  std::uint64_t first_sequence = 0;
};

// Empties the packet; the next message added to it has the number `first_sequence`.
void start_packet(MoldPacket& packet, std::uint64_t first_sequence);

// True when a block of `block_length` bytes, length prefix included, can still be added.
bool has_room(const MoldPacket& packet, std::size_t block_length);

// Bytes that can still be added.
inline std::size_t room_in(const MoldPacket& packet) {
  return mold::largest_packet - packet.length;
}

// Adds `count` blocks that lie end to end, each the 2-byte length and the message. The packet must have room for them.
void add_blocks(MoldPacket& packet, std::span<const char> blocks, std::uint16_t count);

// Writes the header over the first 20 bytes and returns the whole packet, which lives as long as `packet` is unchanged.
std::span<const char> finish_packet(MoldPacket& packet, const Session& session);

// A header alone: a heartbeat or an end-of-session packet.
std::array<char, mold::header_length> make_header(const Session& session, std::uint64_t sequence, std::uint16_t count);

}  // namespace vorbeld
