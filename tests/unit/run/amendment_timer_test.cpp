// Pending cancels and corrections: when they fall due, in which order, and what chance makes of a correction.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "run/timers.h"
#include "tests/unit/common/console.h"
#include "tests/unit/run/run_fixture.h"
#include "trades/session.h"

namespace vorbeld {
namespace {

using Kinds = std::vector<std::string>;

const TradeRecord& record_of(RunBench& bench, std::uint64_t trade_id) {
  return trade(bench.run.engine.trades, trade_id);
}

TEST(DueAmendment, CancelsWhenItsTimeHasCome) {
  RunBench bench;
  send_trade(bench);
  bench.run.pending = {{1'000, 'C', 1}};
  carry_out_amendments(bench.run, 999);
  EXPECT_FALSE(record_of(bench, 1).cancelled);
  carry_out_amendments(bench.run, 1'000);
  EXPECT_TRUE(record_of(bench, 1).cancelled);
  EXPECT_TRUE(bench.run.pending.empty());
  EXPECT_EQ(sent_kinds(bench), (Kinds{"TM", "TN"}));
  EXPECT_EQ(bench.run.generator.chance.engine, chance_after(0));
}

TEST(DueAmendment, CorrectsUnderAnyOtherKind) {
  for (const char kind : {'O', 'c', '\0', 'X'}) {
    RunBench bench;
    send_trade(bench);
    bench.run.pending = {{1'000, kind, 1}};
    carry_out_amendments(bench.run, 1'000);
    EXPECT_EQ(sent_kinds(bench), (Kinds{"TM", "TO"}));
  }
}

TEST(DueAmendment, WaitsBehindOneThatFallsDueLater) {
  RunBench bench;
  for (int i = 0; i < 3; ++i) send_trade(bench);
  bench.run.pending = {{1'000, 'C', 1}, {3'000, 'C', 2}, {2'000, 'C', 3}};
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
  bench.run.pending = {{1, 'C', 3}, {1, 'O', 2}, {1, 'C', 1}};
  carry_out_amendments(bench.run, 5);
  EXPECT_EQ(sent_kinds(bench), (Kinds{"TM", "TM", "TM", "TN", "TO", "TN"}));
}

TEST(DueAmendment, OfATradeThatIsNotThereDoesNothing) {
  RunBench bench;
  send_trade(bench);
  bench.run.pending = {{1, 'C', 0}, {1, 'O', 0}, {1, 'C', 2}, {1, 'O', 2}, {1, 'O', 18'446'744'073'709'551'615U}};
  carry_out_amendments(bench.run, 5);
  EXPECT_TRUE(bench.run.pending.empty());
  EXPECT_EQ(bench.run.publisher.messages, 1U);
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
    bench.run.pending = {{1, 'O', 1}};
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
  bench.run.pending = {{1, 'O', 1}};
  carry_out_amendments(bench.run, 1);
  EXPECT_EQ(record_of(bench, 3).quantity, 12'000'000.0);
  EXPECT_EQ(record_of(bench, 3).price, 100.0);
  fix_chance(bench, std::nextafter(0.5, 0.0));
  bench.run.pending = {{1, 'O', 2}};
  carry_out_amendments(bench.run, 1);
  EXPECT_EQ(record_of(bench, 4).quantity, 6'000'000.0);
}

TEST(DueCorrection, MovesThePriceByAFifthOfAPercentAtMost) {
  RunBench bench;
  send_trade(bench, 100);
  send_trade(bench, 100);
  fix_chance(bench, 0.0);
  bench.run.pending = {{1, 'O', 1}};
  carry_out_amendments(bench.run, 1);
  EXPECT_EQ(record_of(bench, 3).price, 99.8);
  fix_chance(bench, std::nextafter(1.0, 0.0));
  bench.run.pending = {{1, 'O', 2}};
  carry_out_amendments(bench.run, 1);
  EXPECT_EQ(record_of(bench, 4).price, 100.2);
}

TEST(DueCorrection, RoundsHalvesAwayFromZero) {
  RunBench bench;
  send_trade(bench, 0.0625);  // 62.5 thousandths
  send_trade(bench, -0.0625);
  fix_chance(bench, 0.5);
  bench.run.pending = {{1, 'O', 1}, {1, 'O', 2}};
  carry_out_amendments(bench.run, 1);
  EXPECT_EQ(record_of(bench, 3).price, 0.063);
  EXPECT_EQ(record_of(bench, 4).price, -0.063);
}

TEST(DueCorrection, DrawsEvenWhereItIsThenRefused) {
  RunBench bench;
  send_trade(bench);
  cancel_trade(bench.run.engine, 1);
  bench.run.pending = {{1, 'O', 1}};
  carry_out_amendments(bench.run, 1);
  EXPECT_EQ(bench.run.engine.counters.corrections, 0U);
  EXPECT_EQ(bench.run.generator.chance.engine, chance_after(2));
}

TEST(DueCorrection, IsRefusedAfterTheClose) {
  RunBench bench;
  send_trade(bench);
  console_of([&] { close_session(bench.run.engine); });
  bench.run.pending = {{1, 'O', 1}, {1, 'C', 1}};
  carry_out_amendments(bench.run, 1);
  EXPECT_EQ(bench.run.engine.counters.corrections + bench.run.engine.counters.cancels, 0U);
  EXPECT_EQ(bench.run.generator.chance.engine, chance_after(2));
}

}  // namespace
}  // namespace vorbeld
