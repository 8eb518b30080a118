// Fixed-point text worked out by hand: the forms that messages use, ties, cuts and non-finite values.
#include "common/fixed_point.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <string>

namespace vorbeld {
namespace {

constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();
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
  EXPECT_EQ(fixed(nan_value, 11, 6), "        nan");
  EXPECT_EQ(fixed(std::copysign(nan_value, -1.0), 0, 6), "-nan");
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
  EXPECT_EQ(put_fixed(field, nan_value, 6, 2), 6U);
  EXPECT_EQ(std::string(field.data(), field.size()), "   nan######");
}

}  // namespace
}  // namespace vorbeld
