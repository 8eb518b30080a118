#include "vorbelctl/handler/packet.h"

#include <fmt/core.h>

#include <algorithm>
#include <cstddef>
#include <limits>

#include "common/big_endian.h"

namespace vorbelctl {
namespace {

namespace mold = vorbeld::mold;

// Reads the blocks behind the header; returns what is wrong with them.
std::string read_blocks(std::string_view bytes, std::uint16_t count, std::vector<std::string_view>& messages) {
  for (std::uint16_t i = 0; i < count; ++i) {
    if (bytes.size() < mold::block_prefix) {
      return fmt::format("it ends before message {} of the {} it claims", i + 1, count);
    }
    const std::size_t length = vorbeld::take_u16(bytes.data());
    bytes.remove_prefix(mold::block_prefix);
    if (length > bytes.size()) {
      return fmt::format("message {} claims {} bytes, {} are left", i + 1, length, bytes.size());
    }
    messages.push_back(bytes.substr(0, length));
    bytes.remove_prefix(length);
  }
  return bytes.empty() ? "" : fmt::format("{} bytes are left over behind the last message", bytes.size());
}

}  // namespace

Packet read_packet(std::string_view bytes) {
  Packet packet;
  if (bytes.size() < mold::header_length) {
    packet.malformed = fmt::format("{} bytes are too few for a header", bytes.size());
    return packet;
  }
  std::copy_n(bytes.data() + mold::session_at, mold::session_length, packet.session.begin());
  packet.first = vorbeld::take_u64(bytes.data() + mold::sequence_at);
  const std::uint16_t count = vorbeld::take_u16(bytes.data() + mold::count_at);
  packet.end_of_session = count == mold::end_of_session_count;
  const std::uint16_t blocks = packet.end_of_session ? 0 : count;
  if (packet.first == 0) {
    packet.malformed = "sequence number 0";
  } else if (packet.first > std::numeric_limits<std::uint64_t>::max() - blocks) {
    packet.malformed = "its sequence numbers run over the largest number";
  } else {
    packet.malformed = read_blocks(bytes.substr(mold::header_length), blocks, packet.messages);
  }
  return packet;
}

Session make_session(std::string_view name) {
  Session session;
  session.fill(' ');
  std::copy_n(name.begin(), std::min(name.size(), session.size()), session.begin());
  return session;
}

std::string session_name(const Session& session) {
  const std::string_view padded(session.data(), session.size());
  return std::string(padded.substr(0, padded.find_last_not_of(' ') + 1));
}

std::array<char, vorbeld::mold::header_length> request_bytes(const Session& session, const Request& request) {
  return vorbeld::make_header(session, request.first, request.count);
}

}  // namespace vorbelctl
