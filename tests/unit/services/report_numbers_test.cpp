// The numbers of a report: each is what the standard conversions make of its text, exceptions included.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "services/report_line.h"

namespace vorbeld {
namespace {

TradeInput read(std::string_view price, std::string_view quantity, std::string_view exec_ms) {
  SettlementMemo memo;
  return read_report({"T", "c", "s", price, quantity, "B", "v", exec_ms, "", "w"}, memo, 0);
}

double price_of(std::string_view text) {
  return read(text, "1", "1").terms.price;
}

double quantity_of(std::string_view text) {
  return read("1", text, "1").terms.quantity;
}

std::uint64_t exec_ms_of(std::string_view text) {
  return read("1", "1", text).exec_ms;
}

// What a conversion gives, or the name of what it throws; all NaNs are one.
template <class Convert>
std::string outcome(const Convert& convert) {
  try {
    const auto value = convert();
    if (std::isnan(static_cast<double>(value))) return "NaN";
    return std::to_string(std::bit_cast<std::uint64_t>(value));
  } catch (const std::invalid_argument& thrown) {
    return std::string("invalid argument ") + thrown.what();
  } catch (const std::out_of_range& thrown) {
    return std::string("out of range ") + thrown.what();
  }
}

TEST(ReportNumbers, AreReadUpToTheFirstCharacterThatIsNoneOfThem) {
  EXPECT_EQ(price_of("98.5"), 98.5);
  EXPECT_EQ(price_of("98.5x"), 98.5);
  EXPECT_EQ(price_of(" \t98.5"), 98.5);
  EXPECT_EQ(price_of("1.2.3"), 1.2);
  EXPECT_EQ(price_of("-0.5"), -0.5);
  EXPECT_EQ(quantity_of("1e6"), 1'000'000.0);
  EXPECT_EQ(quantity_of("1,000"), 1.0);
  EXPECT_EQ(exec_ms_of("12x"), 12U);
  EXPECT_EQ(exec_ms_of(" 12"), 12U);
  EXPECT_EQ(exec_ms_of("12.9"), 12U);
}

TEST(ReportNumbers, MayHaveTheirPointAnywhere) {
  EXPECT_EQ(price_of(".5"), 0.5);
  EXPECT_EQ(price_of("5."), 5.0);
  EXPECT_EQ(price_of("00098.50000"), 98.5);
  EXPECT_EQ(price_of("0.00000000000001"), 1e-14);
  EXPECT_EQ(price_of("99999999999999."), 99999999999999.0);
}

TEST(ReportNumbers, TakeInfinitiesAndNaN) {
  EXPECT_EQ(price_of("inf"), HUGE_VAL);
  EXPECT_EQ(price_of("-inf"), -HUGE_VAL);
  EXPECT_TRUE(std::isnan(price_of("nan")));
}

TEST(ReportNumbers, ThrowWithoutALeadingNumber) {
  for (const std::string_view text : {"", "x", ".", "-", " ", "+.", "..1", "e5"}) {
    EXPECT_THROW(price_of(text), std::invalid_argument) << text;
    EXPECT_THROW(quantity_of(text), std::invalid_argument) << text;
    EXPECT_THROW(exec_ms_of(text), std::invalid_argument) << text;
  }
  EXPECT_THROW(exec_ms_of(".5"), std::invalid_argument);
}

TEST(ReportNumbers, ThrowTheNameOfTheConversion) {
  EXPECT_EQ(outcome([] { return price_of("x"); }), "invalid argument stod");
  EXPECT_EQ(outcome([] { return quantity_of(""); }), "invalid argument stod");
  EXPECT_EQ(outcome([] { return exec_ms_of("x"); }), "invalid argument stoull");
}

TEST(ReportNumbers, ThrowOutOfRange) {
  EXPECT_THROW(price_of("1e400"), std::out_of_range);
  EXPECT_THROW(quantity_of("1e-400"), std::out_of_range);
  EXPECT_THROW(exec_ms_of("18446744073709551616"), std::out_of_range);
}

TEST(ReportNumbers, TakeAllExecutionTimesOf64BitsAndWrapNegativeOnes) {
  EXPECT_EQ(exec_ms_of("0"), 0U);
  EXPECT_EQ(exec_ms_of("999999999999999"), 999'999'999'999'999U);
  EXPECT_EQ(exec_ms_of("1000000000000000"), 1'000'000'000'000'000U);
  EXPECT_EQ(exec_ms_of("18446744073709551615"), 18'446'744'073'709'551'615U);
  EXPECT_EQ(exec_ms_of("-1"), 18'446'744'073'709'551'615U);
}

// A text of the characters that numbers are made of, mostly digits, at most 22 long.
std::string random_text(std::mt19937_64& random) {
  constexpr std::string_view rare = ".. +-eExnaif\t,";
  std::string text;
  const std::size_t length = random() % 23;
  const std::uint64_t one_in = 2 + random() % 12;
  while (text.size() < length) {
    text += random() % one_in == 0 ? rare[random() % rare.size()] : static_cast<char>('0' + random() % 10);
  }
  return text;
}

// A decimal as reports have them: digits, one point, digits.
std::string random_decimal(std::mt19937_64& random) {
  std::string text = std::to_string(random() >> random() % 64);
  text.insert(random() % (text.size() + 1), 1, '.');
  return text;
}

void expect_standard_conversions(const std::string& text) {
  ASSERT_EQ(outcome([&] { return price_of(text); }), outcome([&] { return std::stod(text); })) << '"' << text << '"';
  ASSERT_EQ(outcome([&] { return quantity_of(text); }), outcome([&] { return std::stod(text); })) << '"' << text << '"';
  ASSERT_EQ(outcome([&] { return exec_ms_of(text); }), outcome([&] { return std::stoull(text); }))
      << '"' << text << '"';
}

TEST(ReportNumbers, AreTheStandardConversionsForAnyText) {
  const std::uint64_t seed = std::random_device{}();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937_64 random(seed);
  for (int i = 0; i < 30'000 && !testing::Test::HasFatalFailure(); ++i) {
    expect_standard_conversions(random_text(random));
    expect_standard_conversions(random_decimal(random));
  }
}

TEST(ReportNumbers, AreTheNearestDoublesAtAnyPlaceOfThePoint) {
  for (const std::string digits : {"99999999999999", "90071992547409", "12345678901234", "1", "00000000000001"}) {
    for (std::size_t point = 0; point <= digits.size(); ++point) {
      expect_standard_conversions(std::string(digits).insert(point, 1, '.'));
      expect_standard_conversions(std::string(digits + "7").insert(point, 1, '.'));
    }
  }
}

}  // namespace
}  // namespace vorbeld
