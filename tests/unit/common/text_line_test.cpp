// The pieces of text lines: once per class of character, and at the limits of the types.
#include "common/text_line.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace vorbeld {
namespace {

constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();

std::string escaped(std::string_view text) {
  std::string line;
  append(line, Escaped{text});
  return line;
}

std::string trade_id(std::uint64_t id) {
  std::string line;
  append(line, TradeId{id});
  return line;
}

std::string number(double value, std::size_t decimals) {
  std::string line;
  append(line, Fixed{value, decimals});
  return line;
}

TEST(Append, PutsAllPiecesBehindTheLineInTheirOrder) {
  std::string line = "start ";
  const std::string text = "a text";
  append(line, "a literal", ',', std::string_view(text), ',', std::string_view(), Decimal{12}, '.');
  EXPECT_EQ(line, "start a literal,a text,12.");
}

TEST(Append, TakesLinesOfAnyLength) {
  const std::string text(100'000, 'x');
  std::string line;
  append(line, std::string_view(text), "|", Escaped{text});
  EXPECT_EQ(line, text + "|" + text);
}

TEST(Escape, PutsABackslashBeforeQuotesAndBackslashes) {
  EXPECT_EQ(escaped(R"(say "hi")"), R"(say \"hi\")");
  EXPECT_EQ(escaped(R"(C:\temp)"), R"(C:\\temp)");
  EXPECT_EQ(escaped(R"("\"")"), R"(\"\\\"\")");
  EXPECT_EQ(escaped("\""), "\\\"");
}

TEST(Escape, CopiesEveryOtherByteUnchanged) {
  for (int code = 0; code < 256; ++code) {
    if (code == '"' || code == '\\') continue;
    const std::string text{'a', static_cast<char>(code), 'b'};
    EXPECT_EQ(escaped(text), text) << code;
  }
}

TEST(Escape, AppendsBehindWhatTheLineHolds) {
  std::string line = "{\"venue\":\"";
  append(line, Escaped{"a\"b"}, Escaped{""});
  EXPECT_EQ(line, "{\"venue\":\"a\\\"b");
}

TEST(Decimal, WritesUnsignedNumbersUpToTheirLimit) {
  std::string line = "[";
  append(line, Decimal{0}, ' ', Decimal{10}, " ", Decimal{largest});
  EXPECT_EQ(line, "[0 10 18446744073709551615");
}

TEST(TradeId, HasAtLeastSevenDigits) {
  EXPECT_EQ(trade_id(0), "0000000");
  EXPECT_EQ(trade_id(1), "0000001");
  EXPECT_EQ(trade_id(123456), "0123456");
  EXPECT_EQ(trade_id(9'999'999), "9999999");
}

TEST(TradeId, KeepsAllDigitsOfWiderIds) {
  EXPECT_EQ(trade_id(10'000'000), "10000000");
  EXPECT_EQ(trade_id(10'000'001), "10000001");
  EXPECT_EQ(trade_id(largest), "18446744073709551615");
}

TEST(Number, HasTheDecimalsAskedFor) {
  EXPECT_EQ(number(101.25, 6), "101.250000");
  EXPECT_EQ(number(5'000'000, 2), "5000000.00");
  EXPECT_EQ(number(7'000'000.5, 0), "7000000");
  EXPECT_EQ(number(-1.5, 6), "-1.500000");
  EXPECT_EQ(number(-0.0, 6), "-0.000000");
}

TEST(Number, IsCutToThirtyOneCharacters) {
  EXPECT_EQ(number(1e23, 6), "99999999999999991611392.000000");  // 30 characters
  EXPECT_EQ(number(1e24, 6), "999999999999999983222784.000000");
  EXPECT_EQ(number(1e25, 6), "10000000000000000905969664.0000");
  EXPECT_EQ(number(-1e40, 6), "-100000000000000003037860284270");
  EXPECT_EQ(number(1e300, 0).size(), 31U);
}

TEST(Number, SpellsNonFiniteValuesAsTheCLibraryDoes) {
  EXPECT_EQ(number(std::numeric_limits<double>::quiet_NaN(), 6), "nan");
  EXPECT_EQ(number(std::copysign(std::numeric_limits<double>::quiet_NaN(), -1.0), 6), "-nan");
  EXPECT_EQ(number(std::numeric_limits<double>::infinity(), 2), "inf");
  EXPECT_EQ(number(-std::numeric_limits<double>::infinity(), 0), "-inf");
}

}  // namespace
}  // namespace vorbeld
