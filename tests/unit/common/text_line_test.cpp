// The pieces of text lines: once per class of character, and at the limits of the types.
#include "common/text_line.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace vorbeld {
namespace {

constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();
constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();

std::string escaped(std::string_view text) {
  TextLine line;
  append(line, Escaped{text});
  return std::string(vorbeld::text(line));
}

std::string trade_id(std::uint64_t id) {
  TextLine line;
  append(line, TradeId{id});
  return std::string(text(line));
}

std::string number(double value, std::size_t decimals) {
  TextLine line;
  append(line, Fixed{value, decimals});
  return std::string(text(line));
}

TEST(Append, PutsAllPiecesBehindTheLineInTheirOrder) {
  TextLine line;
  append(line, "start ");
  const std::string view = "a text";
  append(line, "a literal", ',', std::string_view(view), ',', std::string_view(), Decimal{12}, '.');
  EXPECT_EQ(text(line), "start a literal,a text,12.");
}

TEST(Append, TakesLinesOfAnyLength) {
  const std::string wide(100'000, 'x');
  TextLine line;
  append(line, std::string_view(wide), "|", Escaped{wide});
  EXPECT_EQ(text(line), wide + "|" + wide);
}

TEST(Append, BeginsANewLineOnceTheOldOneIsCleared) {
  TextLine line;
  append(line, "a long line that leaves its room behind");
  clear(line);
  EXPECT_EQ(text(line), "");
  append(line, "short");
  EXPECT_EQ(text(line), "short");
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
  TextLine line;
  append(line, "{\"venue\":\"");
  append(line, Escaped{"a\"b"}, Escaped{""});
  EXPECT_EQ(text(line), "{\"venue\":\"a\\\"b");
}

TEST(Decimal, WritesUnsignedNumbersUpToTheirLimit) {
  TextLine line;
  append(line, "[", Decimal{0}, ' ', Decimal{10}, " ", Decimal{largest});
  EXPECT_EQ(text(line), "[0 10 18446744073709551615");
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

// Whatever numbers a line held before, none may be mistaken for another.
TEST(Number, IsTheSameWhateverTheLineHeldBefore) {
  std::mt19937_64 random(11);
  const std::vector<double> often{0.0, -0.0, 1.0, 99.875, 100.125, 5'000'000, 1e300, -1e-9, nan_value, -nan_value};
  TextLine line;
  for (int i = 0; i < 200'000; ++i) {
    const bool seen = random() % 2 == 0;
    const double value = seen ? often[random() % often.size()] : static_cast<double>(random() % 1'000'000) / 1000;
    const std::size_t decimals = std::array<std::size_t, 3>{0, 2, 6}[random() % 3];
    clear(line);
    append(line, Fixed{value, decimals}, ' ', Fixed{value, decimals});
    const std::string fresh = number(value, decimals);
    ASSERT_EQ(text(line), fresh + " " + fresh);
  }
}

}  // namespace
}  // namespace vorbeld
