// The feed engine: the one record that every operation on trades works on, and the first steps of the road that every
// message takes.
#pragma once

#include <cstdint>
#include <span>

#include "common/line_file.h"
#include "common/text_hash.h"
#include "common/text_line.h"
#include "feed/publisher.h"
#include "trades/trade_index.h"
#include "trades/universe.h"

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
  bool quiet = false;  // no console line per message

  Universe universe;
  TradeIndex trades;
  std::uint64_t newest_amendable = 0;  // head of the TradeRecord::older_amendable list, live or not; 0: none
  bool session_closed = false;         // trades and amendments are refused
  std::uint64_t suppressed = 0;        // trades refused since
  RunCounters counters;

  LineFile truth;  // one record per message sent, and the marks
  LineFile tape;   // one line per trade
  TextLine line;   // scratch: the line under construction
};

// Numbers, stores and sends one finished message in a packet of its own; returns its sequence number.
std::uint64_t send_message(Engine& engine, std::span<const char> message);

// UTC seconds for the header of a message built now.
std::int64_t message_time_s();

}  // namespace vorbeld
