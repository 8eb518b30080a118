#include "vorbelctl/wording/wording.h"

#include <fmt/core.h>

namespace vorbelctl {

std::string grouped(std::uint64_t number) {
  std::string text = fmt::format("{}", number);
  for (std::size_t at = text.size(); at > 3;) {
    at -= 3;
    text.insert(at, 1, ',');
  }
  return text;
}

std::string counted(std::uint64_t number, std::string_view one) {
  return fmt::format("{} {}{}", grouped(number), one, number == 1 ? "" : "s");
}

std::string padded(std::string text, std::size_t width) {
  if (text.size() < width) text.append(width - text.size(), ' ');
  return text;
}

std::string padded_left(const std::string& text, std::size_t width) {
  return std::string(text.size() < width ? width - text.size() : 0, ' ') + text;
}

}  // namespace vorbelctl
