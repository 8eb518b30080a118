// The receiver on real sockets: packets in from the feed and the retransmission port, requests out, time from the
// clock. Whoever follows a feed calls `pump` over and over and looks at the events.
#pragma once

#include <string>
#include <vector>

#include "vorbelctl/handler/receiver.h"
#include "vorbelctl/handler/sockets.h"

namespace vorbelctl {

struct Follower {
  Receiver receiver;
  Socket feed;                    // -1: nothing is listened to, only asked for
  Socket requests;                // -1: the receiver does not recover
  bool requests_refused = false;  // the retransmission port said that it is closed, the last time it was asked
  std::string buffer;
};

// Joins the feed and, where the settings recover, opens the way to the retransmission port; the size of a request is
// set from what the socket's buffer holds. Throws as the sockets do.
Follower follow_feed(const Addresses& addresses, ReceiverSettings settings);

// Without the feed: numbers are only asked for, from `first` up to and without `end`.
Follower follow_answers(const Addresses& addresses, ReceiverSettings settings, std::uint64_t first, std::uint64_t end);

// Waits for packets, at most `timeout_ms` and never longer than the receiver's own timers allow; takes those that wait,
// sends the request that is due, and returns what happened.
std::vector<Event> pump(Follower& follower, int timeout_ms);

}  // namespace vorbelctl
