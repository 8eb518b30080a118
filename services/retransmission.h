// The retransmission server: answers each MoldUDP64 request, unicast to whoever sent it, with packets made from the
// message store. Keeps nothing between requests; socket, store and counters are the publisher's.
#pragma once

#include "feed/publisher.h"

namespace vorbeld {

struct RetransmissionServer {
  MoldPacket answer;  // under construction, reused for every packet
};

// Answers the requests that wait on the publisher's retransmission socket, until none is left or a datagram of fewer
// than 20 bytes came, which is dropped. Messages no longer stored and numbers not yet given are left out. The request's
// session bytes are not looked at and come back in the answer as they are.
void serve_retransmissions(RetransmissionServer& server, MoldPublisher& publisher);

}  // namespace vorbeld
