// The retransmission server: answers each MoldUDP64 request, unicast to whoever sent it, with packets made from the
// message store. Owns its socket and the count of requests; nothing else is kept between them.
#pragma once

#include <cstdint>

#include "feed/message_store.h"
#include "feed/mold_packet.h"

namespace vorbeld {

struct RetransmissionServer {
  int socket = -1;             // UDP, non-blocking; -1: no retransmission port
  std::uint64_t requests = 0;  // of 20 bytes or more, answered or not
  MoldPacket answer;           // under construction, reused for every packet
};

// Answers the requests that wait on the socket, until none is left or a datagram of fewer than 20 bytes came, which is
// dropped. Messages no longer stored and numbers not yet given are left out. The request's session bytes are not looked
// at and come back in the answer as they are. Unless `quiet`, each request has a line on the console.
void serve_retransmissions(RetransmissionServer& server, const MessageStore& store, bool quiet);

}  // namespace vorbeld
