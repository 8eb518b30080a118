// Numbers as decimal text, worked out by hand: digits at the limits of the type and at every change of their number; of
// fixed-point text the forms that messages use, ties, cuts and non-finite values.
#include "common/numbers.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>

namespace vorbeld {
namespace {

constexpr std::uint64_t largest_number = std::numeric_limits<std::uint64_t>::max();

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
  EXPECT_EQ(digit_count(largest_number), 20U);
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
  EXPECT_EQ(digits_of(largest_number, 20), "18446744073709551615");
}

TEST(PutDigits, KeepsTheLowDigits) {
  EXPECT_EQ(digits_of(12'345'678, 7), "2345678");
  EXPECT_EQ(digits_of(12'345'678, 4), "5678");
  EXPECT_EQ(digits_of(10, 1), "0");
  EXPECT_EQ(digits_of(largest_number, 3), "615");
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

constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
constexpr double infinite = std::numeric_limits<double>::infinity();

// The text that is left of `value` in a field of `room` bytes.
std::string fixed(double value, std::size_t width, std::size_t decimals, std::size_t room = 400) {
  std::string text(room, '#');
  text.resize(put_fixed(text, value, width, decimals));
  return text;
}

TEST(PutFixed, WritesPricesZeroPadded) {
  EXPECT_EQ(fixed(101.25, 11, 6), "0101.250000");
  EXPECT_EQ(fixed(0.0, 11, 6), "0000.000000");
  EXPECT_EQ(fixed(9999.999999, 11, 6), "9999.999999");
  EXPECT_EQ(fixed(-1.5, 11, 6), "-001.500000");
}

TEST(PutFixed, WritesQuantitiesWithTwoDecimals) {
  EXPECT_EQ(fixed(5'000'000, 14, 2), "00005000000.00");
  EXPECT_EQ(fixed(0.01, 14, 2), "00000000000.01");
  EXPECT_EQ(fixed(-250.5, 14, 2), "-0000000250.50");
}

TEST(PutFixed, WritesWholeNumbersWithoutAPoint) {
  EXPECT_EQ(fixed(7'000'000, 0, 0), "7000000");
  EXPECT_EQ(fixed(42, 11, 0), "00000000042");
  EXPECT_EQ(fixed(0.25, 0, 0), "0");
}

TEST(PutFixed, RoundsTiesToEvenOnTheExactValue) {
  EXPECT_EQ(fixed(0.5, 0, 0), "0");
  EXPECT_EQ(fixed(1.5, 0, 0), "2");
  EXPECT_EQ(fixed(2.5, 0, 0), "2");
  EXPECT_EQ(fixed(0.125, 0, 2), "0.12");
  EXPECT_EQ(fixed(0.375, 0, 2), "0.38");
  EXPECT_EQ(fixed(0.0078125, 0, 6), "0.007812");
  EXPECT_EQ(fixed(0.0234375, 0, 6), "0.023438");
}

TEST(PutFixed, RoundsWhatOnlyLooksLikeATieByItsBinaryValue) {
  EXPECT_EQ(fixed(1.005, 0, 2), "1.00");  // stored a little below
  EXPECT_EQ(fixed(1.015, 0, 2), "1.01");
  EXPECT_EQ(fixed(1.025, 0, 2), "1.02");
  EXPECT_EQ(fixed(1.045, 0, 2), "1.04");
  EXPECT_EQ(fixed(0.285, 0, 2), "0.28");
  EXPECT_EQ(fixed(2.675, 0, 2), "2.67");
}

TEST(PutFixed, CarriesIntoTheWholePart) {
  EXPECT_EQ(fixed(0.9999999, 0, 6), "1.000000");
  EXPECT_EQ(fixed(99.9999996, 11, 6), "0100.000000");
  EXPECT_EQ(fixed(9.999, 0, 2), "10.00");
  EXPECT_EQ(fixed(999.5, 0, 0), "1000");
}

TEST(PutFixed, KeepsTheSignOfZero) {
  EXPECT_EQ(fixed(-0.0, 11, 6), "-000.000000");
  EXPECT_EQ(fixed(-0.0, 0, 0), "-0");
  EXPECT_EQ(fixed(-1e-9, 0, 6), "-0.000000");
}

TEST(PutFixed, SpellsNonFiniteValuesAsTheCLibraryDoes) {
  EXPECT_EQ(fixed(not_a_number, 11, 6), "        nan");
  EXPECT_EQ(fixed(std::copysign(not_a_number, -1.0), 0, 6), "-nan");
  EXPECT_EQ(fixed(infinite, 14, 2), "           inf");
  EXPECT_EQ(fixed(-infinite, 13, 6), "         -inf");
}

TEST(PutFixed, CutsAtTheEndOfTheField) {
  EXPECT_EQ(fixed(123456.789, 11, 6, 11), "123456.7890");
  EXPECT_EQ(fixed(-123456.789, 11, 6, 11), "-123456.789");
  EXPECT_EQ(fixed(123456789012345.0, 14, 2, 14), "12345678901234");
  EXPECT_EQ(fixed(1e30, 0, 6, 31), "1000000000000000019884624838656");
  EXPECT_EQ(fixed(1.0, 0, 6, 0), "");
}

TEST(PutFixed, TouchesNothingBehindItsText) {
  std::array<char, 12> field;
  field.fill('#');
  EXPECT_EQ(put_fixed(field, 1.5, 0, 2), 4U);
  EXPECT_EQ(std::string(field.data(), field.size()), "1.50########");
  EXPECT_EQ(put_fixed(field, not_a_number, 6, 2), 6U);
  EXPECT_EQ(std::string(field.data(), field.size()), "   nan######");
}

}  // namespace
}  // namespace vorbeld
