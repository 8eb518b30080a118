// Runs of sequence numbers: which messages are missing, and how that is said.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vorbelctl {

// The numbers from `first` to `last`, both included.
struct Range {
  std::uint64_t first = 0;
  std::uint64_t last = 0;

  bool operator==(const Range&) const = default;
};

// Missing ranges beyond this many are counted, not listed: a run may lose messages for days.
inline constexpr std::size_t most_missing_listed = 100000;

// Adds a range behind the others, joined with the last of them where it goes on; left out when the list is full.
void list_missing(std::vector<Range>& missing, const Range& range);

// "7", or "7 to 9" of several numbers.
std::string range_text(const Range& range);

// "missing: 7, 9 to 12", at most ten ranges of them; empty when nothing is missing.
std::string missing_text(const std::vector<Range>& missing);

}  // namespace vorbelctl
