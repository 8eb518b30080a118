#include "services/retransmission.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstdio>

#include "common/big_endian.h"
#include "common/numbers.h"

namespace vorbeld {
namespace {

struct Request {
  Session session;
  std::uint64_t first;  // sequence number wanted
  std::uint16_t count;  // messages wanted
  sockaddr_in sender;
  socklen_t sender_length;
};

// False when nothing more waits or the datagram was too short.
bool receive_request(int descriptor, Request& request) {
  std::array<char, 64> datagram;
  request.sender = {};
  request.sender_length = sizeof request.sender;
  const ssize_t received = recvfrom(descriptor, datagram.data(), datagram.size(), 0,
                                    reinterpret_cast<sockaddr*>(&request.sender), &request.sender_length);
  if (received < static_cast<ssize_t>(mold::header_length)) return false;
  std::copy_n(datagram.data() + mold::session_at, mold::session_length, request.session.data());
  request.first = take_u64(datagram.data() + mold::sequence_at);
  request.count = take_u16(datagram.data() + mold::count_at);
  return true;
}

// Fills the packet with messages from `sequence` on, as many below `end` as fit; returns the first that is not in it.
std::uint64_t fill_packet(MoldPacket& packet, const MessageStore& store, std::uint64_t sequence, std::uint64_t end) {
  start_packet(packet, sequence);
  while (sequence < end) {
    const StoredRun run = stored_run(store, sequence, end, room_in(packet));
    if (run.count == 0) break;
    add_blocks(packet, run.blocks, run.count);
    sequence += run.count;
  }
  return sequence;
}

// Sends messages `sequence` to `end` - 1, in as many packets as it takes; returns their number.
std::uint64_t send_messages(RetransmissionServer& server, const MessageStore& store, const Request& request,
                            std::uint64_t sequence, std::uint64_t end) {
  MoldPacket& packet = server.answer;
  std::uint64_t sent = 0;
  while (sequence < end) {
    sequence = fill_packet(packet, store, sequence, end);
    if (packet.message_count == 0) {
      ++sequence;  // a message longer than any packet; it can only be passed over
      continue;
    }
    const auto bytes = finish_packet(packet, request.session);
    fetch_ahead(store, sequence, mold::largest_packet);  // arrives while the system sends this packet
    sendto(server.socket, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&request.sender),
           request.sender_length);
    sent += packet.message_count;
  }
  return sent;
}

}  // namespace

void serve_retransmissions(RetransmissionServer& server, const MessageStore& store, bool quiet) {
  Request request{};
  while (receive_request(server.socket, request)) {
    const std::uint64_t begin = std::max(request.first, oldest_stored(store));
    const std::uint64_t end = std::min(request.first + request.count, store.appended + 1);  // the first sum may wrap
    const std::uint64_t sent = send_messages(server, store, request, begin, end);
    ++server.requests;
    if (!quiet) {
      std::fprintf(stderr, "[vorbeld] retransmission: seq %llu count %u → %llu message(s) to %s:%u\n",
                   Llu{request.first}, unsigned{request.count}, Llu{sent}, inet_ntoa(request.sender.sin_addr),
                   unsigned{ntohs(request.sender.sin_port)});
    }
  }
}

}  // namespace vorbeld
