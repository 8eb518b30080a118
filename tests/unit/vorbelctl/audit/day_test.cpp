// A bond's day as records, messages and a handler's book tell it: what is a discrepancy of its own, what follows from
// one, and what cannot be told by messages.
#include "vorbelctl/audit/day.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

#include "sample_run.h"
#include "vorbelctl/audit/json_claims.h"

namespace vorbelctl {
namespace {

using sample::altered;
using sample::overwritten;
using sample::wrong_in;
using Lines = std::vector<std::string>;

// A run of one bond made of trades alone.
struct Trades {
  sample::SampleRun run{};
  std::uint64_t prints = 0;
  double high = 0;
  double low = 0;
  double last = 0;
  std::string executed_at = "20240701115959";
};

std::string decimal_text(double price, int decimals = 6) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%.*f", decimals, price);
  return text.data();
}

// Six decimals in eleven characters, as a message carries a price.
std::string carried_text(double price) {
  std::array<char, 400> text{};
  std::snprintf(text.data(), text.size(), "%011.6f", std::max(price, 0.0));
  return std::string(text.data()).substr(0, 11);
}

// Adds a trade whose message and record agree. `change` is what the publisher says.
void add_trade(Trades& trades, double price, char change) {
  const sample::SampleRun sample = sample::run();
  const bool first = trades.prints++ == 0;
  trades.high = first ? price : std::max(trades.high, price);
  trades.low = first ? price : std::min(trades.low, price);
  trades.last = price;
  const std::string number = std::to_string(trades.prints);
  const std::string id = std::string(7 - number.size(), '0') + number;
  std::string message = overwritten(overwritten(sample.messages[1], 2, id), 87, carried_text(price));
  message = overwritten(message, 102, trades.executed_at);
  message.back() = change;
  trades.run.messages.push_back(message);
  std::string record = altered(altered(sample.truth[1], "\"seq\":2", "\"seq\":" + number), "0000001", id);
  record = altered(record, "\"price\":98.250000", "\"price\":" + decimal_text(price));
  record = altered(record, "\"exec\":\"20240701115959\"", "\"exec\":\"" + trades.executed_at + "\"");
  record = altered(record, "\"change\":\"7\"", std::string("\"change\":\"") + change + "\"");
  record = altered(record, R"("high":98.250000,"low":98.250000,"last":98.250000,"prints":1)",
                   "\"high\":" + decimal_text(trades.high) + ",\"low\":" + decimal_text(trades.low) +
                       ",\"last\":" + decimal_text(trades.last) + ",\"prints\":" + number);
  trades.run.truth.push_back(record);
}

TEST(Day, IsRightWhereRecordsAndMessagesFollowThePrints) {
  Trades trades;
  add_trade(trades, 98, '7');
  add_trade(trades, 99, '5');
  add_trade(trades, 97, '3');
  add_trade(trades, 97, '0');
  const auto all = sample::reconciled(trades.run);
  EXPECT_EQ(sample::discrepancy_lines(all->discrepancies), Lines());
  EXPECT_EQ(all->days, 4U);
  EXPECT_EQ(all->bonds.begin()->second.book.prints.live, 4U);
}

TEST(Day, IsWrongWhereBothSayAnotherChangeThanThePrints) {
  Trades trades;
  add_trade(trades, 98, '7');
  add_trade(trades, 99, '1');
  EXPECT_EQ(wrong_in(trades.run), Lines{"#2 change: book 5, truth 1"});
}

TEST(Day, CountsWhatFollowsFromAWrongHighWithIt) {
  Trades trades;
  add_trade(trades, 98, '7');
  trades.high = 101;  // from nowhere
  add_trade(trades, 97, '3');
  add_trade(trades, 97, '0');
  add_trade(trades, 97, '0');
  EXPECT_EQ(wrong_in(trades.run), Lines{"#2 summary.high: book 98.000000, truth 101.000000 (2 follow)"});
}

TEST(Day, BeginsANewCauseOnceItWasRightAgain) {
  Trades trades;
  for (int i = 0; i < 5; ++i) add_trade(trades, 98, i == 0 ? '7' : '0');
  for (const std::size_t place : {1U, 3U}) {
    trades.run.truth[place] = altered(trades.run.truth[place], "\"low\":98.000000", "\"low\":97.000000");
  }
  EXPECT_EQ(wrong_in(trades.run), (Lines{"#2 summary.low: book 98.000000, truth 97.000000",
                                         "#4 summary.low: book 98.000000, truth 97.000000"}));
}

TEST(Day, FollowsFromAWrongMessageToo) {
  Trades trades;
  add_trade(trades, 98, '7');
  add_trade(trades, 99, '5');
  trades.run.messages[1] = overwritten(trades.run.messages[1], 118, "T");  // no last sale by the message
  EXPECT_EQ(wrong_in(trades.run), Lines{"#2 sale_condition_3: truth \" \", message T"});
}

TEST(Day, GoesOnWithTheRecordWhereAMessageIsMissing) {
  Trades trades;
  add_trade(trades, 98, '7');
  add_trade(trades, 99, '5');
  add_trade(trades, 97, '3');
  trades.run.messages[1].clear();
  const auto all = sample::reconciled(trades.run);
  EXPECT_EQ(sample::discrepancy_lines(all->discrepancies), Lines());
  EXPECT_EQ(all->bonds.begin()->second.book.day.high->price, 99);
}

TEST(Day, MayChangeByDecimalsThatMessagesDoNotShow) {
  Trades trades;
  add_trade(trades, 98.000001, '7');
  add_trade(trades, 98.000001, '4');
  EXPECT_EQ(wrong_in(trades.run), Lines()) << "the publisher knows the second to be a little higher";
  Trades coarse;
  add_trade(coarse, 98, '7');
  add_trade(coarse, 98, '4');
  EXPECT_EQ(wrong_in(coarse.run), Lines{"#2 change: book 0, truth 4"});
}

TEST(Day, MustChangeByTheDecimalsThatMessagesShow) {
  Trades trades;
  add_trade(trades, 98.000001, '7');
  add_trade(trades, 99, '1');
  EXPECT_EQ(wrong_in(trades.run), Lines{"#2 change: book 5, truth 1"});
}

TEST(Day, IsNotCountedFromPricesThatMessagesCannotCarry) {
  Trades trades;
  add_trade(trades, -5, '7');
  add_trade(trades, -6, '3');
  const auto all = sample::reconciled(trades.run);
  EXPECT_EQ(sample::discrepancy_lines(all->discrepancies), Lines());
  EXPECT_EQ(all->days, 0U);
  EXPECT_FALSE(all->bonds.begin()->second.exact);
}

TEST(Day, KeepsHighLowAndPrintsWhereTimesDoNotTellTheLastSale) {
  struct Case {
    const char* from;
    const char* to;
    const char* wrong;
  };
  for (const Case& each :
       {Case{"\"high\":98.000000", "\"high\":99.000000", "summary.high: book 98.000000, truth 99.000000"},
        Case{"\"low\":97.000000", "\"low\":96.000000", "summary.low: book 97.000000, truth 96.000000"},
        Case{"\"prints\":2", "\"prints\":3", "summary.prints: book 2, truth 3"},
        Case{"\"last\":97.000000", "\"last\":96.000000", ""}}) {
    Trades trades;
    trades.executed_at = "20231105013000";
    add_trade(trades, 98, '7');
    add_trade(trades, 97, '2');
    trades.run.truth[1] = altered(trades.run.truth[1], each.from, each.to);
    const Lines found = wrong_in(trades.run);
    EXPECT_EQ(found.size(), *each.wrong == '\0' ? 0U : 1U) << each.to;
    for (const std::string& line : found) EXPECT_NE(line.find(each.wrong), std::string::npos) << line;
  }
}

TEST(Day, DoesNotCountTheLastSaleFromTimesThatLocalTimeDoesNotTellApart) {
  Trades trades;
  trades.executed_at = "20231105013000";  // in the hour that autumn repeats
  add_trade(trades, 98, '7');
  add_trade(trades, 97, '2');  // the publisher knows the first to be later
  trades.run.truth[1] = altered(trades.run.truth[1], "\"last\":97.000000", "\"last\":98.000000");
  EXPECT_EQ(wrong_in(trades.run), Lines());
}

// What is wrong with a handler's book after the messages of a run.
Lines wrong_in_book(const sample::SampleRun& run, const std::string& json, const std::string& cusip = "037833DT4") {
  const auto all = sample::reconciled(run);
  Claims claims;
  EXPECT_TRUE(read_claims(json, claims));
  compare_book(*all, run.messages.size(), cusip, claims);
  Lines found = sample::discrepancy_lines(all->discrepancies);
  for (const std::string& name : all->uncompared) found.push_back("not compared: " + name);
  return found;
}

sample::SampleRun two_trades() {
  Trades trades;
  add_trade(trades, 98, '7');
  add_trade(trades, 99, '5');
  return trades.run;
}

TEST(HandlersBook, MaySayAnythingThatIsSo) {
  EXPECT_EQ(
      wrong_in_book(two_trades(),
                    R"({"cusip":"037833DT4","symbol":"AAPL 3.85 43","traded":true,"high":99,"high_yield":3.918575,)"
                    R"("low":"98.000000","low_yield":3.918575,"last":99.0,"last_yield":3.918575,"prints":2,)"
                    R"("halted":false})"),
      Lines());
  EXPECT_EQ(wrong_in_book(two_trades(), "{}"), Lines());
}

TEST(HandlersBook, IsComparedByEveryName) {
  struct Case {
    const char* json;
    const char* wrong;
  };
  for (const Case& each : {
           Case{R"({"high":98})", "#2 book.high: book 99.000000, recording 98"},
           Case{R"({"low":null})", "#2 book.low: book 98.000000, recording -"},
           Case{R"({"last":98.000001})", "#2 book.last: book 99.000000, recording 98.000001"},
           Case{R"({"high_yield":4})", "#2 book.high_yield: book 3.918575, recording 4"},
           Case{R"({"low_yield":4})", "#2 book.low_yield: book 3.918575, recording 4"},
           Case{R"({"last_yield":4})", "#2 book.last_yield: book 3.918575, recording 4"},
           Case{R"({"prints":3})", "#2 book.prints: book 2, recording 3"},
           Case{R"({"traded":false})", "#2 book.traded: book true, recording false"},
           Case{R"({"halted":true})", "#2 book.halted: book false, recording true"},
           Case{R"({"cusip":"x"})", "#2 book.cusip: book 037833DT4, recording x"},
           Case{R"({"symbol":"x"})", "#2 book.symbol: book AAPL 3.85 43, recording x"},
           Case{R"({"spread":1})", "not compared: book.spread"},
       }) {
    EXPECT_EQ(wrong_in_book(two_trades(), each.json), Lines{each.wrong});
  }
}

TEST(HandlersBook, OfABondWithoutPrintsHasNoPricesOrZeros) {
  EXPECT_EQ(wrong_in_book(two_trades(), R"({"traded":false,"high":0,"low":null,"last":0.0,"prints":0})", "other"),
            Lines());
  EXPECT_EQ(wrong_in_book(two_trades(), R"({"high":98})", "other"), Lines{"#2 book.high: book -, recording 98"});
}

TEST(HandlersBook, ThatStaysWrongIsOneDiscrepancy) {
  const auto all = sample::reconciled(two_trades());
  Claims wrong;
  Claims right;
  ASSERT_TRUE(read_claims(R"({"high":98,"prints":1})", wrong));
  ASSERT_TRUE(read_claims(R"({"high":99,"prints":2})", right));
  compare_book(*all, 2, "037833DT4", wrong);
  compare_book(*all, 2, "037833DT4", wrong);
  EXPECT_EQ(sample::discrepancy_lines(all->discrepancies),
            Lines{"#2 book.high: book 99.000000, recording 98 (3 follow)"});
  compare_book(*all, 2, "037833DT4", right);
  compare_book(*all, 2, "037833DT4", wrong);
  EXPECT_EQ(sample::discrepancy_lines(all->discrepancies).size(), 2U) << "it was right in between";
}

TEST(HandlersBook, IsNotComparedWhereMessagesCannotTellTheDay) {
  Trades trades;
  add_trade(trades, -5, '7');
  EXPECT_EQ(wrong_in_book(trades.run, R"({"high":-5})"), Lines());
}

}  // namespace
}  // namespace vorbelctl
