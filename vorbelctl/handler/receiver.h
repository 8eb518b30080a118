// A feed handler's core: puts the messages of one session into the order of their sequence numbers, notices what is
// missing, says what to ask the retransmission server for, and gives up honestly. Packets and time are handed in and
// events are taken out. There is no socket and no clock here, so a test steps through a day in a moment. The receiver
// does not look at what a message means.
//
// Every sequence number from the first one on ends in exactly one of two ways: delivered as a message, in ascending
// order, or reported missing. Where the publisher begins again, so do the numbers, behind an event that says so:
// nothing of the new run is taken for the old one's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "vorbelctl/handler/delivered.h"
#include "vorbelctl/handler/packet.h"
#include "vorbelctl/handler/ranges.h"
#include "vorbelctl/handler/senders.h"

namespace vorbelctl {

struct ReceiverSettings {
  Session session{};        // packets of any other are reported and ignored
  std::uint64_t first = 0;  // where to start; 0: with whatever the feed sends next
  bool recover = false;     // false: nothing is ever asked for, gaps are given up when the reorder window has passed
  std::uint64_t reorder_window_ms = 20;   // how long a gap may be mere disorder before anything is asked for
  std::uint64_t answer_timeout_ms = 250;  // silence after which an answer counts as lost
  std::uint32_t most_tries = 5;  // requests in a row that may bring nothing new; then what they asked for is given up
  bool insist = true;            // false: a request that brought only a part counts like one that brought nothing
  std::uint16_t most_per_request = 256;    // messages whose answer a receive buffer surely holds
  std::uint64_t publisher_keeps = 400000;  // the latest messages; the server cannot answer for older ones
  std::size_t most_held = 100000;          // messages kept behind a gap; more are dropped and asked for again later
  std::size_t most_held_bytes = 64 << 20;  // and their bytes in all
};

enum class Channel : std::uint8_t { feed, answer };

enum class EventKind : std::uint8_t {
  joined,            // first: the number that the stream starts with
  message,           // first: its number; text: its bytes
  gap,               // first to last: skipped by what has just arrived
  gap_closed,        // first to last: every number is now delivered or reported missing; open_ms, missing
  missing,           // first to last: given up
  out_of_order,      // first: filled a gap, but came late on the feed
  duplicate,         // first: was already here, with the same bytes as far as is known
  altered,           // first: was already here with other bytes; text: these; earlier: those; via
  too_late,          // first: came on the feed after it was reported missing; ignored
  heartbeat,         // first: the next number to come
  end_of_session,    // first: one past the last number; reported once
  foreign_session,   // text: its name; reported when the name changes, counted always
  malformed_packet,  // text: the bytes; reason
  behind,            // first: the feed stands there, before what was already seen or asked for, as after a restart
  began_again,   // first: where the new run showed itself; last: the last number of the old one; text: who sends it;
                 // earlier: who sent the old one
  second_sender  // first: the number that it sent; text: who it is; earlier: the one that is followed
};

enum class Via : std::uint8_t { live, late, recovered };

// What happened. Which fields are filled stands beside the kinds.
struct Event {
  EventKind kind = EventKind::message;
  std::uint64_t at_ms = 0;  // the time handed in with the packet, or with the tick; of a gap that closed: when its last
                            // number came or was given up, though it is told in the order of the numbers
  std::uint64_t came_ms = 0;  // of a message: when it came itself; before `at_ms` where it was held behind a gap
  std::uint64_t first = 0;
  std::uint64_t last = 0;
  std::uint64_t open_ms = 0;  // from the first sign of the gap to its own last number, whatever else is missing
  std::uint64_t missing = 0;  // numbers of the gap that were given up
  Via via = Via::live;        // of a message: how it came
  std::string text;
  std::string reason;
  std::string earlier;  // empty: no longer known
};

struct ReceiverTotals {
  std::uint64_t packets = 0;  // of the feed, heartbeats and packets of other sessions included
  std::uint64_t ours = 0;     // of these: whole, and of our session
  std::uint64_t messages = 0;
  std::uint64_t gaps = 0;
  std::uint64_t skipped = 0;    // numbers in those gaps
  std::uint64_t late = 0;       // of these: came on the feed after all
  std::uint64_t recovered = 0;  // of these: came by retransmission
  std::uint64_t missing = 0;    // of these: given up
  std::uint64_t duplicates = 0;
  std::uint64_t too_late = 0;
  std::uint64_t heartbeats = 0;
  std::uint64_t end_of_sessions = 0;
  std::uint64_t foreign = 0;    // answers included
  std::uint64_t malformed = 0;  // answers included
  std::uint64_t requests = 0;
  std::uint64_t overrun = 0;       // dropped because `most_held` messages were waiting
  std::uint64_t dropped_here = 0;  // packets of the feed that found the receive buffer full, as whoever follows tells
  std::uint64_t altered = 0;
  std::uint64_t second_senders = 0;
  std::uint64_t ignored = 0;  // packets of second senders
  std::uint64_t began_again = 0;
};

struct Gap {
  std::uint64_t first = 0;
  std::uint64_t last = 0;
  std::uint64_t opened_ms = 0;
  std::uint64_t left = 0;       // numbers that have neither come nor been given up
  std::uint64_t filled_ms = 0;  // when the latest of the others was
  std::uint64_t given_up = 0;
};

struct Held {
  std::string bytes;
  Via via = Via::live;
  std::uint64_t came_ms = 0;
};

// Numbers below `next` are settled, those from `next` up to `end` are held or missing, and nothing is known of those
// from `end` on. So `next` is the first missing number, or nothing is missing and `next` equals `end`.
struct Receiver {
  ReceiverSettings settings;
  std::uint64_t joined_at = 0;  // 0: no packet has been seen and no start was asked for
  std::uint64_t next = 0;
  std::uint64_t end = 0;
  std::uint64_t joined_ms = 0;         // when that packet came; 0: the start was asked for
  std::map<std::uint64_t, Held> held;  // at most settings.most_held
  std::size_t held_bytes = 0;          // theirs; at most settings.most_held_bytes
  std::deque<Gap> gaps;                // ascending, none beside another, so one more than messages held at most
  bool ended = false;                  // the end of session was announced
  std::vector<Range> missing;          // of this run; ascending, neighbours joined; at most `most_missing_listed`
  std::string foreign_session;         // the one reported last
  std::uint64_t behind_at = 0;         // where the feed stood when it was last reported behind; 0: never
  Delivered delivered;
  Senders senders;

