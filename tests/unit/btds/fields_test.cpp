// The field encoders, compared with bytes worked out by hand; each must leave the rest of its block alone.
#include "btds/fields.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "tests/unit/btds/reference_time.h"

namespace vorbeld {
namespace {

constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();
constexpr double infinite = std::numeric_limits<double>::infinity();

// The field that `put` writes in the middle of a block; "spilled" when it touches a byte outside.
template <class Put>
std::string field_of(std::size_t width, const Put& put) {
  const Field field{3, width};
  std::string block(width + 6, '#');
  put(std::span<char>(block), field);
  const bool clean = block.starts_with("###") && block.ends_with("###");
  return clean ? block.substr(3, width) : "spilled: " + block;
}

std::string text_field(std::size_t width, std::string_view text) {
  return field_of(width, [text](std::span<char> block, Field field) { put_text(block, field, text); });
}

std::string counter_field(std::uint64_t counter) {
  return field_of(7, [counter](std::span<char> block, Field field) { put_counter(block, field, counter); });
}

std::string price_field(double price) {
  return field_of(11, [price](std::span<char> block, Field field) { put_price(block, field, price); });
}

std::string yield_field(std::optional<double> yield) {
  return field_of(14, [yield](std::span<char> block, Field field) { put_yield(block, field, yield); });
}

std::string quantity_field(double quantity) {
  return field_of(14, [quantity](std::span<char> block, Field field) { put_quantity(block, field, quantity); });
}

TEST(TextField, IsPaddedWithBlanksOnTheRight) {
  EXPECT_EQ(text_field(14, "AAPL 3.85 43"), "AAPL 3.85 43  ");
  EXPECT_EQ(text_field(4, "T.1"), "T.1 ");
  EXPECT_EQ(text_field(5, ""), "     ");
}

TEST(TextField, IsCutAtItsWidth) {
  EXPECT_EQ(text_field(9, "037833DT4"), "037833DT4");
  EXPECT_EQ(text_field(9, "037833DT4X"), "037833DT4");
  EXPECT_EQ(text_field(4, "LUDPX"), "LUDP");
}

TEST(TextField, CopiesAnyBytes) {
  EXPECT_EQ(text_field(6, std::string_view("a\0\"\\\xff", 5)), std::string("a\0\"\\\xff ", 6));
}

TEST(CounterField, HasSevenDigits) {
  EXPECT_EQ(counter_field(0), "0000000");
  EXPECT_EQ(counter_field(1), "0000001");
  EXPECT_EQ(counter_field(1234567), "1234567");
  EXPECT_EQ(counter_field(9'999'999), "9999999");
}

TEST(CounterField, KeepsTheLowSevenDigitsOfWiderCounters) {
  EXPECT_EQ(counter_field(10'000'000), "0000000");
  EXPECT_EQ(counter_field(10'000'001), "0000001");
  EXPECT_EQ(counter_field(123'456'789), "3456789");
  EXPECT_EQ(counter_field(std::numeric_limits<std::uint64_t>::max()), "9551615");
}

TEST(PriceField, HasSixDecimals) {
  EXPECT_EQ(price_field(101.25), "0101.250000");
  EXPECT_EQ(price_field(98.123456), "0098.123456");
  EXPECT_EQ(price_field(0.0), "0000.000000");
}

TEST(PriceField, WritesWhatIsNotPositiveAsZero) {
  EXPECT_EQ(price_field(-1.5), "0000.000000");
  EXPECT_EQ(price_field(-0.0), "0000.000000");
  EXPECT_EQ(price_field(nan_value), "0000.000000");
  EXPECT_EQ(price_field(-infinite), "0000.000000");
}

TEST(PriceField, IsCutAtItsWidth) {
  EXPECT_EQ(price_field(9999.9999999), "10000.00000");
  EXPECT_EQ(price_field(1234567.25), "1234567.250");
  EXPECT_EQ(price_field(1e15), "10000000000");
  EXPECT_EQ(price_field(infinite), "        inf");
}

TEST(YieldField, HasASignAndSixDecimals) {
  EXPECT_EQ(yield_field(4.5), " 000004.500000");
  EXPECT_EQ(yield_field(-0.125), "-000000.125000");
  EXPECT_EQ(yield_field(0.0), " 000000.000000");
}

TEST(YieldField, IsBlankWithoutAYield) {
  EXPECT_EQ(yield_field(std::nullopt), "              ");
}

TEST(YieldField, OfNegativeZeroHasNoSign) {
  EXPECT_EQ(yield_field(-0.0), " 000000.000000");
}

TEST(YieldField, SpellsNonFiniteValuesAsTheCLibraryDoes) {
  EXPECT_EQ(yield_field(nan_value), "           nan");
  EXPECT_EQ(yield_field(std::copysign(nan_value, -1.0)), "           nan");
  EXPECT_EQ(yield_field(-infinite), "-          inf");
}

TEST(YieldField, IsCutAtItsWidth) {
  EXPECT_EQ(yield_field(1e9), " 1000000000.00");
  EXPECT_EQ(yield_field(-1e9), "-1000000000.00");
}

TEST(QuantityField, HasTwoDecimals) {
  EXPECT_EQ(quantity_field(5'000'000), "00005000000.00");
  EXPECT_EQ(quantity_field(1234.567), "00000001234.57");
  EXPECT_EQ(quantity_field(-250.5), "-0000000250.50");
  EXPECT_EQ(quantity_field(-0.0), "-0000000000.00");
}

TEST(QuantityField, IsCutAtItsWidth) {
  EXPECT_EQ(quantity_field(-1e15), "-1000000000000");
  EXPECT_EQ(quantity_field(nan_value), "           nan");
}

TEST(DateFields, AreInLocalTime) {
  const std::int64_t noon = utc_seconds(2024, 7, 1, 16);
  EXPECT_EQ(field_of(8, [noon](std::span<char> block, Field field) { put_date_field(block, field, noon); }),
            "20240701");
  EXPECT_EQ(field_of(14, [noon](std::span<char> block, Field field) { put_date_time_field(block, field, noon); }),
            "20240701120000");
}

TEST(Header, NamesCategoryTypeAndTradeId) {
  std::string message(26, '#');
  put_header(message, Kind::trade, 12345678, utc_seconds(2024, 1, 15, 17));
  EXPECT_EQ(message,
            "TM"
            "2345678"
            "O"
            "20240115120000"
            "##");
}

TEST(Header, IsBlankWithoutATradeId) {
  std::string message(24, '\0');
  put_header(message, Kind::halt, std::nullopt, utc_seconds(2024, 7, 1, 16));
  EXPECT_EQ(message, "AH       O20240701120000");
}

TEST(BondFields, FollowTheHeader) {
  std::string message(66, '#');
  put_bond(message, {"AAPL 3.85 43", "037833DT4", "AAPL", "CORP", "not among these"});
  EXPECT_EQ(message,
            "########################"
            "AAPL 3.85 43  "
            "037833DT4"
            "AAPL        "
            "CORP "
            "##");
}

TEST(BondFields, AreCutAtTheirWidths) {
  std::string message(64, '#');
  put_bond(message, {"a symbol that is long", "0378331234567", "a long short name", "CORPORATE", ""});
  EXPECT_EQ(message.substr(24),
            "a symbol that "
            "037833123"
            "a long short"
            "CORPO");
}

}  // namespace
}  // namespace vorbeld
