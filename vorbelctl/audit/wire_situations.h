// Which situations the wire puts its receiver through: gaps, duplicates and disorder, by the events of a receiver and
// in their order. What a gap was shows when it has closed: with nothing lost it was mere disorder.
#pragma once

#include <cstdint>
#include <deque>

#include "vorbelctl/audit/situations.h"
#include "vorbelctl/handler/message.h"
#include "vorbelctl/handler/ranges.h"
#include "vorbelctl/handler/receiver.h"

namespace vorbelctl {

// A gap of the feed that has not closed yet, and what has become of its numbers so far.
struct OpenGap {
  std::uint64_t first = 0;
  std::uint64_t last = 0;
  bool at_tail = false;          // a heartbeat or the end of session told of it
  bool behind_open = false;      // it opened while the one before was open
  bool at_end = false;           // the end of session was announced while it was open
  std::uint64_t late = 0;        // came late on the feed
  std::uint64_t lost = 0;        // did not come on the feed
  std::uint64_t lost_bytes = 0;  // the room of these in packets, at least
  std::uint64_t duplicates = 0;  // messages that came twice while it was the newest gap
  std::uint64_t first_duplicate = 0;
};

struct WireSituations {
  std::deque<OpenGap> gaps;      // ascending; as many as the receiver has
  bool before_was_lost = false;  // something was lost in the gap that closed last
  std::deque<Range>
      recovered;  // numbers that came by retransmission, ascending; at most most_recovered_kept, the latest
};

inline constexpr std::size_t most_recovered_kept = 10000;

// Takes the next event. `of_wire`: it concerns numbers from where the feed was joined on.
void meet_event(WireSituations& wire, Situations& situations, const Event& event, bool of_wire);

// The message of this kind and type, whose number came from the wire, did not come on the feed.
void meet_lost(Situations& situations, std::uint64_t sequence, Kind kind, char type);

}  // namespace vorbelctl
