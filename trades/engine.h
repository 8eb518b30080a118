// The feed engine: the one record that every operation on trades works on, and the first steps of the road that every
// message takes.
#pragma once

#include <cstdint>
#include <span>

#include "common/clocks.h"
#include "common/line_file.h"
#include "common/text.h"
#include "common/text_line.h"
#include "feed/publisher.h"
#include "trades/bonds.h"
#include "trades/trade_index.h"

namespace vorbeld {

// What has been disseminated since start.
struct RunCounters {
  std::uint64_t reports = 0;  // trades, generated and reported alike
  std::uint64_t capped = 0;   // of those, over the cap
  std::uint64_t as_of = 0;    // of those, with an as-of indicator
  TextMap<std::uint64_t>
      by_venue;  // of those, per venue; unbounded, an entry per text reported; in the map's own order
  std::uint64_t cancels = 0;
  std::uint64_t corrections = 0;
  std::uint64_t halts = 0;  // halts and resumes: a halt that is lifted again counts 2
  std::uint64_t daily_summaries = 0;
};

struct Engine {
  explicit Engine(MoldPublisher& feed) : publisher(feed) {}

  MoldPublisher& publisher;
  bool quiet = false;  // no console line per message and per retransmission request

  Universe universe;
  TradeIndex trades;
  std::uint64_t suppressed = 0;  // trades refused since the session was closed
  RunCounters counters;

  LineFile truth;  // one record per message sent, and the marks
  LineFile tape;   // one line per trade
  TextLine line;   // scratch: the line under construction
};

// True once the session is closed: trades and amendments are refused.
inline bool session_closed(const Engine& engine) {
  return engine.publisher.closed;
}

// Numbers, stores and sends one finished message in a packet of its own; returns its sequence number.
inline std::uint64_t send_message(Engine& engine, std::span<const char> message) {
  const std::uint64_t sequence = append_message(engine.publisher, message);
  flush(engine.publisher);
  return sequence;
}

// UTC seconds for the header of a message built now.
inline std::int64_t message_time_s() {
  return static_cast<std::int64_t>(wall_ms() / 1000);
}

}  // namespace vorbeld
