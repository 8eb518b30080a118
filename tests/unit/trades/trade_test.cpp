// Dissemination of a trade: its message, its record, the counters, the console line and the one refusal.
#include "trades/trade.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <utility>

#include "tests/unit/common/console.h"
#include "tests/unit/trades/engine_fixture.h"

namespace vorbeld {
namespace {

// What disseminating `input` prints.
std::string console_line(EngineBench& bench, const TradeInput& input) {
  bench.engine.quiet = false;
  return console_of([&] { disseminate_trade(bench.engine, input); });
}

TEST(Trade, TakesIdsFromOne) {
  EngineBench bench;
  EXPECT_EQ(disseminate_trade(bench.engine, plain_trade()), 1U);
  EXPECT_EQ(disseminate_trade(bench.engine, plain_trade()), 2U);
  EXPECT_EQ(disseminate_trade(bench.engine, plain_trade()), 3U);
}

TEST(Trade, SendsItsMessage) {
  EngineBench bench;
  TradeInput input = plain_trade();
  input.terms.side = 'B';
  input.terms.contra_party = 'C';
  input.terms.remuneration = 'M';
  EXPECT_EQ(message_of(bench, [&] { disseminate_trade(bench.engine, input); }),
            "TM"
            "0000001"
            "O"
            "(the time now)"
            "AAPL 3.85 43  "
            "037833DT4"
            "AAPL        "
            "CORP "
            "        "
            "A"
            "00000025000.00"
            "0096.250000"
            "M B "
            "20240701120000"
            "    "
            "20240703"
            " 000004.000000"
            " DC "
            "7");
}

TEST(Trade, LeavesInAPacketOfItsOwn) {
  EngineBench bench;
  disseminate_trade(bench.engine, plain_trade());
  disseminate_trade(bench.engine, plain_trade());
  const std::vector<std::string> packets = sent_packets(bench.feed);
  ASSERT_EQ(packets.size(), 2U);
  EXPECT_EQ(packets[1].size(), 20U + 2U + 147U);
  EXPECT_EQ(packets[1].substr(22), last_message(bench));
}

TEST(Trade, KeepsWhatLaterAmendmentsNeed) {
  EngineBench bench;
  TradeInput input = plain_trade();
  input.terms.quantity = 6'000'000;
  const std::uint64_t before_s = wall_ms() / 1000;
  disseminate_trade(bench.engine, input);
  const TradeRecord& record = record_of(bench, 1);
  EXPECT_EQ(record.price, 96.25);
  EXPECT_EQ(record.quantity, 6'000'000);
  EXPECT_EQ(record.yield, 4.0);
  EXPECT_TRUE(record.capped);
  EXPECT_TRUE(record.yield_wanted);
  EXPECT_FALSE(record.cancelled);
  EXPECT_TRUE(record.last_sale_eligible);
  EXPECT_EQ(record.exec_s, noon_s);
  EXPECT_GE(record.report_s, before_s);
  EXPECT_LE(record.report_s, wall_ms() / 1000);
  EXPECT_EQ(std::string(record.body.data(), record.body.size()), last_message(bench).substr(72, 74));
}

TEST(Trade, OfAnUnknownCusipAddsItsBond) {
  EngineBench bench;
  disseminate_trade(bench.engine, plain_trade(100, "XYZ"));
  ASSERT_EQ(bench.engine.universe.bonds.size(), 3U);
  const Bond& added = bench.engine.universe.bonds[2];
  EXPECT_EQ(added.symbol, "NEW 1");
  EXPECT_EQ(added.mid, 100.0);
  EXPECT_EQ(added.coupon, 5.0);
  EXPECT_FALSE(added.high_yield);
  EXPECT_EQ(last_message(bench).substr(24, 40), "NEW 1         XYZ      NEW 1       CORP ");
  disseminate_trade(bench.engine, plain_trade(101, "XYZ"));
  EXPECT_EQ(bench.engine.universe.bonds.size(), 3U);
  EXPECT_EQ(added.prints, 2U);
}

TEST(Trade, OfADoubleCusipGoesToTheFirstBond) {
  EngineBench bench;
  Bond second = apple();
  second.symbol = "SECOND";
  add_bond(bench.engine.universe, std::move(second));
  disseminate_trade(bench.engine, plain_trade());
  EXPECT_EQ(apple_of(bench).prints, 1U);
  EXPECT_EQ(bench.engine.universe.bonds[2].prints, 0U);
  EXPECT_EQ(last_message(bench).substr(24, 14), "AAPL 3.85 43  ");
}

TEST(TradeYield, IsCouponOverPrice) {
  EXPECT_EQ(trade_yield(apple(), 77, true), 5.0);
  EXPECT_EQ(trade_yield(apple(), 385, true), 1.0);
}

TEST(TradeYield, IsZeroWhenNotWantedOrThePriceIsNotPositive) {
  EXPECT_EQ(trade_yield(apple(), 77, false), 0.0);
  EXPECT_EQ(trade_yield(apple(), 0, true), 0.0);
  EXPECT_EQ(trade_yield(apple(), -77, true), 0.0);
  EXPECT_EQ(trade_yield(apple(), std::numeric_limits<double>::quiet_NaN(), true), 0.0);
}

TEST(TradeYield, IsNegativeForANegativeCoupon) {
  Bond bond = apple();
  bond.coupon = -0.125;
  EXPECT_EQ(trade_yield(bond, 100, true), -0.125);
}

TEST(TradeYield, IsSentAsZeroForAWantedYieldWithoutAPrice) {
  EngineBench bench;
  disseminate_trade(bench.engine, plain_trade(-5));
  EXPECT_EQ(last_message(bench).substr(72 + 15, 11), "0000.000000");
  EXPECT_EQ(last_message(bench).substr(72 + 56, 14), " 000000.000000");
}

TEST(TradeYield, IsBlankWhenNotWanted) {
  EngineBench bench;
  TradeInput input = plain_trade();
  input.terms.yield_wanted = false;
  disseminate_trade(bench.engine, input);
  EXPECT_EQ(last_message(bench).substr(72 + 56, 14), "              ");
  EXPECT_EQ(record_of(bench, 1).yield, 0.0);
}

TEST(TradeCounters, CountReportsCappedAndAsOf) {
  EngineBench bench;
  TradeInput capped = plain_trade();
  capped.terms.quantity = 6'000'000;
  TradeInput as_of = plain_trade();
  as_of.terms.as_of = 'A';
  TradeInput reversal = plain_trade();
  reversal.terms.as_of = 'R';
  for (const TradeInput& input : {plain_trade(), capped, as_of, reversal}) disseminate_trade(bench.engine, input);
  EXPECT_EQ(bench.engine.counters.reports, 4U);
  EXPECT_EQ(bench.engine.counters.capped, 1U);
  EXPECT_EQ(bench.engine.counters.as_of, 2U);
}

TEST(TradeCounters, CountEachVenue) {
  EngineBench bench;
  for (const std::string_view venue : {"ATS1", "SYN", "ATS1", ""}) {
    TradeInput input = plain_trade();
    input.venue = venue;
    disseminate_trade(bench.engine, input);
  }
  const auto& by_venue = bench.engine.counters.by_venue;
  EXPECT_EQ(by_venue.size(), 3U);
  EXPECT_EQ(by_venue.at("ATS1"), 2U);
  EXPECT_EQ(by_venue.at("SYN"), 1U);
  EXPECT_EQ(by_venue.at(""), 1U);
}

TEST(TradeConsole, ShowsATradeOnOneLine) {
  EngineBench bench;
  TradeInput input = plain_trade();
  input.terms.side = 'B';
  input.terms.contra_party = 'C';
  EXPECT_EQ(console_line(bench, input),
            "[vorbeld] #1 T/M 0000001 037833DT4 AAPL 3.85 43 25000 @96.250000 B    D/C change 7\n");
}

TEST(TradeConsole, ShowsConditionsAndAts) {
  EngineBench bench;
  TradeInput input = plain_trade(96.25, ford_cusip);
  input.terms.as_of = 'A';
  input.terms.sale_condition_3 = 'Z';
  input.terms.sale_condition_4 = 'W';
  input.terms.reporting_party = 'T';
  input.terms.ats = 'Y';
  EXPECT_EQ(console_line(bench, input),
            "[vorbeld] #1 T/M 0000001 345370CS9 F 4.35 26 25000 @96.250000 SAZW T/D ATS change 0\n");
}

TEST(TradeConsole, ShowsTheWholeQuantityOfACappedTrade) {
  EngineBench bench;
  TradeInput input = plain_trade();
  input.terms.quantity = 6'000'000;
  EXPECT_EQ(console_line(bench, input),
            "[vorbeld] #1 T/M 0000001 037833DT4 AAPL 3.85 43 6000000 (capped) @96.250000 S    D/D change 7\n");
  EXPECT_EQ(last_message(bench).substr(72, 15), "E5MM+          ");
}

TEST(TradeConsole, ShowsNumbersUncut) {
  EngineBench bench;
  TradeInput input = plain_trade(-1e20);
  input.terms.quantity = -1e25;
  EXPECT_EQ(console_line(bench, input),
            "[vorbeld] #1 T/M 0000001 037833DT4 AAPL 3.85 43 -10000000000000000905969664 "
            "@-100000000000000000000.000000 S    D/D change 7\n");
}

TEST(TradeConsole, IsSilentWhenQuiet) {
  EngineBench bench;
  EXPECT_EQ(console_of([&] { disseminate_trade(bench.engine, plain_trade()); }), "");
}

TEST(TradeCap, OfHighYieldBeginsAboveAMillion) {
  EngineBench bench;
  TradeInput input = plain_trade(96.25, ford_cusip);
  input.terms.quantity = 1'000'000;
  disseminate_trade(bench.engine, input);
  EXPECT_EQ(last_message(bench).substr(72, 15), "A00001000000.00");
  input.terms.quantity = 1'000'001;
  disseminate_trade(bench.engine, input);
  EXPECT_EQ(last_message(bench).substr(72, 15), "E1MM+          ");
  EXPECT_EQ(bench.engine.counters.capped, 1U);
}

TEST(ClosedSession, RefusesTradesAndSaysSoOnce) {
  EngineBench bench;
  open_truth(bench);
  open_tape(bench);
  bench.engine.publisher.closed = true;
  EXPECT_EQ(console_of([&] {
              for (int i = 0; i < 3; ++i) EXPECT_EQ(disseminate_trade(bench.engine, plain_trade(96.25, "XYZ")), 0U);
            }),
            "[vorbeld] the session is closed: trades reported now are not disseminated\n");
  EXPECT_EQ(bench.engine.suppressed, 3U);
  EXPECT_EQ(bench.engine.counters.reports, 0U);
  EXPECT_EQ(newest_trade(bench.engine.trades), 0U);
  EXPECT_EQ(bench.engine.universe.bonds.size(), 2U);
  EXPECT_EQ(truth_lines(bench).size() + tape_lines(bench).size(), 0U);
  EXPECT_EQ(sent_packets(bench.feed).size(), 0U);
}

TEST(FaultLines, ArePrintedByAQuietEngineToo) {
  EngineBench bench;
  ASSERT_TRUE(bench.engine.quiet);
  bench.feed.publisher.faults.armed_drops = 1;
  EXPECT_EQ(console_of([&] { disseminate_trade(bench.engine, plain_trade()); }),
            "vorbeld fault: dropped seq 1 (packet 1, 1 message(s))\n");
}

}  // namespace
}  // namespace vorbeld
