#include "feed/mold_packet.h"

#include <algorithm>
#include <cassert>

#include "common/big_endian.h"

namespace vorbeld {

void start_packet(MoldPacket& packet, std::uint64_t first_sequence) {
  packet.length = mold::header_length;
  packet.message_count = 0;
  packet.first_sequence = first_sequence;
}

bool has_room(const MoldPacket& packet, std::size_t block_length) {
  return block_length <= room_in(packet) && packet.message_count < mold::most_messages;
}

void add_blocks(MoldPacket& packet, std::span<const char> blocks, std::uint16_t count) {
  assert(blocks.size() <= room_in(packet));
  std::copy(blocks.begin(), blocks.end(), packet.bytes.data() + packet.length);
  packet.length += blocks.size();
  packet.message_count = static_cast<std::uint16_t>(packet.message_count + count);
}

std::span<const char> finish_packet(MoldPacket& packet, const Session& session) {
  const auto header = make_header(session, packet.first_sequence, packet.message_count);
  std::copy(header.begin(), header.end(), packet.bytes.begin());
  return {packet.bytes.data(), packet.length};
}

std::array<char, mold::header_length> make_header(const Session& session, std::uint64_t sequence, std::uint16_t count) {
  std::array<char, mold::header_length> header;
  std::copy(session.begin(), session.end(), header.data() + mold::session_at);
  put_u64(header.data() + mold::sequence_at, sequence);
  put_u16(header.data() + mold::count_at, count);
  return header;
}

}  // namespace vorbeld
