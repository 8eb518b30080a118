// An audit under way: takes what happens on a feed, in the order in which a receiver tells it, has every message judged
// as soon as the bench has written it down, and counts. Where the events come from, and when the audit ends, is left to
// others.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "vorbelctl/audit/history.h"
#include "vorbelctl/audit/judge.h"
#include "vorbelctl/handler/receiver.h"

namespace vorbelctl {

// Messages by kind, as judged.
struct AuditCounts {
  std::uint64_t messages = 0;
  std::uint64_t trades = 0;
  std::uint64_t cancels = 0;
  std::uint64_t corrections = 0;
  std::uint64_t halts = 0;
  std::uint64_t summaries = 0;
  std::uint64_t controls = 0;
  std::uint64_t malformed = 0;  // messages that do not read; each is a finding

  // Of the numbers from where the feed was joined on.
  std::uint64_t recovered = 0;     // lost on the wire, came by retransmission
  std::uint64_t out_of_order = 0;  // came late on the feed
  std::uint64_t missing = 0;       // never came

  // Of the numbers before.
  std::uint64_t fetched = 0;      // came by retransmission
  std::uint64_t unfetchable = 0;  // did not
};

// A message, or a range of numbers without messages, that is still to be judged.
struct Pending {
  std::uint64_t first = 0;
  std::uint64_t last = 0;
  bool missing = false;
  std::string bytes;
  std::uint64_t heard_ms = 0;  // wall clock at which it came live; 0: it did not
  std::uint64_t until_ms = 0;  // wall clock at which it was here, however it came
};

struct Audit {
  Judge judge;
  std::uint64_t from = 0;            // the first number to be judged; 0: the first that comes
  std::uint64_t joined = 0;          // the first number that came, or was announced, live; 0: none yet
  bool on_the_wire = true;           // false: everything is fetched, so nothing can be said of a wire
  std::int64_t clock_offset_ms = 0;  // what makes wall-clock time of the times of events
  std::uint64_t last = 0;            // the highest number judged
  AuditCounts counts;
  std::vector<Range> missing;  // ascending; ends growing at most_missing_listed
  History history;
  std::deque<Pending> pending;  // at most most_pending
};

// Counts one message of the kind; the sum of all is counted by whoever hears them.
void count_kind(AuditCounts& counts, Kind kind);

// Messages that may wait for their records. Beyond that the bench is not believed to write them any more.
inline constexpr std::size_t most_pending = 20000;

// Takes the events, oldest first.
void take_events(Audit& audit, const std::vector<Event>& events);

// Judges everything that the files have by now; with `no_more`, when the bench is done writing, everything.
void advance(Audit& audit, bool no_more);

}  // namespace vorbelctl
