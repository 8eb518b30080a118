// The choice of the latest trade that can still be amended.
#include <gtest/gtest.h>

#include "tests/unit/trades/engine_fixture.h"
#include "trades/amendment.h"

namespace vorbeld {
namespace {

TEST(LatestAmendable, IsNothingWithoutTrades) {
  EngineBench bench;
  EXPECT_EQ(latest_amendable(bench.engine), 0U);
}

TEST(LatestAmendable, IsTheNewestTradeOfAnyBond) {
  EngineBench bench;
  trade_at(bench, {100, 101});
  EXPECT_EQ(latest_amendable(bench.engine), 2U);
  disseminate_trade(bench.engine, plain_trade(50, ford_cusip));
  EXPECT_EQ(latest_amendable(bench.engine), 3U);
}

TEST(LatestAmendable, PassesOverCancelledTrades) {
  EngineBench bench;
  trade_at(bench, {100, 101, 102});
  cancel_trade(bench.engine, 3);
  EXPECT_EQ(latest_amendable(bench.engine), 2U);
  cancel_trade(bench.engine, 1);
  EXPECT_EQ(latest_amendable(bench.engine), 2U);
  cancel_trade(bench.engine, 2);
  EXPECT_EQ(latest_amendable(bench.engine), 0U);
}

TEST(LatestAmendable, PassesOverAsOfTradesAndReversals) {
  EngineBench bench;
  trade_at(bench, {100});
  for (const char as_of : {'A', 'R', 'x'}) {
    TradeInput input = plain_trade();
    input.terms.as_of = as_of;
    disseminate_trade(bench.engine, input);
  }
  EXPECT_EQ(latest_amendable(bench.engine), 1U);
}

TEST(LatestAmendable, TakesTradesThatAreNoPrints) {
  EngineBench bench;
  TradeInput input = plain_trade();
  input.terms.special = 'Y';
  disseminate_trade(bench.engine, input);
  EXPECT_EQ(latest_amendable(bench.engine), 1U);
}

TEST(LatestAmendable, IsTheReplacementAfterACorrection) {
  EngineBench bench;
  trade_at(bench, {100, 101});
  correct_trade(bench.engine, 1, 99, 1000);
  EXPECT_EQ(latest_amendable(bench.engine), 3U);
  cancel_trade(bench.engine, 3);
  EXPECT_EQ(latest_amendable(bench.engine), 2U);
}

TEST(LatestAmendable, IsNotTheReplacementOfAnAsOfTrade) {
  EngineBench bench;
  TradeInput input = plain_trade();
  input.terms.as_of = 'A';
  disseminate_trade(bench.engine, input);
  correct_trade(bench.engine, 1, 99, 1000);
  EXPECT_EQ(latest_amendable(bench.engine), 0U);
}

TEST(LatestAmendable, IsStillChosenInAClosedSession) {
  EngineBench bench;
  trade_at(bench, {100});
  bench.engine.session_closed = true;
  EXPECT_EQ(latest_amendable(bench.engine), 1U);
}

}  // namespace
}  // namespace vorbeld
