// Decimal digits of unsigned numbers, two at a time: the inner loop of all number formatting.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vorbeld {

inline constexpr std::array<std::uint64_t, 20> powers_of_ten = [] {
  std::array<std::uint64_t, 20> powers{1};
  for (std::size_t i = 1; i < powers.size(); ++i) powers[i] = powers[i - 1] * 10;
  return powers;
}();

inline constexpr auto digit_pairs = [] {
  std::array<char, 200> digits{};
  for (std::size_t i = 0; i < 100; ++i) {
    digits[2 * i] = static_cast<char>('0' + i / 10);
    digits[2 * i + 1] = static_cast<char>('0' + i % 10);
  }
  return digits;
}();

// The digits that a number has: 1 to 20.
inline std::size_t digit_count(std::uint64_t number) {
  // 1233 / 4096 is just above log10(2), so the estimate from the bits is right or one too small.
  const auto bits = static_cast<std::size_t>(std::bit_width(number | 1U));
  const std::size_t estimate = bits * 1233 / 4096;
  return estimate + (number >= powers_of_ten[estimate] ? 1 : 0) + (number == 0 ? 1 : 0);
}

// Writes the two digits of `number`, 0 to 99, at `at`.
inline void put_pair(char* at, std::uint64_t number) {
  std::memcpy(at, &digit_pairs[2 * number], 2);
}

// Writes the low `count` digits of a number, leading zeros included, before `end` and returns where they begin.
inline char* put_digits(char* end, std::uint64_t number, std::size_t count) {
  for (; count >= 2; count -= 2, number /= 100) put_pair(end -= 2, number % 100);
  if (count == 1) *--end = static_cast<char>('0' + number % 10);
  return end;
}

}  // namespace vorbeld
