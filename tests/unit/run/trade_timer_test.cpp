// Generated trades: when one is due, and the gap to the next.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>

#include "run/timers.h"
#include "tests/unit/run/run_fixture.h"

namespace vorbeld {
namespace {

// Has the bench generate a trade every 100 ms or so, the first due at the start.
void start_flow(RunBench& bench) {
  bench.run.flow.rate_ms = 100;
  bench.run.flow.next_trade_ms = start_ms;
}

std::uint64_t trades_after(RunBench& bench, std::uint64_t now_ms) {
  fire_trade(bench.run, now_ms);
  return bench.run.engine.counters.reports;
}

TEST(GeneratedTrade, ComesWhenItsTimeHasCome) {
  RunBench bench;
  start_flow(bench);
  EXPECT_EQ(trades_after(bench, start_ms - 1), 0U);
  EXPECT_EQ(trades_after(bench, start_ms), 1U);
}

TEST(GeneratedTrade, ComesOnceHoweverLate) {
  RunBench bench;
  start_flow(bench);
  EXPECT_EQ(trades_after(bench, start_ms + 100'000), 1U);
  EXPECT_GE(bench.run.flow.next_trade_ms, start_ms + 100'030);
}

TEST(GeneratedTrade, StaysAwayAtRateZero) {
  RunBench bench;
  start_flow(bench);
  bench.run.flow.rate_ms = 0;
  EXPECT_EQ(trades_after(bench, start_ms + 100'000), 0U);
  EXPECT_EQ(bench.run.generator.chance.engine, chance_after(0));
}

TEST(GeneratedTrade, StaysAwayWhilePaused) {
  RunBench bench;
  start_flow(bench);
  bench.run.flow.paused = true;
  EXPECT_EQ(trades_after(bench, start_ms + 100'000), 0U);
  bench.run.flow.paused = false;
  EXPECT_EQ(trades_after(bench, start_ms + 100'000), 1U);
}

TEST(GeneratedTrade, StaysAwayAfterTheClose) {
  RunBench bench;
  start_flow(bench);
  bench.run.engine.session_closed = true;
  fire_trade(bench.run, start_ms + 100'000);
  EXPECT_EQ(bench.run.generator.generated, 0U);
  EXPECT_EQ(bench.run.flow.next_trade_ms, start_ms);
  EXPECT_EQ(bench.run.generator.chance.engine, chance_after(0));
}

TEST(GeneratedTrade, WaitsForTheEndOfTheIdlePeriod) {
  RunBench bench;
  start_flow(bench);
  bench.run.flow.idle_until_ms = start_ms + 3'000;
  EXPECT_EQ(trades_after(bench, start_ms + 2'999), 0U);
  EXPECT_EQ(bench.run.flow.idle_until_ms, start_ms + 3'000);
  EXPECT_EQ(trades_after(bench, start_ms + 3'000), 1U);
  EXPECT_EQ(bench.run.flow.idle_until_ms, 0U);
}

TEST(TradeGap, IsDrawnAfterTheTrade) {
  RunBench bench;
  start_flow(bench);
  RunBench generated;
  for (int i = 0; i < 20; ++i) {
    const std::uint64_t now_ms = bench.run.flow.next_trade_ms;
    fire_trade(bench.run, now_ms);
    generate_trade(generated.run.generator, generated.run.engine, generated.run.pending);
    std::uniform_real_distribution<double> uniform(0.0, 1.0);
    const double u = uniform(generated.run.generator.chance.engine);
    EXPECT_EQ(bench.run.flow.next_trade_ms, now_ms + static_cast<std::uint64_t>(100 * (0.3 + 1.4 * u)));
  }
  EXPECT_EQ(bench.run.generator.chance.engine, generated.run.generator.chance.engine);
}

TEST(TradeGap, LiesBetweenThirtyAndAHundredAndSeventyPercentOfTheRate) {
  RunBench bench;
  start_flow(bench);
  std::uint64_t shortest = 1'000;
  std::uint64_t longest = 0;
  for (int i = 0; i < 2'000; ++i) {
    const std::uint64_t now_ms = bench.run.flow.next_trade_ms;
    fire_trade(bench.run, now_ms);
    const std::uint64_t gap_ms = bench.run.flow.next_trade_ms - now_ms;
    shortest = std::min(shortest, gap_ms);
    longest = std::max(longest, gap_ms);
  }
  EXPECT_GE(shortest, 30U);
  EXPECT_LE(shortest, 33U);
  EXPECT_GE(longest, 166U);
  EXPECT_LT(longest, 170U);
}

TEST(TradeGap, IsCutToWholeMilliseconds) {
  RunBench bench;
  start_flow(bench);
  bench.run.flow.rate_ms = 7;
  fix_chance(bench, 0.0);
  fire_trade(bench.run, start_ms);
  EXPECT_EQ(bench.run.flow.next_trade_ms, start_ms + 2);  // of 2.1
}

TEST(TradeGap, MayBeAsLongAsTheRateAllows) {
  RunBench bench;
  start_flow(bench);
  bench.run.flow.rate_ms = 4'294'967'295;
  fix_chance(bench, 0.5);
  fire_trade(bench.run, start_ms);
  EXPECT_EQ(bench.run.flow.next_trade_ms, start_ms + 4'294'967'295);
}

TEST(TradeGap, IsDrawnAfterThePickOfAHaltedBond) {
  RunBench bench;
  start_flow(bench);
  for (Bond& bond : bench.run.engine.universe.bonds) bond.halted = true;
  EXPECT_EQ(trades_after(bench, start_ms), 0U);
  EXPECT_EQ(bench.run.generator.chance.engine, chance_after(2));
  EXPECT_GE(bench.run.flow.next_trade_ms, start_ms + 30);
}

TEST(TradeGap, IsAllThatIsDrawnWithoutBonds) {
  RunBench bench;
  start_flow(bench);
  bench.run.engine.universe = {};
  EXPECT_EQ(trades_after(bench, start_ms), 0U);
  EXPECT_EQ(bench.run.generator.chance.engine, chance_after(1));
  EXPECT_GE(bench.run.flow.next_trade_ms, start_ms + 30);
}

}  // namespace
}  // namespace vorbeld
