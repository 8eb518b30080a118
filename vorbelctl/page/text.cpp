#include "vorbelctl/page/text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "vorbelctl/audit/eastern_time.h"
#include "vorbelctl/wording/fields.h"

namespace vorbelctl::page {

std::string escaped(std::string_view text) {
  std::string result;
  for (const char c : printable(text)) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      default:
        result += c;
    }
  }
  return result;
}

std::string time_of_day(std::int64_t utc_ms) {
  const std::string digits = local_date_time(utc_ms / 1000);
  if (digits.empty()) return "";
  return digits.substr(8, 2) + ":" + digits.substr(10, 2) + ":" + digits.substr(12, 2);
}

std::string moment_of_day(std::int64_t utc_ms) {
  std::string text = time_of_day(utc_ms);
  if (text.empty()) return text;
  return text + "." + std::to_string(1000 + utc_ms % 1000).substr(1);
}

std::string date_and_time(std::int64_t utc_ms) {
  const std::string digits = local_date_time(utc_ms / 1000);
  if (digits.empty()) return "";
  return digits.substr(0, 4) + "-" + digits.substr(4, 2) + "-" + digits.substr(6, 2) + " " + time_of_day(utc_ms);
}

std::string fixed(double value, int decimals) {
  std::array<char, 400> text;
  std::snprintf(text.data(), text.size(), "%.*f", decimals, value);
  return text.data();
}

std::string with_exponent(double value, int decimals) {
  std::array<char, 32> text;
  std::snprintf(text.data(), text.size(), "%.*e", decimals, value);
  std::string written = text.data();
  written.erase(std::remove(written.begin(), written.end(), '+'), written.end());
  return written;
}

std::string percent(double value, double whole) {
  return fixed(whole > 0 ? std::clamp(100 * value / whole, 0.0, 100.0) : 0, 2) + "%";
}

std::string duration(std::uint64_t ms) {
  if (ms < 1000) return std::to_string(ms) + " ms";
  if (ms < 60000) return fixed(static_cast<double>(ms) / 1000, 1) + " s";
  const std::uint64_t seconds = ms / 1000;
  if (seconds < 3600) return std::to_string(seconds / 60) + " min " + std::to_string(seconds % 60) + " s";
  return std::to_string(seconds / 3600) + " h " + std::to_string(seconds / 60 % 60) + " min";
}

double round_step(double span, int most) {
  const double least = span / most;
  const double power = std::pow(10, std::floor(std::log10(least)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= least * (1 - 1e-9)) return factor * power;
  }
  return 10 * power;
}

std::vector<double> axis_labels(double low, double high, int most) {
  std::vector<double> labels;
  if (!(high > low)) return labels;
  const double step = round_step(high - low, most);
  const double first = std::ceil(low / step - 1e-9);
  // Counted by an integer: where doubles lie further apart than 1, adding 1 to one of them leads nowhere.
  for (int i = 0; i <= most; ++i) {
    const double label = (first + i) * step;
    if (!(label <= high + step * 1e-6)) break;
    labels.push_back(label == 0 ? 0 : label);  // never -0
  }
  return labels;
}

std::vector<std::int64_t> time_labels(std::int64_t begin_ms, std::int64_t end_ms, int most) {
  constexpr std::array<std::int64_t, 16> steps_s{1,   2,   5,   10,   15,   30,   60,    120,
                                                 300, 600, 900, 1800, 3600, 7200, 21600, 86400};
  const std::int64_t span_s = (end_ms - begin_ms) / 1000;
  const auto* const fitting =
      std::find_if(steps_s.begin(), steps_s.end(), [&](std::int64_t step_s) { return span_s / step_s < most; });
  const std::int64_t step_s = fitting == steps_s.end() ? span_s / most + 1 : *fitting;
  const std::int64_t offset_s = local_offset_s(begin_ms / 1000);
  const std::int64_t first = ((begin_ms + 999) / 1000 + offset_s + step_s - 1) / step_s;
  std::vector<std::int64_t> labels;
  for (std::int64_t i = first; (i * step_s - offset_s) * 1000 <= end_ms; ++i) {
    labels.push_back((i * step_s - offset_s) * 1000);
  }
  return labels;
}

}  // namespace vorbelctl::page
