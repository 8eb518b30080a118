#include "vorbelctl/audit/pattern.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>

#include "vorbelctl/audit/eastern_time.h"
#include "vorbelctl/wording/wording.h"

namespace vorbelctl {
namespace {

constexpr std::uint64_t fewest_alike = 20;  // fewer are a list that can be read

std::optional<double> as_number(std::string_view text) {
  double number = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool whole = result.ec == std::errc() && result.ptr == text.data() + text.size();
  return whole && std::isfinite(number) ? std::optional(number) : std::nullopt;
}

std::optional<double> seconds_between(std::string_view from, std::string_view to) {
  const auto begin = utc_of_local(from);
  const auto end = utc_of_local(to);
  if (begin.empty() || end.empty()) return {};
  return static_cast<double>(end.front() - begin.front());
}

// Times of sending are known to a second or two.
bool is_alike(const Difference& left, const Difference& right) {
  if (left.way != right.way) return false;
  const double slack = left.way == Way::shifted ? 2 : 1e-3 * std::fabs(left.by);
  return std::fabs(left.by - right.by) <= slack;
}

std::string duration(double seconds) {
  const auto whole = static_cast<std::uint64_t>(seconds);
  if (whole % 86400 == 0) return counted(whole / 86400, "day");
  return whole % 3600 == 0 ? fmt::format("{} h", whole / 3600) : fmt::format("{} s", grouped(whole));
}

// To the hour where it is nearly one.
double rounded(double seconds) {
  const double hours = std::round(seconds / 3600);
  return hours != 0 && std::fabs(seconds - hours * 3600) <= 2 ? hours * 3600 : seconds;
}

std::string shifted_text(double by) {
  const double seconds = rounded(by);
  const bool may_be_utc = seconds == 4 * 3600 || seconds == 5 * 3600;
  return fmt::format("{} {} in {{}}: {}", duration(std::fabs(seconds)), by > 0 ? "ahead" : "behind",
                     may_be_utc ? "is the time UTC and not US Eastern?" : "is a clock or a time zone off?");
}

std::string scaled_text(double by) {
  if (std::fabs(by + 1) < 1e-3) return "of the other sign in {}";
  const double power = std::log10(std::fabs(by));
  const bool is_power = std::fabs(power - std::round(power)) < 1e-3;
  return fmt::format("{:.6g} times the right value in {{}}{}", by, is_power ? ": is the decimal point elsewhere?" : "");
}

// What to say behind the names; {} stands for the messages.
std::string way_text(const Difference& difference) {
  switch (difference.way) {
    case Way::shifted:
      return shifted_text(difference.by);
    case Way::scaled:
      return scaled_text(difference.by);
    case Way::unpadded:
      return "without leading zeros in {}: all digits, or a number?";
    case Way::cut:
      return "cut in {}";
    case Way::blank:
      return "blank in {}";
    case Way::other:
      break;
  }
  return "different in {}";
}

bool is_alike_throughout(const WrongField& field) {
  return field.count >= fewest_alike && field.alike * 10 >= field.count * 9;
}

}  // namespace

Difference difference_between(std::string_view expected, std::string_view received) {
  if (received == "-" || received.starts_with('"')) return {Way::blank};
  if (expected.size() == 14) {
    if (const auto seconds = seconds_between(expected, received)) return {Way::shifted, *seconds};
  }
  const std::size_t zeros = std::min(expected.find_first_not_of('0'), expected.size());
  if (zeros != 0 && expected.substr(zeros) == received) return {Way::unpadded};
  const auto wanted = as_number(expected);
  const auto number = as_number(received);
  if (wanted && number && *wanted != 0 && *number != 0) {
    const double by = *number / *wanted;
    return std::fabs(by - 1) < 0.01 ? Difference{} : Difference{Way::scaled, by};  // nearly the same is no scale
  }
  if (expected.starts_with(received)) return {Way::cut};
  return {};
}

void count_wrong_field(std::vector<WrongField>& fields, std::string_view field, std::string_view expected,
                       std::string_view received) {
  auto found = std::find_if(fields.begin(), fields.end(), [&](const WrongField& each) { return each.field == field; });
  const Difference difference = difference_between(expected, received);
  if (found == fields.end()) {
    if (fields.size() >= most_wrong_fields) return;
    found = fields.insert(found, {std::string(field), difference});
  }
  ++found->count;
  if (is_alike(found->first, difference)) ++found->alike;
}

std::string likely_reason(const std::vector<WrongField>& fields, std::uint64_t messages) {
  const WrongField* most = nullptr;
  for (const WrongField& each : fields) {
    if (!is_alike_throughout(each)) continue;
    // That a field differs, however it does, says something only where it nearly always does.
    if (each.first.way == Way::other && each.count * 2 < messages) continue;
    const bool more = most == nullptr || (most->first.way == Way::other && each.first.way != Way::other) ||
                      (each.first.way != Way::other && each.count > most->count);
    if (more) most = &each;
  }
  if (most == nullptr) return "";
  std::string names;
  std::size_t alike = 0;
  for (const WrongField& each : fields) {
    const bool same = &each == most || (is_alike_throughout(each) && is_alike(each.first, most->first));
    if (!same || ++alike > 3) continue;
    names += (names.empty() ? "" : ", ") + each.field;
  }
  if (alike > 3) names += " and others";
  return fmt::format("{} {} {}", names, alike == 1 ? "is" : "are",
                     fmt::format(fmt::runtime(way_text(most->first)), counted(most->count, "message")));
}

}  // namespace vorbelctl
