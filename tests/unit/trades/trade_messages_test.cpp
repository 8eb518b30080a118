// T/M, T/N and T/O messages, compared with bytes worked out by hand.
#include "trades/trade_messages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "tests/unit/trades/engine_fixture.h"

namespace vorbeld {
namespace {

// A body whose every field can be told from the others.
constexpr std::string_view some_body =
    "A"
    "00000025000.00"
    "0096.250000"
    "MYBA"
    "20240701120000"
    "  "
    "ZW"
    "20240703"
    " 000004.000000"
    "2TCY";
constexpr std::string_view other_body =
    "E"
    "5MM+          "
    "0077.000000"
    "MYBA"
    "20240701120000"
    "  "
    "ZW"
    "20240703"
    " 000005.000000"
    "2TCY";
static_assert(some_body.size() == 74 && other_body.size() == 74);

constexpr std::int64_t now_s = noon_s;  // 20240701120000

TradeBody body_of(std::string_view text) {
  TradeBody body{};
  std::copy(text.begin(), text.end(), body.begin());
  return body;
}

template <std::size_t Length>
std::string text_of(const std::array<char, Length>& message) {
  return {message.data(), message.size()};
}

TradeRecord original_trade() {
  TradeRecord record;
  record.body = body_of(some_body);
  record.report_s = static_cast<std::uint64_t>(utc_seconds(2024, 7, 1, 3, 59, 59));  // still 30 June there
  return record;
}

// A bond whose high and last changed from `previous_prices`.
Bond traded_apple() {
  Bond bond = apple();
  bond.prices = {true, 101.5, 4.25, 99.25, -0.5, 100.125, 3.125};
  return bond;
}

DayPrices previous_prices() {
  return {true, 102.5, 4, 99.25, 5, 100, 3};
}

std::string trade_message(const TradeInput& input, std::uint64_t trade_id = 42) {
  return text_of(encode_trade(apple(), trade_id, input, body_of(some_body), '7', now_s));
}

TEST(TradeMessage, PutsEachFieldWhereReceiversLookForIt) {
  EXPECT_EQ(trade_message(plain_trade()), std::string("TM"
                                                      "0000042"
                                                      "O"
                                                      "20240701120000"
                                                      "AAPL 3.85 43  "
                                                      "037833DT4"
                                                      "AAPL        "
                                                      "CORP "
                                                      "        ")
                                              .append(some_body)
                                              .append("7"));
}

TEST(TradeMessage, OfAReversalNamesTheReversedDate) {
  TradeInput reversal = plain_trade();
  reversal.terms.as_of = 'R';
  reversal.orig_trade_date_s = noon_s - 2 * 86400;
  EXPECT_EQ(trade_message(reversal).substr(64, 8), "20240629");
}

TEST(TradeMessage, NamesNoReversedDateOtherwise) {
  TradeInput reversal = plain_trade();
  reversal.terms.as_of = 'R';
  EXPECT_EQ(trade_message(reversal).substr(64, 8), "        ");
  TradeInput as_of = plain_trade();
  as_of.terms.as_of = 'A';
  as_of.orig_trade_date_s = noon_s;
  EXPECT_EQ(trade_message(as_of).substr(64, 8), "        ");
}

TEST(TradeMessage, KeepsTheLowSevenDigitsOfAWideId) {
  EXPECT_EQ(trade_message(plain_trade(), 10'000'003).substr(2, 7), "0000003");
  EXPECT_EQ(trade_message(plain_trade(), 9'999'999).substr(2, 7), "9999999");
}

TEST(CancelMessage, PutsEachFieldWhereReceiversLookForIt) {
  EXPECT_EQ(text_of(encode_cancel(traded_apple(), 42, original_trade(), previous_prices(), now_s)),
            std::string("TN"
                        "       "
                        "O"
                        "20240701120000"
                        "AAPL 3.85 43  "
                        "037833DT4"
                        "AAPL        "
                        "CORP "
                        "20240630"
                        "0000042"
                        "C")
                .append(some_body)
                .append("0101.500000"
                        " 000004.250000"
                        "0099.250000"
                        "-000000.500000"
                        "0100.125000"
                        " 000003.125000"
                        "5"));
}

TEST(CancelMessage, HasNoYieldsWhenNoPrintIsLeft) {
  const std::string message = text_of(encode_cancel(apple(), 42, original_trade(), previous_prices(), now_s));
  EXPECT_EQ(message.substr(154),
            "0000.000000"
            "              "
            "0000.000000"
            "              "
            "0000.000000"
            "              "
            "7");
}

TEST(CancelMessage, KeepsTheLowSevenDigitsOfAWideId) {
  const std::string message = text_of(encode_cancel(apple(), 123'456'789, original_trade(), {}, now_s));
  EXPECT_EQ(message.substr(72, 7), "3456789");
}

TEST(CorrectionMessage, PutsEachFieldWhereReceiversLookForIt) {
  EXPECT_EQ(text_of(encode_correction(traded_apple(), 42, original_trade(), 43, body_of(other_body), previous_prices(),
                                      now_s)),
            std::string("TO"
                        "0000043"
                        "O"
                        "20240701120000"
                        "AAPL 3.85 43  "
                        "037833DT4"
                        "AAPL        "
                        "CORP "
                        "20240630"
                        "0000042"
                        "N")
                .append(some_body)
                .append(other_body)
                .append("0101.500000"
                        " 000004.250000"
                        "0099.250000"
                        "-000000.500000"
                        "0100.125000"
                        " 000003.125000"
                        "5"));
}

TEST(CorrectionMessage, KeepsTheLowSevenDigitsOfWideIds) {
  const std::string message =
      text_of(encode_correction(apple(), 10'000'001, original_trade(), 20'000'002, body_of(other_body), {}, now_s));
  EXPECT_EQ(message.substr(2, 7), "0000002");
  EXPECT_EQ(message.substr(72, 7), "0000001");
}

TEST(TradeMessages, HaveTheLengthsOfTheirTables) {
  EXPECT_EQ(trade_message(plain_trade()).size(), 147U);
  EXPECT_EQ(encode_cancel(apple(), 1, original_trade(), {}, now_s).size(), 230U);
  EXPECT_EQ(encode_correction(apple(), 1, original_trade(), 2, body_of(other_body), {}, now_s).size(), 304U);
}

}  // namespace
}  // namespace vorbeld
