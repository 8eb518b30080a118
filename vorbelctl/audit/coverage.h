// How far an audit went: what it was to cover, and what the truth file has behind that. A verdict is one on what was
// judged, and says so where there is more.
#pragma once

#include <cstdint>
#include <string>

#include "vorbelctl/audit/outcome.h"
#include "vorbelctl/handler/ends.h"

namespace vorbelctl {

// What the truth file has in all, and where the session's close stands behind what was read.
struct TruthExtent {
  std::uint64_t last = 0;     // the highest number that has a record; 0: there is none
  std::uint64_t closing = 0;  // the last of the control messages that close the session; 0: none is left
};

// Reads the run to its end, as far as it is written. Nothing can be reconciled afterwards.
TruthExtent read_extent(Truth& truth);

// The last number that an audit without a bound must cover, or one with the bound `to`: of a session that was closed,
// the close.
std::uint64_t due_number(const TruthExtent& extent, std::uint64_t to);

// To be called when everything is reconciled: completes the outcome by how far the truth goes, and by what `ends` ask
// for and did not come, where nothing is said of that yet.
void note_coverage(Outcome& outcome, const Ends& ends);

// "judged #1 to #507; the truth goes to #900", or nothing where the truth goes no further or where that is no news.
std::string coverage_sentence(const Outcome& outcome);

}  // namespace vorbelctl