  std::uint32_t tries = 0;         // requests since the last one that brought something
  std::uint64_t asked_last = 0;    // the last number of the request under way
  std::uint64_t answer_until = 0;  // ms; when that request counts as unanswered; 0: no request is under way
  bool silent = false;  // the last request was not answered: until an answer comes, no number is asked for twice

  ReceiverTotals totals;
  std::vector<Event> events;  // not yet taken
};

Receiver make_receiver(const ReceiverSettings& settings);

// Takes one datagram, whatever it holds. One that is not a packet, or is of another session, ends as an event. One of
// the feed that contradicts what came before is kept aside until the receiver knows why, and nothing is asked for and
// no answer taken meanwhile. Returns true for a packet of the feed that belongs to the run that is followed, as far as
// is known at once; a heartbeat of its sender does in any case.
bool take_packet(Receiver& receiver, std::string_view bytes, Channel channel, std::uint64_t now_ms,
                 SenderId sender = 0);

// Tells the receiver that all numbers before `end` have been sent, as a heartbeat would. It must know its start.
void expect_until(Receiver& receiver, std::uint64_t end, std::uint64_t now_ms);

// To be called every few milliseconds. Gives up what has been missing for too long, and returns the request that is
// due, if there is one. The caller sends it; the receiver counts it as sent.
std::optional<Request> tick(Receiver& receiver, std::uint64_t now_ms);

// Decides about packets that were kept aside: no more packets of the feed will come.
void settle_rival(Receiver& receiver, std::uint64_t now_ms);

// The same, and gives up everything that is still missing and delivers what was held behind it: nothing more will come.
void finish(Receiver& receiver, std::uint64_t now_ms);

// The events since the last call, oldest first.
std::vector<Event> take_events(Receiver& receiver);

// True when messages were lost that may have been lost here, at a receive buffer that was full, and not on the wire.
// What is worse, such as altered messages, goes before that.
bool could_not_keep_up(const ReceiverTotals& totals);

// True when the end of session was announced and every number before it is settled.
bool complete(const Receiver& receiver);

}  // namespace vorbelctl
