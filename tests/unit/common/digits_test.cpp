// Decimal digits at the limits of the type and at every change of their number.
#include "common/digits.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <string>

namespace vorbeld {
namespace {

constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();

// The low `count` digits of a number; "spilled" when a byte around them was touched.
std::string digits_of(std::uint64_t number, std::size_t count) {
  std::string text(count + 4, '#');
  char* const end = text.data() + 2 + count;
  const bool begins_right = put_digits(end, number, count) == text.data() + 2;
  const bool clean = text.starts_with("##") && text.ends_with("##");
  return begins_right && clean ? text.substr(2, count) : "spilled: " + text;
}

TEST(DigitCount, IsThatOfTheDecimalText) {
  EXPECT_EQ(digit_count(0), 1U);
  EXPECT_EQ(digit_count(largest), 20U);
  std::uint64_t power = 1;
  for (std::size_t digits = 1; digits < 20; ++digits, power *= 10) {
    EXPECT_EQ(digit_count(power), digits);
    EXPECT_EQ(digit_count(power * 10 - 1), digits);
  }
  EXPECT_EQ(digit_count(power), 20U);
}

TEST(DigitCount, IsRightAtEveryPowerOfTwo) {
  for (std::uint64_t power = 1; power != 0; power <<= 1U) {
    EXPECT_EQ(digit_count(power), std::to_string(power).size());
    EXPECT_EQ(digit_count(power - 1), std::to_string(power - 1).size());
  }
}

TEST(PutDigits, PadsWithZeroes) {
  EXPECT_EQ(digits_of(0, 1), "0");
  EXPECT_EQ(digits_of(0, 7), "0000000");
  EXPECT_EQ(digits_of(42, 6), "000042");
  EXPECT_EQ(digits_of(largest, 20), "18446744073709551615");
}

TEST(PutDigits, KeepsTheLowDigits) {
  EXPECT_EQ(digits_of(12'345'678, 7), "2345678");
  EXPECT_EQ(digits_of(12'345'678, 4), "5678");
  EXPECT_EQ(digits_of(10, 1), "0");
  EXPECT_EQ(digits_of(largest, 3), "615");
}

TEST(PutDigits, WritesNothingForNoDigits) {
  EXPECT_EQ(digits_of(5, 0), "");
}

TEST(PutDigits, AgreesWithTheLibraryOnRandomNumbers) {
  std::mt19937_64 random(5);
  for (int i = 0; i < 100'000; ++i) {
    const std::uint64_t number = random() >> random() % 64;
    const std::string text = std::to_string(number);
    ASSERT_EQ(digit_count(number), text.size());
    ASSERT_EQ(digits_of(number, text.size()), text);
  }
}

}  // namespace
}  // namespace vorbeld
