// Numbers as decimal text: the digits of unsigned numbers, two at a time, and the fixed-point text of doubles, byte for
// byte what printf gives. All numbers of messages and lines are written here.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace vorbeld {

// What printf's %llu takes.
using Llu = unsigned long long;

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

// Writes all digits of a number below 100, 10^4 or 10^8 at `at`, leading zeros included. Numbers of 32 bits divide
// fastest, and halves do not wait for each other.
inline void put_two(char* at, std::uint32_t number) {
  std::memcpy(at, &digit_pairs[std::size_t{2} * number], 2);
}
inline void put_four(char* at, std::uint32_t number) {
  put_two(at, number / 100);
  put_two(at + 2, number % 100);
}
inline void put_eight(char* at, std::uint32_t number) {
  put_four(at, number / 10'000);
  put_four(at + 4, number % 10'000);
}

// Writes the low `count` digits, 0 to 7, of a number below 10^8, leading zeros included, before `end` and returns where
// they begin.
inline char* put_few_digits(char* end, std::uint32_t number, std::size_t count) {
  if ((count & 4U) != 0) {
    put_four(end -= 4, number % 10'000);
    number /= 10'000;
  }
  if ((count & 2U) != 0) {
    put_two(end -= 2, number % 100);
    number /= 100;
  }
  if ((count & 1U) != 0) *--end = static_cast<char>('0' + number % 10);
  return end;
}

// The same for any number and count.
inline char* put_digits(char* end, std::uint64_t number, std::size_t count) {
  for (; count >= 8; count -= 8, number /= 100'000'000) {
    put_eight(end -= 8, static_cast<std::uint32_t>(number % 100'000'000));
  }
  return put_few_digits(end, static_cast<std::uint32_t>(number % 100'000'000), count);
}

// Writes the text of printf's "%0*.*f" with `width` and `decimals` (0 to 6) for `value`: rounded half to even
// on the exact binary value, zero-padded to `width` (0: not padded), NaN and infinities as the C library spells them. A
// text longer than `out` is cut at its end; nothing behind a shorter text is touched, and no terminating zero is
// written. Returns the number of bytes written.
std::size_t put_fixed(std::span<char> out, double value, std::size_t width, std::size_t decimals);

}  // namespace vorbeld
