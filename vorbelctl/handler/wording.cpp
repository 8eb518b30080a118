#include "vorbelctl/handler/wording.h"

#include <algorithm>

namespace vorbelctl {

std::string grouped(std::uint64_t number) {
  std::string text = std::to_string(number);
  for (std::size_t at = text.size(); at > 3;) {
    at -= 3;
    text.insert(at, 1, ',');
  }
  return text;
}

std::string counted(std::uint64_t number, const std::string& one) {
  return grouped(number) + " " + one + (number == 1 ? "" : "s");
}

std::string padded(std::string text, std::size_t width) {
  if (text.size() < width) text.append(width - text.size(), ' ');
  return text;
}

std::string padded_left(const std::string& text, std::size_t width) {
  return std::string(text.size() < width ? width - text.size() : 0, ' ') + text;
}

std::string range_text(const Range& range) {
  const std::string first = std::to_string(range.first);
  return range.first == range.last ? first : first + " to " + std::to_string(range.last);
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
