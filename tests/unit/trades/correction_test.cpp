// Corrections: the message, the replacement's record and place in the book, console line and refusals.
#include <gtest/gtest.h>

#include <string>

#include "tests/unit/common/console.h"
#include "tests/unit/trades/engine_fixture.h"
#include "trades/amendment.h"

namespace vorbeld {
namespace {

// Corrects a trade and returns the change indicator of the message.
char change_of_correction(EngineBench& bench, std::uint64_t trade_id, double price) {
  EXPECT_TRUE(correct_trade(bench.engine, trade_id, price, 25'000));
  return last_message(bench).back();
}

// A trade with every attribute set, but none that keeps it out of the book.
TradeInput rich_trade() {
  TradeInput input = plain_trade();
  input.terms.side = 'B';
  input.terms.contra_party = 'C';
  input.terms.reporting_party = 'T';
  input.terms.ats = 'Y';
  input.terms.remuneration = 'M';
  input.terms.sale_condition_3 = 'Z';
  input.terms.second_modifier = '2';
  return input;
}

TEST(Correction, SendsItsMessage) {
  EngineBench bench;
  disseminate_trade(bench.engine, rich_trade());
  const std::string date = reference_date_time(static_cast<std::int64_t>(record_of(bench, 1).report_s)).substr(0, 8);
  EXPECT_EQ(message_of(bench, [&] { correct_trade(bench.engine, 1, 77, 6'000'000); }),
            "TO"
            "0000002"
            "O"
            "(the time now)"
            "AAPL 3.85 43  "
            "037833DT4"
            "AAPL        "
            "CORP " +
                date +
                "0000001"
                "N"
                "A00000025000.000096.250000M B 20240701120000  Z 20240703 000004.0000002TCY"
                "E5MM+          0077.000000M B 20240701120000  Z 20240703 000005.0000002TCY"
                "0077.000000"
                " 000005.000000"
                "0077.000000"
                " 000005.000000"
                "0077.000000"
                " 000005.000000"
                "7");
}

TEST(Correction, KeepsAReplacementUnderANewId) {
  EngineBench bench;
  disseminate_trade(bench.engine, rich_trade());
  record_of(bench, 1).report_s = noon_s;  // long before
  const std::uint64_t before_s = wall_ms() / 1000;
  correct_trade(bench.engine, 1, 77, 6'000'000);
  EXPECT_EQ(newest_trade(bench.engine.trades), 2U);
  EXPECT_TRUE(record_of(bench, 1).cancelled);
  const TradeRecord& replacement = record_of(bench, 2);
  EXPECT_EQ(replacement.price, 77);
  EXPECT_EQ(replacement.quantity, 6'000'000);
  EXPECT_EQ(replacement.yield, 5.0);
  EXPECT_TRUE(replacement.capped);
  EXPECT_TRUE(replacement.yield_wanted);
  EXPECT_FALSE(replacement.cancelled);
  EXPECT_TRUE(replacement.last_sale_eligible);
  EXPECT_EQ(replacement.exec_s, noon_s);
  EXPECT_GE(replacement.report_s, before_s);
  EXPECT_LE(replacement.report_s, wall_ms() / 1000);
  EXPECT_EQ(std::string(replacement.body.data(), replacement.body.size()), last_message(bench).substr(154, 74));
}

TEST(Correction, OfATradeWithoutYieldSendsNone) {
  EngineBench bench;
  TradeInput input = plain_trade();
  input.terms.yield_wanted = false;
  disseminate_trade(bench.engine, input);
  change_of_correction(bench, 1, 77);
  EXPECT_EQ(last_message(bench).substr(154 + 56, 14), "              ");
  EXPECT_FALSE(record_of(bench, 2).yield_wanted);
}

TEST(Correction, SetsTheBookToTheReplacement) {
  EngineBench bench;
  trade_at(bench, {100, 103, 98});
  EXPECT_EQ(change_of_correction(bench, 2, 101), '4');
  const Bond& bond = apple_of(bench);
  EXPECT_EQ(bond.prices.high, 101);
  EXPECT_EQ(bond.prices.last, 98);
  EXPECT_EQ(bond.prints, 3U);
}

TEST(Correction, OfTheLastReplacesIt) {
  EngineBench bench;
  trade_at(bench, {100, 101});
  EXPECT_EQ(change_of_correction(bench, 2, 100.5), '5');
  EXPECT_EQ(apple_of(bench).prices.last, 100.5);
  EXPECT_EQ(apple_of(bench).prints, 2U);
}

TEST(Correction, AtTheSamePriceChangesNothing) {
  EngineBench bench;
  trade_at(bench, {100, 101});
  EXPECT_EQ(change_of_correction(bench, 2, 101), '0');
}

// Both were executed in one second; the replacement is disseminated later and becomes the last.
TEST(Correction, StandsAtTheEndOfTheTrades) {
  EngineBench bench;
  disseminate_trade(bench.engine, plain_trade(100));
  disseminate_trade(bench.engine, plain_trade(100));
  EXPECT_EQ(change_of_correction(bench, 1, 99), '3');
  EXPECT_EQ(apple_of(bench).prices.last, 99);
}

TEST(Correction, OfTheOnlyPrintKeepsTheBondTraded) {
  EngineBench bench;
  trade_at(bench, {100});
  EXPECT_EQ(change_of_correction(bench, 1, 99), '7');  // high, low and last all changed
  EXPECT_TRUE(apple_of(bench).prices.traded);
  EXPECT_EQ(apple_of(bench).prints, 1U);
}

TEST(Correction, OfATradeThatWasNoPrintLeavesTheBookAlone) {
  EngineBench bench;
  trade_at(bench, {100});
  TradeInput input = plain_trade(90);
  input.terms.sale_condition_4 = 'W';
  disseminate_trade(bench.engine, input);
  EXPECT_EQ(change_of_correction(bench, 2, 80), '0');
  EXPECT_FALSE(record_of(bench, 3).last_sale_eligible);
  EXPECT_EQ(apple_of(bench).prices.low, 100);
  EXPECT_EQ(apple_of(bench).prints, 1U);
}

TEST(Correction, OfACorrectionRepeatsTheReplacementsBody) {
  EngineBench bench;
  trade_at(bench, {96.25});
  change_of_correction(bench, 1, 77);
  const std::string replacement = last_message(bench).substr(154, 74);
  EXPECT_EQ(change_of_correction(bench, 2, 385), '7');
  EXPECT_EQ(last_message(bench).substr(80, 74), replacement);
  EXPECT_EQ(last_message(bench).substr(2, 7), "0000003");
  EXPECT_EQ(last_message(bench).substr(72, 7), "0000002");
  EXPECT_EQ(apple_of(bench).prints, 1U);
}

TEST(Correction, OfAHighYieldTradeUsesItsCap) {
  EngineBench bench;
  disseminate_trade(bench.engine, plain_trade(87, ford_cusip));
  correct_trade(bench.engine, 1, 87, 1'000'001);
  EXPECT_EQ(last_message(bench).substr(154, 15), "E1MM+          ");
}

TEST(Correction, OfACappedTradeBelowTheCapShowsTheQuantity) {
  EngineBench bench;
  TradeInput input = plain_trade();
  input.terms.quantity = 6'000'000;
  disseminate_trade(bench.engine, input);
  correct_trade(bench.engine, 1, 96.25, 5'000'000);
  EXPECT_EQ(last_message(bench).substr(80, 15), "E5MM+          ");
  EXPECT_EQ(last_message(bench).substr(154, 15), "A00005000000.00");
  EXPECT_FALSE(record_of(bench, 2).capped);
}

TEST(Correction, CountsAsACorrectionOnly) {
  EngineBench bench;
  open_tape(bench);
  TradeInput input = plain_trade();
  input.terms.as_of = 'A';
  disseminate_trade(bench.engine, input);
  correct_trade(bench.engine, 1, 77, 9'000'000);
  const RunCounters& counters = bench.engine.counters;
  EXPECT_EQ(counters.corrections, 1U);
  EXPECT_EQ(counters.reports, 1U);
  EXPECT_EQ(counters.capped, 0U);
  EXPECT_EQ(counters.as_of, 1U);
  EXPECT_EQ(counters.by_venue.at("ATS1"), 1U);
  EXPECT_EQ(counters.cancels, 0U);
  EXPECT_EQ(tape_lines(bench).size(), 1U);
}

TEST(Correction, LeavesInAPacketOfItsOwn) {
  EngineBench bench;
  trade_at(bench, {100});
  change_of_correction(bench, 1, 99);
  const std::vector<std::string> packets = sent_packets(bench.feed);
  ASSERT_EQ(packets.size(), 2U);
  EXPECT_EQ(packets[1].substr(22), last_message(bench));
}

TEST(Correction, WritesTheReplacementIntoTheTruth) {
  EngineBench bench;
  open_truth(bench);
  disseminate_trade(bench.engine, rich_trade());
  correct_trade(bench.engine, 1, 77, 6'000'000);
  EXPECT_EQ(last_truth(bench),
            R"({"seq":2,"cat":"T","type":"O","event":"correction","cusip":"037833DT4","symbol":"AAPL 3.85 43",)"
            R"("trade_id":"0000002","qty":5000000.00,"capped":true,"qty_ind":"E","price":77.000000,"yield":5.000000,)"
            R"("side":"B","as_of":" ","special":" ","sale3":"Z","sale4":" ","exec":"20240701120000",)"
            R"("settle":"20240703","remuneration":"M","rpt":"T","contra":"C","ats":"Y",)"
            R"("orig_trade_id":"0000001","function":"N","change":"7",)"
            R"("summary":{"traded":true,"high":77.000000,"low":77.000000,"last":77.000000,"prints":1}})");
}

TEST(Correction, PrintsOneLine) {
  EngineBench bench;
  trade_at(bench, {100});
  bench.engine.quiet = false;
  EXPECT_EQ(console_of([&] { correct_trade(bench.engine, 1, 99.5, 6'000'000); }),
            "[vorbeld] #2 T/O correction of 0000001 → 0000002 037833DT4 6000000 @99.500000 change 7\n");
}

TEST(Correction, IsSilentWhenQuiet) {
  EngineBench bench;
  trade_at(bench, {100});
  EXPECT_EQ(console_of([&] { correct_trade(bench.engine, 1, 99.5, 1000); }), "");
}

// A refused correction returns false, takes no trade id and leaves no trace.
void expect_not_corrected(EngineBench& bench, std::uint64_t trade_id) {
  bench.engine.quiet = false;
  const std::uint64_t messages = last_sequence(bench.feed.publisher);
  const std::uint64_t corrections = bench.engine.counters.corrections;
  const std::uint64_t newest = newest_trade(bench.engine.trades);
  EXPECT_EQ(console_of([&] { EXPECT_FALSE(correct_trade(bench.engine, trade_id, 99, 1000)); }), "");
  EXPECT_EQ(last_sequence(bench.feed.publisher), messages);
  EXPECT_EQ(bench.engine.counters.corrections, corrections);
  EXPECT_EQ(newest_trade(bench.engine.trades), newest);
}

TEST(CorrectionRefusal, OfAnUnknownTrade) {
  EngineBench bench;
  trade_at(bench, {100});
  expect_not_corrected(bench, 0);
  expect_not_corrected(bench, 2);
}

TEST(CorrectionRefusal, OfACancelledTrade) {
  EngineBench bench;
  trade_at(bench, {100});
  cancel_trade(bench.engine, 1);
  expect_not_corrected(bench, 1);
}

TEST(CorrectionRefusal, OfATradeCorrectedBefore) {
  EngineBench bench;
  trade_at(bench, {100});
  change_of_correction(bench, 1, 99);
  expect_not_corrected(bench, 1);
  EXPECT_EQ(apple_of(bench).prices.last, 99);
}

TEST(CorrectionRefusal, InAClosedSession) {
  EngineBench bench;
  trade_at(bench, {100});
  bench.engine.publisher.closed = true;
  expect_not_corrected(bench, 1);
  EXPECT_FALSE(record_of(bench, 1).cancelled);
}

}  // namespace
}  // namespace vorbeld
