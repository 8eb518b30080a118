// The receiver on real sockets: packets in from the feed and the retransmission port, requests out, time from the
// clock. Whoever follows a feed calls `pump` over and over and looks at the events.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "vorbelctl/doors/sockets.h"
#include "vorbelctl/handler/pcap_writer.h"
#include "vorbelctl/handler/receiver.h"

namespace vorbelctl {

// Hears a datagram of the run that is followed, as take_packet tells it, that had not come yet at `not_before_ms`,
// monotonic.
using Overhear = std::function<void(std::string_view bytes, std::uint64_t not_before_ms)>;

struct Follower {
  Receiver receiver;
  Socket feed;                    // -1: nothing is listened to, only asked for
  Socket requests;                // -1: the receiver does not recover
  bool requests_refused = false;  // the retransmission port said that it is closed, the last time it was asked
  Batch batch;
  std::vector<Datagram> taken;      // those in the batch
  PcapWriter capture;               // takes every datagram before it is looked at; without a file: nothing is kept
  bool captured_all = true;         // false: something could not be written
  SenderId feed_address = 0;        // group and port
  std::uint64_t feed_buffer = 0;    // bytes, with the bookkeeping of packets, that the system granted the feed's socket
  Overhear overhear;                // empty: nobody does
  bool feed_empty = true;           // nothing was left at the feed's socket when it was looked at last
  std::uint64_t feed_empty_ms = 0;  // monotonic; when nothing waited at the feed's socket last
};

// What makes wall-clock time of the receiver's times. Taken once for a whole run, so that no event seems to go back.
std::int64_t wall_offset_ms();

// Joins the feed and, where the settings recover, opens the way to the retransmission port; the size of a request is
// set from what the socket's buffer holds. Throws as the sockets do.
Follower follow_feed(const Addresses& addresses, ReceiverSettings settings);

// Without the feed: numbers are only asked for, from `first` up to and without `end`.
Follower follow_answers(const Addresses& addresses, ReceiverSettings settings, std::uint64_t first, std::uint64_t end);

// "127.0.0.1:40002 sends packets of the session beside 127.0.0.1:40001".
std::string second_sender_text(const Event& event);

// "could not keep up: 12 packets found no room in the receive buffer of 8,192 KB".
std::string own_loss_text(std::uint64_t dropped_here, std::uint64_t buffer_bytes);

// Listens until then, on the monotonic clock, for a second sender of the session; what is said of it, as above, as soon
// as there is one. Both must have spoken, so it takes longer than a publisher's longest pause, which is a second. The
// events are used up.
std::optional<std::string> hear_second_sender(Follower& follower, std::uint64_t until_ms);

// Waits for packets, at most `timeout_ms` and never longer than the receiver's own timers allow; takes those that wait,
// sends the request that is due, and returns what happened.
std::vector<Event> pump(Follower& follower, int timeout_ms);

}  // namespace vorbelctl
