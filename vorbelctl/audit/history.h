// The course of a run for whoever looks at it afterwards: how many messages a second, what went wrong when and for how
// long, and the prices of each bond. Sums up as it goes: time is cut into slices that double in width when a run
// outlasts them, and lists end at a stated length, so memory does not grow with the run.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "vorbelctl/audit/reconcile.h"
#include "vorbelctl/handler/receiver.h"

namespace vorbelctl {

inline constexpr std::size_t most_slices = 240;
inline constexpr std::size_t most_faults_listed = 500;
inline constexpr std::size_t most_spans_listed = 200;
inline constexpr std::size_t most_bonds_drawn = 60;
inline constexpr std::size_t most_milestones_listed = 500;

// Equal slices of time from a common begin on.
template <class Slice>
struct Slices {
  std::int64_t width_ms = 0;
  std::vector<Slice> slices;  // at most most_slices
};

struct TimelineSlice {
  std::uint64_t messages = 0;
  std::uint64_t lost = 0;
  std::uint64_t out_of_order = 0;
  std::uint64_t duplicates = 0;
  std::uint64_t tails = 0;  // losses that a heartbeat told of
  std::uint64_t discrepancies = 0;
};

// The last sales of one bond within a slice, and the amendments in it.
struct PriceSlice {
  std::uint64_t prints = 0;
  double low = 0;
  double high = 0;
  double last = 0;
  std::uint64_t cancels = 0;
  double cancelled = 0;  // price of the trade cancelled last
  std::uint64_t corrections = 0;
  double corrected = 0;  // price that the last correction put in place
};

struct BondHistory {
  std::string cusip;
  std::string symbol;
  std::uint64_t prints = 0;
  std::uint64_t cancels = 0;
  std::uint64_t corrections = 0;
  Slices<PriceSlice> prices;
};

enum class FaultKind : std::uint8_t {
  lost,
  out_of_order,
  duplicate,
  tail,
  malformed_packet,
  foreign_session,
  behind,
  altered,
  second_sender,
  began_again
};

struct Fault {
  FaultKind kind = FaultKind::lost;
  std::int64_t at_ms = 0;   // UTC
  std::uint64_t first = 0;  // 0: it concerns no number
  std::uint64_t last = 0;
  std::uint64_t open_ms = 0;    // of a gap: until every number of it was there or given up
  std::uint64_t recovered = 0;  // of a gap: numbers that came by retransmission
  std::uint64_t late = 0;       // of a gap: numbers that came late on the feed
  std::uint64_t missing = 0;    // of a gap: numbers that never came
};

struct TimeSpan {
  std::int64_t begin_ms = 0;  // UTC
  std::int64_t end_ms = 0;    // 0: it lasts
  std::string what;           // the CUSIP of a halt; otherwise empty
};

// What the bench was told to do, or did to its bonds and its session.
struct Milestone {
  std::int64_t at_ms = 0;  // UTC
  std::string what;        // "halt 037833DT4", "control message C", "mark half way"
};

struct History {
  std::int64_t begin_ms = 0;  // UTC; 0: no message has been reconciled yet
  std::int64_t end_ms = 0;
  std::int64_t message_ms = 0;  // when the latest message was sent, as exactly as is known
  std::uint64_t trades = 0;
  std::int64_t first_trade_ms = 0;  // when it was sent, by the records alone: the same however the messages came
  std::int64_t trade_ms = 0;        // of the latest
  Slices<TimelineSlice> timeline{1000, {}};
  std::vector<BondHistory> bonds;  // the first ones seen
  std::vector<TimeSpan> halts;
  std::vector<TimeSpan> idles;        // times without trades
  Met idles_met;                      // all of them; the first by the trade that ended it
  std::int64_t close_ms = 0;          // 0: the session was not closed
  std::vector<Milestone> milestones;  // the first ones
  std::uint64_t milestones_total = 0;
  std::vector<Fault> faults;
  std::uint64_t faults_total = 0;
  std::uint64_t longest_open_ms = 0;
  Fault gap;                           // the one that will close next: what became of its numbers so far
  std::uint64_t newest_gap_last = 0;   // last number of the gap that opened last
  std::uint64_t newest_tail_last = 0;  // the same of the gap that a heartbeat told of last
};

// A message has been reconciled. `received_ms`: wall clock at which it came live; 0: it did not.
void note_message(History& history, const Reconciled& message, std::uint64_t received_ms);

// A message that was sent never came: the prices and halts go on by its record.
void note_missing(History& history, const Reconciled& message);

// What has turned up since the last message, at the time of that one.
void note_turned_up(History& history, const Reconciled& message);

// Something has happened on the feed at the wall-clock time `at_ms`. Messages as such are left to note_message.
void note_event(History& history, const Event& event, std::int64_t at_ms);

// "lost", "out of order" and so on.
std::string_view fault_name(FaultKind kind);

}  // namespace vorbelctl
