// Trade ids of more than seven digits, which are cut in messages and whole everywhere else; and the choice of the
// latest trade that can still be amended.
#include <gtest/gtest.h>

#include <string>

#include "tests/unit/common/console.h"
#include "tests/unit/trades/engine_fixture.h"
#include "trades/amendment.h"

namespace vorbeld {
namespace {

// A bench whose next trade has this id.
void count_on_to(EngineBench& bench, std::uint64_t next_id) {
  skip_ids(bench.engine.trades.records, next_id - 1);
  bench.engine.quiet = false;
  open_truth(bench);
  open_tape(bench);
}

TEST(WideTradeId, OfATradeIsCutInItsMessageOnly) {
  EngineBench bench;
  count_on_to(bench, 10'000'007);
  std::uint64_t trade_id = 0;
  const std::string console = console_of([&] { trade_id = disseminate_trade(bench.engine, plain_trade()); });
  EXPECT_EQ(trade_id, 10'000'007U);
  EXPECT_EQ(last_message(bench).substr(2, 7), "0000007");
  EXPECT_NE(console.find("[vorbeld] #1 T/M 10000007 037833DT4 "), std::string::npos) << console;
  EXPECT_NE(last_truth(bench).find(",\"trade_id\":\"10000007\","), std::string::npos);
  EXPECT_NE(last_tape(bench).find(",\"trade_id\":\"10000007\","), std::string::npos);
}

TEST(WideTradeId, OfACorrectionIsCutInItsMessageOnly) {
  EngineBench bench;
  count_on_to(bench, 12'345'678);
  const std::string console = console_of([&] {
    disseminate_trade(bench.engine, plain_trade());
    correct_trade(bench.engine, 12'345'678, 77, 1000);
  });
  EXPECT_EQ(last_message(bench).substr(2, 7), "2345679");
  EXPECT_EQ(last_message(bench).substr(72, 7), "2345678");
  EXPECT_NE(console.find("T/O correction of 12345678 → 12345679 "), std::string::npos) << console;
  EXPECT_NE(last_truth(bench).find(",\"trade_id\":\"12345679\","), std::string::npos);
  EXPECT_NE(last_truth(bench).find(",\"orig_trade_id\":\"12345678\","), std::string::npos);
}

TEST(WideTradeId, OfACancelIsCutInItsMessageOnly) {
  EngineBench bench;
  count_on_to(bench, 9'999'999);
  const std::string console = console_of([&] {
    disseminate_trade(bench.engine, plain_trade());
    disseminate_trade(bench.engine, plain_trade());
    cancel_trade(bench.engine, 10'000'000);
  });
  EXPECT_EQ(last_message(bench).substr(72, 7), "0000000");
  EXPECT_NE(console.find("T/N cancel of 10000000 "), std::string::npos) << console;
  EXPECT_NE(last_truth(bench).find(",\"orig_trade_id\":\"10000000\","), std::string::npos);
}

TEST(LatestAmendable, IsNothingWithoutTrades) {
  EngineBench bench;
  EXPECT_EQ(latest_amendable(bench.engine.trades), 0U);
}

TEST(LatestAmendable, IsTheNewestTradeOfAnyBond) {
  EngineBench bench;
  trade_at(bench, {100, 101});
  EXPECT_EQ(latest_amendable(bench.engine.trades), 2U);
  disseminate_trade(bench.engine, plain_trade(50, ford_cusip));
  EXPECT_EQ(latest_amendable(bench.engine.trades), 3U);
}

TEST(LatestAmendable, PassesOverCancelledTrades) {
  EngineBench bench;
  trade_at(bench, {100, 101, 102});
  cancel_trade(bench.engine, 3);
  EXPECT_EQ(latest_amendable(bench.engine.trades), 2U);
  cancel_trade(bench.engine, 1);
  EXPECT_EQ(latest_amendable(bench.engine.trades), 2U);
  cancel_trade(bench.engine, 2);
  EXPECT_EQ(latest_amendable(bench.engine.trades), 0U);
}

TEST(LatestAmendable, PassesOverAsOfTradesAndReversals) {
  EngineBench bench;
  trade_at(bench, {100});
  for (const char as_of : {'A', 'R', 'x'}) {
    TradeInput input = plain_trade();
    input.terms.as_of = as_of;
    disseminate_trade(bench.engine, input);
  }
  EXPECT_EQ(latest_amendable(bench.engine.trades), 1U);
}

TEST(LatestAmendable, TakesTradesThatAreNoPrints) {
  EngineBench bench;
  TradeInput input = plain_trade();
  input.terms.special = 'Y';
  disseminate_trade(bench.engine, input);
  EXPECT_EQ(latest_amendable(bench.engine.trades), 1U);
}

TEST(LatestAmendable, IsTheReplacementAfterACorrection) {
  EngineBench bench;
  trade_at(bench, {100, 101});
  correct_trade(bench.engine, 1, 99, 1000);
  EXPECT_EQ(latest_amendable(bench.engine.trades), 3U);
  cancel_trade(bench.engine, 3);
  EXPECT_EQ(latest_amendable(bench.engine.trades), 2U);
}

TEST(LatestAmendable, IsNotTheReplacementOfAnAsOfTrade) {
  EngineBench bench;
  TradeInput input = plain_trade();
  input.terms.as_of = 'A';
  disseminate_trade(bench.engine, input);
  correct_trade(bench.engine, 1, 99, 1000);
  EXPECT_EQ(latest_amendable(bench.engine.trades), 0U);
}

TEST(LatestAmendable, IsStillChosenInAClosedSession) {
  EngineBench bench;
  trade_at(bench, {100});
  bench.engine.publisher.closed = true;
  EXPECT_EQ(latest_amendable(bench.engine.trades), 1U);
}

}  // namespace
}  // namespace vorbeld
