#include "vorbelctl/handler/ranges.h"

#include <fmt/core.h>

#include <algorithm>

namespace vorbelctl {

void list_missing(std::vector<Range>& missing, const Range& range) {
  if (!missing.empty() && missing.back().last + 1 == range.first) {
    missing.back().last = range.last;
  } else if (missing.size() < most_missing_listed) {
    missing.push_back(range);
  }
}

std::string range_text(const Range& range) {
  return range.first == range.last ? fmt::format("{}", range.first) : fmt::format("{} to {}", range.first, range.last);
}

std::string missing_text(const std::vector<Range>& missing) {
  constexpr std::size_t most_ranges = 10;
  std::string text;
  for (std::size_t i = 0; i < std::min(missing.size(), most_ranges); ++i) {
    text += (i == 0 ? "missing: " : ", ") + range_text(missing[i]);
  }
  return missing.size() > most_ranges ? text + ", ..." : text;
}

}  // namespace vorbelctl
