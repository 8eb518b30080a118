// Fixed-point text against printf: the slow, obvious way, over values chosen to be hard and over millions of others.
#include "common/numbers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string_view>
#include <vector>

namespace vorbeld {
namespace {

constexpr std::size_t whole_text = 400;  // room for any double

struct Form {
  std::size_t width;
  std::size_t decimals;
  std::size_t room;
};

// The widths and cuts of every field and JSON number, and all their combinations.
std::vector<Form> all_forms() {
  std::vector<Form> forms;
  for (const std::size_t width : {0U, 11U, 13U, 14U}) {
    for (const std::size_t decimals : {0U, 2U, 6U}) {
      for (const std::size_t room : {whole_text, std::size_t{31}, std::size_t{14}, std::size_t{11}}) {
        forms.push_back({width, decimals, room});
      }
    }
  }
  return forms;
}

// Compares one value in one form, and the first bytes behind a text that does not fill its room.
::testing::AssertionResult same_as_printf(double value, const Form& form) {
  constexpr std::string_view untouched = "########";
  std::array<char, whole_text> expected;
  const int length = std::snprintf(expected.data(), expected.size(), "%0*.*f", static_cast<int>(form.width),
                                   static_cast<int>(form.decimals), value);
  const std::string_view wanted(expected.data(), std::min(form.room, static_cast<std::size_t>(length)));

  std::array<char, whole_text + untouched.size()> text;
  std::memset(text.data(), '#', text.size());
  const std::size_t written = put_fixed({text.data(), form.room}, value, form.width, form.decimals);
  const std::string_view behind(text.data() + std::min(written, whole_text), untouched.size());
  if (std::string_view(text.data(), written) == wanted && behind == untouched) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << std::hexfloat << value << " as %0" << std::dec << form.width << '.'
                                       << form.decimals << "f in " << form.room << " bytes: '"
                                       << std::string_view(text.data(), written) << "' for '" << wanted
                                       << "', behind it '" << behind << "'";
}

void expect_all_forms(double value) {
  static const std::vector<Form> forms = all_forms();
  for (const Form& form : forms) {
    ASSERT_TRUE(same_as_printf(value, form));
    ASSERT_TRUE(same_as_printf(-value, form));
  }
}

// A value, and those next to it on either side.
void expect_around(double value) {
  expect_all_forms(value);
  expect_all_forms(std::nextafter(value, std::numeric_limits<double>::infinity()));
  expect_all_forms(std::nextafter(value, -std::numeric_limits<double>::infinity()));
}

TEST(PutFixedProperty, TiesAndTheirNeighboursAreThoseOfPrintf) {
  // With d decimals a tie is an odd multiple of 2^-(d + 1).
  for (const int decimals : {0, 2, 6}) {
    for (int odd = 1; odd < 3000; odd += 2) expect_around(std::ldexp(odd, -(decimals + 1)));
  }
}

TEST(PutFixedProperty, DecimalHalvesAreThoseOfPrintf) {
  for (int thousandths = 5; thousandths < 20'000; thousandths += 10) expect_around(thousandths / 1000.0);
  for (int i = 5; i < 10'000; i += 10) expect_around(i / 1e7);
}

TEST(PutFixedProperty, CarriesAtPowersOfTenAreThoseOfPrintf) {
  for (int exponent = -12; exponent <= 30; ++exponent) {
    const double power = std::pow(10.0, exponent);
    for (const double step : {0.0, 0.5, 0.005, 0.0000005, 0.1, 1e-6, 1e-9}) {
      expect_around(power - step);
      expect_around(power + step);
    }
  }
}

TEST(PutFixedProperty, EveryPowerOfTwoIsThatOfPrintf) {
  for (int exponent = -1074; exponent <= 1023; ++exponent) expect_all_forms(std::ldexp(1.0, exponent));
}

TEST(PutFixedProperty, TheEndOfExactWholeNumbersIsThatOfPrintf) {
  for (const double centre : {0x1p52, 0x1p53, 0x1p54, 0x1p63, 0x1p64}) {
    for (int step = -200; step <= 200; ++step) {
      expect_all_forms(centre + step);
      expect_all_forms(centre + step / 2.0);
    }
  }
}

TEST(PutFixedProperty, LimitsAndNonFiniteValuesAreThoseOfPrintf) {
  using Limits = std::numeric_limits<double>;
  for (const double value : {0.0, Limits::denorm_min(), Limits::min(), Limits::max(), Limits::epsilon(), 0x1p-11,
                             0x1p-12, 0x1p-63, 0x1p-64, 0x1p-65, 0x1.fffffffffffffp-11, 0x1.fffffffffffffp-12}) {
    expect_around(value);
  }
  expect_all_forms(Limits::infinity());
  expect_all_forms(Limits::quiet_NaN());
  expect_all_forms(Limits::signaling_NaN());
}

TEST(PutFixedProperty, RandomBitPatternsAreThoseOfPrintf) {
  constexpr std::uint64_t seed = 20240701;
  std::mt19937_64 random(seed);
  const std::vector<Form> forms = all_forms();
  for (int i = 0; i < 250'000; ++i) {
    const auto value = std::bit_cast<double>(random());
    ASSERT_TRUE(same_as_printf(value, forms[random() % forms.size()])) << "seed " << seed << ", value " << i;
  }
}

TEST(PutFixedProperty, RandomPlausibleValuesAreThoseOfPrintf) {
  constexpr std::uint64_t seed = 20240702;
  std::mt19937_64 random(seed);
  const std::vector<Form> forms = all_forms();
  for (int i = 0; i < 2'500'000; ++i) {
    // 53 random bits at any place of the point where the fast way is taken, and a little beyond.
    const auto digits = static_cast<double>(random() >> (11 + random() % 53));
    const double value = std::ldexp(digits, -static_cast<int>(random() % 70));
    const double sign = random() % 2 == 0 ? 1 : -1;
    ASSERT_TRUE(same_as_printf(sign * value, forms[random() % forms.size()])) << "seed " << seed << ", value " << i;
  }
}

TEST(PutFixedProperty, RandomPricesInThousandthsAreThoseOfPrintf) {
  constexpr std::uint64_t seed = 20240703;
  std::mt19937_64 random(seed);
  const std::vector<Form> forms = all_forms();
  for (int i = 0; i < 500'000; ++i) {
    const double value = static_cast<double>(random() % 200'000'000) / 1000;
    ASSERT_TRUE(same_as_printf(value, forms[random() % forms.size()])) << "seed " << seed << ", value " << i;
  }
}

}  // namespace
}  // namespace vorbeld
