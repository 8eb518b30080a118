#include "common/numbers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>

namespace vorbeld {
namespace {

__extension__ using Wide = unsigned __int128;

struct Parts {
  std::uint64_t whole;
  std::uint64_t fraction;  // in units of the last decimal
};

// Splits `magnitude` (not negative) exactly and rounds; false when the whole part does not fit 53 bits or the
// fraction 63, as for very large, very small and non-finite values. Signed conversions, because unsigned ones take a
// branch that half of all fractions mispredict.
bool split_exactly(double magnitude, std::size_t decimals, Parts& parts) {
  constexpr double largest = 0x1p53;
  if (!(magnitude < largest)) return false;
  const auto whole = static_cast<std::int64_t>(magnitude);
  const double scaled = (magnitude - static_cast<double>(whole)) * 0x1p63;  // both operations are exact
  const auto binary = static_cast<std::int64_t>(scaled);
  if (static_cast<double>(binary) != scaled) return false;

  // The fraction in units of 2^-64 times 10^decimals: `high` above the point, `rest` below it.
  const std::uint64_t power = powers_of_ten[decimals];
  const Wide product = Wide{static_cast<std::uint64_t>(binary) << 1U} * power;
  const auto high = static_cast<std::uint64_t>(product >> 64U);
  const auto rest = static_cast<std::uint64_t>(product);

  constexpr std::uint64_t half = 1ULL << 63U;
  const std::uint64_t last_digit = decimals == 0 ? static_cast<std::uint64_t>(whole) : high;
  const std::uint64_t to_even = last_digit & 1U;
  const std::uint64_t rounded = high + static_cast<std::uint64_t>(rest > half - to_even);
  const auto carry = static_cast<std::uint64_t>(rounded == power);
  parts = {static_cast<std::uint64_t>(whole) + carry, carry != 0 ? 0 : rounded};
  return true;
}

std::size_t put_printf(std::span<char> out, double value, std::size_t width, std::size_t decimals) {
  std::array<char, 400> text;  // the longest double has 309 digits before the point
  const int length =
      std::snprintf(text.data(), text.size(), "%0*.*f", static_cast<int>(width), static_cast<int>(decimals), value);
  const std::size_t kept = std::min(out.size(), static_cast<std::size_t>(length));
  std::copy_n(text.data(), kept, out.data());
  return kept;
}

}  // namespace

std::size_t put_fixed(std::span<char> out, double value, std::size_t width, std::size_t decimals) {
  Parts parts;
  if (!split_exactly(std::fabs(value), decimals, parts)) return put_printf(out, value, width, decimals);
  const std::size_t sign = std::signbit(value) ? 1 : 0;
  const std::size_t behind_whole = decimals == 0 ? 0 : decimals + 1;
  const std::size_t whole_digits =
      std::max(digit_count(parts.whole), width > sign + behind_whole ? width - sign - behind_whole : 0);
  const std::size_t length = sign + whole_digits + behind_whole;
  if (length > out.size()) return put_printf(out, value, width, decimals);

  char* at = out.data() + length;
  if (decimals != 0) {
    at = put_few_digits(at, static_cast<std::uint32_t>(parts.fraction), decimals);
    *--at = '.';
  }
  at = put_digits(at, parts.whole, whole_digits);
  if (sign != 0) *--at = '-';
  return length;
}

}  // namespace vorbeld
