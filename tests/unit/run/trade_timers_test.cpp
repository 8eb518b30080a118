// Generated trades and pending amendments: when each is due, in which order, and what chance makes of a gap or a
// correction.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "run/loop.h"
#include "tests/unit/common/console.h"
#include "tests/unit/run/run_fixture.h"
#include "trades/session.h"

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
  bench.run.engine.publisher.closed = true;
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

using Kinds = std::vector<std::string>;

const TradeRecord& record_of(RunBench& bench, std::uint64_t trade_id) {
  return trade(bench.run.engine.trades, trade_id);
}

TEST(DueAmendment, CancelsWhenItsTimeHasCome) {
  RunBench bench;
  send_trade(bench);
  bench.run.pending = {{1'000, Amendment::cancel, 1}};
  carry_out_amendments(bench.run, 999);
  EXPECT_FALSE(record_of(bench, 1).cancelled);
  carry_out_amendments(bench.run, 1'000);
  EXPECT_TRUE(record_of(bench, 1).cancelled);
  EXPECT_TRUE(bench.run.pending.empty());
  EXPECT_EQ(sent_kinds(bench), (Kinds{"TM", "TN"}));
  EXPECT_EQ(bench.run.generator.chance.engine, chance_after(0));
}

TEST(DueAmendment, Corrects) {
  RunBench bench;
  send_trade(bench);
  bench.run.pending = {{1'000, Amendment::correction, 1}};
  carry_out_amendments(bench.run, 1'000);
  EXPECT_TRUE(bench.run.pending.empty());
  EXPECT_EQ(sent_kinds(bench), (Kinds{"TM", "TO"}));
}

TEST(DueAmendment, WaitsBehindOneThatFallsDueLater) {
  RunBench bench;
  for (int i = 0; i < 3; ++i) send_trade(bench);
  bench.run.pending = {{1'000, Amendment::cancel, 1}, {3'000, Amendment::cancel, 2}, {2'000, Amendment::cancel, 3}};
  carry_out_amendments(bench.run, 2'500);
  EXPECT_TRUE(record_of(bench, 1).cancelled);
  EXPECT_FALSE(record_of(bench, 3).cancelled);
  EXPECT_EQ(bench.run.pending.size(), 2U);
  carry_out_amendments(bench.run, 3'000);
  EXPECT_TRUE(record_of(bench, 2).cancelled);
  EXPECT_TRUE(record_of(bench, 3).cancelled);
}

TEST(DueAmendment, IsCarriedOutInTheOrderOfTheQueue) {
  RunBench bench;
  for (int i = 0; i < 3; ++i) send_trade(bench);
  bench.run.pending = {{1, Amendment::cancel, 3}, {1, Amendment::correction, 2}, {1, Amendment::cancel, 1}};
  carry_out_amendments(bench.run, 5);
  EXPECT_EQ(sent_kinds(bench), (Kinds{"TM", "TM", "TM", "TN", "TO", "TN"}));
}

TEST(DueAmendment, OfATradeThatIsNotThereDoesNothing) {
  RunBench bench;
  send_trade(bench);
  bench.run.pending = {{1, Amendment::cancel, 0},
                       {1, Amendment::correction, 0},
                       {1, Amendment::cancel, 2},
                       {1, Amendment::correction, 2},
                       {1, Amendment::correction, 18'446'744'073'709'551'615U}};
  carry_out_amendments(bench.run, 5);
  EXPECT_TRUE(bench.run.pending.empty());
  EXPECT_EQ(last_sequence(bench.run.publisher), 1U);
  EXPECT_EQ(bench.run.generator.chance.engine, chance_after(0));
}

TEST(DueCorrection, DrawsWhetherTheQuantityDoublesAndThenThePrice) {
  for (unsigned seed = 1; seed <= 50; ++seed) {
    RunBench bench;
    bench.run.generator.chance.engine.seed(seed);
    std::mt19937_64 chance(seed);
    std::uniform_real_distribution<double> uniform(0.0, 1.0);
    const double u1 = uniform(chance);
    const double u2 = uniform(chance);
    send_trade(bench, 98.765, 3'000);
    bench.run.pending = {{1, Amendment::correction, 1}};
    carry_out_amendments(bench.run, 1);
    EXPECT_EQ(record_of(bench, 2).quantity, u1 >= 0.5 ? 6'000.0 : 3'000.0) << "seed " << seed;
    EXPECT_EQ(record_of(bench, 2).price, std::round((1 + 0.004 * (u2 - 0.5)) * 98.765 * 1000) / 1000)
        << "seed " << seed;
    EXPECT_EQ(bench.run.generator.chance.engine, chance) << "seed " << seed;
  }
}

TEST(DueCorrection, DoublesTheQuantityFromOneHalfOn) {
  RunBench bench;
  send_trade(bench, 100, 6'000'000);
  send_trade(bench, 100, 6'000'000);
  fix_chance(bench, 0.5);
  bench.run.pending = {{1, Amendment::correction, 1}};
  carry_out_amendments(bench.run, 1);
  EXPECT_EQ(record_of(bench, 3).quantity, 12'000'000.0);
  EXPECT_EQ(record_of(bench, 3).price, 100.0);
  fix_chance(bench, std::nextafter(0.5, 0.0));
  bench.run.pending = {{1, Amendment::correction, 2}};
  carry_out_amendments(bench.run, 1);
  EXPECT_EQ(record_of(bench, 4).quantity, 6'000'000.0);
}

TEST(DueCorrection, MovesThePriceByAFifthOfAPercentAtMost) {
  RunBench bench;
  send_trade(bench, 100);
  send_trade(bench, 100);
  fix_chance(bench, 0.0);
  bench.run.pending = {{1, Amendment::correction, 1}};
  carry_out_amendments(bench.run, 1);
  EXPECT_EQ(record_of(bench, 3).price, 99.8);
  fix_chance(bench, std::nextafter(1.0, 0.0));
  bench.run.pending = {{1, Amendment::correction, 2}};
  carry_out_amendments(bench.run, 1);
  EXPECT_EQ(record_of(bench, 4).price, 100.2);
}

TEST(DueCorrection, RoundsHalvesAwayFromZero) {
  RunBench bench;
  send_trade(bench, 0.0625);  // 62.5 thousandths
  send_trade(bench, -0.0625);
  fix_chance(bench, 0.5);
  bench.run.pending = {{1, Amendment::correction, 1}, {1, Amendment::correction, 2}};
  carry_out_amendments(bench.run, 1);
  EXPECT_EQ(record_of(bench, 3).price, 0.063);
  EXPECT_EQ(record_of(bench, 4).price, -0.063);
}

TEST(DueCorrection, DrawsEvenWhereItIsThenRefused) {
  RunBench bench;
  send_trade(bench);
  cancel_trade(bench.run.engine, 1);
  bench.run.pending = {{1, Amendment::correction, 1}};
  carry_out_amendments(bench.run, 1);
  EXPECT_EQ(bench.run.engine.counters.corrections, 0U);
  EXPECT_EQ(bench.run.generator.chance.engine, chance_after(2));
}

TEST(DueCorrection, IsRefusedAfterTheClose) {
  RunBench bench;
  send_trade(bench);
  console_of([&] { close_session(bench.run.engine); });
  bench.run.pending = {{1, Amendment::correction, 1}, {1, Amendment::cancel, 1}};
  carry_out_amendments(bench.run, 1);
  EXPECT_EQ(bench.run.engine.counters.corrections + bench.run.engine.counters.cancels, 0U);
  EXPECT_EQ(bench.run.generator.chance.engine, chance_after(2));
}

}  // namespace
}  // namespace vorbeld
