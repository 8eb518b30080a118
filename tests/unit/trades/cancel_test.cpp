// Cancels: the message, the book without the trade, records, console line and refusals.
#include <gtest/gtest.h>

#include <string>

#include "tests/unit/common/console.h"
#include "tests/unit/trades/engine_fixture.h"
#include "trades/amendment.h"

namespace vorbeld {
namespace {

// Cancels a trade and returns the change indicator of the message.
char change_of_cancel(EngineBench& bench, std::uint64_t trade_id) {
  EXPECT_TRUE(cancel_trade(bench.engine, trade_id));
  return last_message(bench).back();
}

TEST(Cancel, SendsItsMessage) {
  EngineBench bench;
  trade_at(bench, {96.25, 77});
  const std::string body = last_message(bench).substr(72, 74);
  const std::string date = reference_date_time(static_cast<std::int64_t>(record_of(bench, 2).report_s)).substr(0, 8);
  EXPECT_EQ(message_of(bench, [&] { cancel_trade(bench.engine, 2); }),
            "TN"
            "       "
            "O"
            "(the time now)"
            "AAPL 3.85 43  "
            "037833DT4"
            "AAPL        "
            "CORP " +
                date + "0000002" + "C" + body +
                "0096.250000"
                " 000004.000000"
                "0096.250000"
                " 000004.000000"
                "0096.250000"
                " 000004.000000"
                "3");
}

TEST(Cancel, OfTheOnlyPrintLeavesTheBondUntraded) {
  EngineBench bench;
  trade_at(bench, {100});
  EXPECT_EQ(change_of_cancel(bench, 1), '7');
  const Bond& bond = apple_of(bench);
  EXPECT_EQ(bond.prints, 0U);
  EXPECT_FALSE(bond.prices.traded);
  EXPECT_EQ(bond.prices.high, 0.0);
  EXPECT_EQ(bond.prices.low, 0.0);
  EXPECT_EQ(bond.prices.last, 0.0);
  EXPECT_EQ(bond.last_exec_s, 0U);
  EXPECT_EQ(last_message(bench).substr(154, 25), "0000.000000              ");
}

TEST(Cancel, SetsTheBookBackToTheOtherPrints) {
  EngineBench bench;
  trade_at(bench, {100, 103, 98, 101});
  EXPECT_EQ(change_of_cancel(bench, 2), '4');
  EXPECT_EQ(apple_of(bench).prices.high, 101);
  EXPECT_EQ(change_of_cancel(bench, 3), '2');
  EXPECT_EQ(apple_of(bench).prices.low, 100);
  EXPECT_EQ(change_of_cancel(bench, 4), '5');
  EXPECT_EQ(apple_of(bench).prices.last, 100);
  EXPECT_EQ(apple_of(bench).prints, 1U);
}

TEST(Cancel, OfTheLastTakesTheLatestExecutedOfTheOthers) {
  EngineBench bench;
  for (const auto& [price, second] : {std::pair{100.0, 5}, {101.0, 9}, {102.0, 7}, {103.0, 9}}) {
    TradeInput input = plain_trade(price);
    input.terms.exec_s = noon_s + static_cast<std::uint64_t>(second);
    disseminate_trade(bench.engine, input);
  }
  EXPECT_EQ(apple_of(bench).prices.last, 103);
  change_of_cancel(bench, 4);
  EXPECT_EQ(apple_of(bench).prices.last, 101);
  EXPECT_EQ(apple_of(bench).last_exec_s, noon_s + 9);
  change_of_cancel(bench, 2);
  EXPECT_EQ(apple_of(bench).prices.last, 102);
  EXPECT_EQ(apple_of(bench).last_exec_s, noon_s + 7);
}

TEST(Cancel, OfAPrintThatSetNothingChangesNothing) {
  EngineBench bench;
  trade_at(bench, {100, 101, 99, 100});
  EXPECT_EQ(change_of_cancel(bench, 1), '0');
  EXPECT_EQ(apple_of(bench).prints, 3U);
}

TEST(Cancel, OfATradeThatWasNoPrintLeavesTheBookAlone) {
  EngineBench bench;
  trade_at(bench, {100});
  TradeInput special = plain_trade(90);
  special.terms.special = 'Y';
  disseminate_trade(bench.engine, special);
  EXPECT_EQ(change_of_cancel(bench, 2), '0');
  EXPECT_EQ(apple_of(bench).prints, 1U);
  EXPECT_EQ(apple_of(bench).prices.low, 100);
  EXPECT_TRUE(record_of(bench, 2).cancelled);
}

TEST(Cancel, LeavesOtherBondsAlone) {
  EngineBench bench;
  disseminate_trade(bench.engine, plain_trade(100, apple_cusip));
  disseminate_trade(bench.engine, plain_trade(50, ford_cusip));
  change_of_cancel(bench, 2);
  EXPECT_EQ(apple_of(bench).prints, 1U);
  EXPECT_EQ(apple_of(bench).prices.last, 100);
  EXPECT_EQ(ford_of(bench).prints, 0U);
}

TEST(Cancel, AFirstPrintAfterAnEmptiedBookIsTheFirstOfTheDayAgain) {
  EngineBench bench;
  trade_at(bench, {100});
  change_of_cancel(bench, 1);
  trade_at(bench, {90});
  EXPECT_EQ(last_message(bench).back(), '7');
  EXPECT_EQ(apple_of(bench).prices.high, 90);
  EXPECT_EQ(apple_of(bench).prints, 1U);
}

TEST(Cancel, IsCountedAndNothingElseIs) {
  EngineBench bench;
  trade_at(bench, {100});
  change_of_cancel(bench, 1);
  EXPECT_EQ(bench.engine.counters.cancels, 1U);
  EXPECT_EQ(bench.engine.counters.reports, 1U);
  EXPECT_EQ(bench.engine.counters.corrections, 0U);
  EXPECT_EQ(newest_trade(bench.engine.trades), 1U);
}

TEST(Cancel, LeavesInAPacketOfItsOwn) {
  EngineBench bench;
  trade_at(bench, {100});
  change_of_cancel(bench, 1);
  const std::vector<std::string> packets = sent_packets(bench.feed);
  ASSERT_EQ(packets.size(), 2U);
  EXPECT_EQ(packets[1].substr(22), last_message(bench));
}

TEST(Cancel, WritesATruthRecordAndNoTapeLine) {
  EngineBench bench;
  open_truth(bench);
  open_tape(bench);
  trade_at(bench, {100});
  cancel_trade(bench.engine, 1);
  EXPECT_EQ(last_truth(bench),
            R"({"seq":2,"cat":"T","type":"N","event":"cancel","orig_trade_id":"0000001","function":"C","change":"7"})");
  EXPECT_EQ(tape_lines(bench).size(), 1U);
}

TEST(Cancel, PrintsOneLine) {
  EngineBench bench;
  trade_at(bench, {100});
  bench.engine.quiet = false;
  EXPECT_EQ(console_of([&] { cancel_trade(bench.engine, 1); }),
            "[vorbeld] #2 T/N cancel of 0000001 037833DT4 change 7\n");
}

TEST(Cancel, IsSilentWhenQuiet) {
  EngineBench bench;
  trade_at(bench, {100});
  EXPECT_EQ(console_of([&] { cancel_trade(bench.engine, 1); }), "");
}

// A refused cancel returns false and leaves no trace.
void expect_refused(EngineBench& bench, std::uint64_t trade_id) {
  bench.engine.quiet = false;
  const std::uint64_t messages = last_sequence(bench.feed.publisher);
  const std::uint64_t cancels = bench.engine.counters.cancels;
  EXPECT_EQ(console_of([&] { EXPECT_FALSE(cancel_trade(bench.engine, trade_id)); }), "");
  EXPECT_EQ(last_sequence(bench.feed.publisher), messages);
  EXPECT_EQ(bench.engine.counters.cancels, cancels);
}

TEST(CancelRefusal, OfAnUnknownTrade) {
  EngineBench bench;
  trade_at(bench, {100});
  expect_refused(bench, 0);
  expect_refused(bench, 2);
  EXPECT_EQ(apple_of(bench).prints, 1U);
}

TEST(CancelRefusal, OfACancelledTrade) {
  EngineBench bench;
  trade_at(bench, {100, 101});
  cancel_trade(bench.engine, 1);
  expect_refused(bench, 1);
  EXPECT_EQ(apple_of(bench).prints, 1U);
}

TEST(CancelRefusal, OfACorrectedTrade) {
  EngineBench bench;
  trade_at(bench, {100});
  correct_trade(bench.engine, 1, 101, 1000);
  expect_refused(bench, 1);
  EXPECT_TRUE(cancel_trade(bench.engine, 2));
}

TEST(CancelRefusal, InAClosedSession) {
  EngineBench bench;
  trade_at(bench, {100});
  bench.engine.publisher.closed = true;
  expect_refused(bench, 1);
  EXPECT_FALSE(record_of(bench, 1).cancelled);
  EXPECT_EQ(apple_of(bench).prints, 1U);
}

}  // namespace
}  // namespace vorbeld
