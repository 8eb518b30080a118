// The receiver in its hands-on form, for tests that step time by hand: packets in, and what happened as text out.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>

#include "packets.h"
#include "vorbelctl/handler/receiver.h"

namespace vorbelctl::test {

inline ReceiverSettings settings(std::uint64_t first, bool recover) {
  ReceiverSettings result;
  result.session = make_session("BTDS000001");
  result.first = first;
  result.recover = recover;
  return result;
}

// A receiver in its hands-on form: a clock to step, and what has happened as text.
struct Bench {
  Receiver receiver;
  std::uint64_t now_ms = 1000;

  explicit Bench(const ReceiverSettings& chosen) : receiver(make_receiver(chosen)) {}
};

inline void feed(Bench& bench, const std::string& packet, SenderId sender = 0) {
  take_packet(bench.receiver, packet, Channel::feed, bench.now_ms, sender);
}

inline void answer(Bench& bench, const std::string& packet) {
  take_packet(bench.receiver, packet, Channel::answer, bench.now_ms);
}

// The request that is due after another `ms`, as "first+count", or "".
inline std::string after(Bench& bench, std::uint64_t ms) {
  bench.now_ms += ms;
  const auto request = tick(bench.receiver, bench.now_ms);
  return request ? std::to_string(request->first) + "+" + std::to_string(request->count) : "";
}

inline std::string name_of(EventKind kind) {
  switch (kind) {
    case EventKind::joined:
      return "joined";
    case EventKind::message:
      return "";
    case EventKind::gap:
      return "gap";
    case EventKind::gap_closed:
      return "closed";
    case EventKind::missing:
      return "missing";
    case EventKind::out_of_order:
      return "disorder";
    case EventKind::duplicate:
      return "duplicate";
    case EventKind::too_late:
      return "too_late";
    case EventKind::heartbeat:
      return "heartbeat";
    case EventKind::end_of_session:
      return "end";
    case EventKind::foreign_session:
      return "foreign";
    case EventKind::malformed_packet:
      return "malformed";
    case EventKind::behind:
      return "behind";
    case EventKind::altered:
      return "altered";
    case EventKind::began_again:
      return "again";
    case EventKind::second_sender:
      return "second";
  }
  return "?";
}

// What happened since the last look: messages as their numbers with L(ate) or R(ecovered), everything else by name and
// numbers. `contents`: what follows the number in the bytes of messages.
inline std::string happened(Bench& bench, const std::string& contents = "") {
  std::ostringstream text;
  const char* between = "";
  for (const Event& event : take_events(bench.receiver)) {
    text << between << name_of(event.kind);
    between = " ";
    if (event.kind == EventKind::message) {
      EXPECT_EQ(event.text, message_bytes(event.first) + contents);
      text << event.first << (event.via == Via::live ? "" : event.via == Via::late ? "L" : "R");
    } else {
      text << ":" << event.first;
      const bool is_range = event.kind != EventKind::began_again && event.last != event.first;
      if (is_range) text << "-" << event.last;
    }
  }
  return text.str();
}

}  // namespace vorbelctl::test
