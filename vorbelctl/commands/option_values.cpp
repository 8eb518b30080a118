#include "vorbelctl/commands/option_values.h"

#include <charconv>
#include <string>
#include <system_error>

namespace vorbelctl {
namespace {

constexpr int most_seconds = 1000000;

// The number that the whole text is; false when it is none.
template <class Number>
bool read_number(const std::string& text, Number& number) {
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  return result.ec == std::errc() && result.ptr == end;
}

CLI::Validator seconds_within(bool zero_too) {
  const std::string range = (zero_too ? "0 to " : "above 0, up to ") + std::to_string(most_seconds);
  const auto check = [zero_too, range](std::string& text) -> std::string {
    double value = 0;
    const bool within = read_number(text, value) && value <= most_seconds && (zero_too ? value >= 0 : value > 0);
    return within ? "" : "\"" + text + "\" is no number of seconds " + range;
  };
  return {check, range};
}

}  // namespace

CLI::Validator whole_number(std::uint64_t least, std::uint64_t most) {
  const std::string range = std::to_string(least) + " to " + std::to_string(most);
  const auto check = [least, most, range](std::string& text) -> std::string {
    std::uint64_t value = 0;
    if (!read_number(text, value) || value < least || value > most) {
      return "\"" + text + "\" is no whole number from " + range;
    }
    text = std::to_string(value);  // leading zeros would make it an octal number later on
    return "";
  };
  return {check, range};
}

CLI::Validator positive_seconds() {
  return seconds_within(false);
}

CLI::Validator seconds_or_zero() {
  return seconds_within(true);
}

}  // namespace vorbelctl
