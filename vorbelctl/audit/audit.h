// An audit under way: takes what happens on a feed, in the order in which a receiver tells it, has every message
// reconciled as soon as the bench has written it down, and counts. Where the events come from, and when the audit ends,
// is left to others.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "vorbelctl/audit/history.h"
#include "vorbelctl/audit/one_run.h"
#include "vorbelctl/audit/reconcile.h"
#include "vorbelctl/audit/wire_situations.h"
#include "vorbelctl/handler/receiver.h"

namespace vorbelctl {

struct AuditCounts {
  std::uint64_t messages = 0;                              // reconciled, whole or not
  std::array<std::uint64_t, vorbeld::kind_count> kinds{};  // of these, whole ones by kind
  std::uint64_t malformed = 0;                             // messages that do not read; each is a discrepancy

  // Of the numbers from where the feed was joined on.
  std::uint64_t recovered = 0;     // lost on the wire, came by retransmission
  std::uint64_t out_of_order = 0;  // came late on the feed
  std::uint64_t missing = 0;       // never came

  // Of the numbers before.
  std::uint64_t fetched = 0;      // came by retransmission
  std::uint64_t unfetchable = 0;  // did not
};

// A message, or a range of numbers without messages, that is still to be reconciled.
struct Pending {
  std::uint64_t first = 0;
  std::uint64_t last = 0;
  bool missing = false;
  std::string bytes;
  std::uint64_t received_ms = 0;  // wall clock at which it came live; 0: it did not
  std::uint64_t until_ms = 0;     // wall clock at which it was here, however it came
};

struct Audit {
  Reconciliation reconciliation;
  std::uint64_t from = 0;            // the first number to be reconciled; 0: the first that comes
  std::uint64_t to = 0;              // the last one; 0: every number that comes is
  std::uint64_t joined = 0;          // the first number that came, or was announced, live; 0: none yet
  bool on_the_wire = true;           // false: everything is fetched, so nothing can be said of a wire
  std::int64_t clock_offset_ms = 0;  // what makes wall-clock time of the times of events
  std::uint64_t last = 0;            // the highest number reconciled
  std::uint64_t truth_last = 0;      // the highest number that has a record; 0: not yet known
  AuditCounts counts;
  std::vector<Range> missing;  // ascending; ends growing at most_missing_listed
  History history;
  WireSituations wire_situations;
  std::string likely;              // the likely reason of most that is wrong, as a sentence; empty: none is known
  std::string second_sender;       // who sends beside the one that is followed, as a sentence; empty: nobody does
  RunSample sample;                // of the first trades
  std::vector<std::string> notes;  // what else to know of where the messages came from, as sentences
  std::string restart;             // where the feed began again, as a sentence; empty: it did not
  std::deque<Pending> pending;     // beyond most_pending, they do not wait for their records
  bool judged_all = true;          // nothing that could be judged was left when advance ended

  // Called behind every message that was reconciled; empty: nobody looks on.
  std::function<void()> on_judged;
};

inline std::uint64_t count_of(const AuditCounts& counts, Kind kind) {
  return counts.kinds[static_cast<std::size_t>(kind)];
}

// Whether the number lies behind the last one that is to be judged.
inline bool is_beyond(const Audit& audit, std::uint64_t sequence) {
  return audit.to != 0 && sequence > audit.to;
}

// Messages that may wait for their records. Beyond that the bench is not believed to write them any more.
inline constexpr std::size_t most_pending = 20000;

// Takes the events, oldest first, with their bytes; nothing from where the feed began again on.
void note_events(Audit& audit, std::vector<Event> events);

// Reconciles everything that the files have by now; with `no_more`, when the bench is done writing, everything. `most`:
// messages after which it ends all the same.
void advance(Audit& audit, bool no_more, std::size_t most = std::numeric_limits<std::size_t>::max());

// To be called when everything is reconciled: what has turned up since the last message joins the course of the run,
// and what that tells joins the situations.
void note_rest(Audit& audit);

}  // namespace vorbelctl
