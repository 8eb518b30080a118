// The generator's odd cases, and the trades that it hands over.
#include "trades/generator.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>

#include "tests/unit/common/console.h"
#include "tests/unit/trades/engine_fixture.h"

namespace vorbeld {
namespace {

struct GeneratorBench {
  EngineBench bench;
  Generator generator;
  PendingAmendments pending;
};

void generate(GeneratorBench& bench, int steps = 1) {
  for (int i = 0; i < steps; ++i) generate_trade(bench.generator, bench.bench.engine, bench.pending);
}

// The body of the newest message.
std::string last_body(const GeneratorBench& bench) {
  return last_message(bench.bench).substr(72, 74);
}

// How long ago the newest trade was executed, in seconds; right to the second that its making may have taken.
std::uint64_t last_age_s(GeneratorBench& bench) {
  return wall_ms() / 1000 - record_of(bench.bench, newest_trade(bench.bench.engine.trades)).exec_s;
}

// The numbers of those of 12 trades that carry `mark` at offset `at` of their bodies.
std::string marked(const GeneratorPeriods& periods, std::size_t at, char mark) {
  GeneratorBench bench;
  bench.generator.periods = periods;
  std::string numbers;
  for (int number = 1; number <= 12; ++number) {
    generate(bench);
    if (last_body(bench)[at] == mark) numbers += std::to_string(number) + " ";
  }
  return numbers;
}

TEST(Generator, DrawsNothingWithoutBonds) {
  GeneratorBench bench;
  bench.bench.engine.universe = {};
  generate(bench, 3);
  EXPECT_EQ(bench.generator.generated, 0U);
  EXPECT_TRUE(bench.generator.chance.engine == std::mt19937_64());
}

TEST(Generator, PaysForAHaltedBondWithThePickAlone) {
  GeneratorBench bench;
  bench.generator.periods.cancel_every = 1;
  apple_of(bench.bench).halted = true;
  ford_of(bench.bench).halted = true;
  generate(bench, 3);
  std::mt19937_64 random;
  random.discard(3);
  EXPECT_TRUE(bench.generator.chance.engine == random);
  EXPECT_EQ(bench.generator.generated, 0U);
  EXPECT_EQ(newest_trade(bench.bench.engine.trades), 0U);
  EXPECT_EQ(bench.pending.size(), 0U);
}

TEST(Generator, MakesOnlyPlainTradesByItself) {
  GeneratorBench bench;
  for (int i = 0; i < 300; ++i) {
    generate(bench);
    const std::string body = last_body(bench);
    ASSERT_EQ(body[27], ' ');
    ASSERT_EQ(body[29], ' ');
    ASSERT_EQ(body.substr(44, 4), "    ");
    ASSERT_EQ(body[70], ' ');
    ASSERT_EQ(body[71], 'D');
    ASSERT_EQ(body[73], ' ');
    ASSERT_EQ(last_message(bench.bench).substr(64, 8), "        ");
  }
  EXPECT_EQ(bench.pending.size(), 0U);
  EXPECT_EQ(bench.bench.engine.counters.as_of, 0U);
}

TEST(Generator, ShapesEveryNthTrade) {
  EXPECT_EQ(marked({.asof_every = 4}, 29, 'A'), "4 8 12 ");
  EXPECT_EQ(marked({.reversal_every = 5}, 29, 'R'), "5 10 ");
  EXPECT_EQ(marked({.special_every = 3}, 27, 'Y'), "3 6 9 12 ");
  EXPECT_EQ(marked({.late_every = 6}, 46, 'Z'), "6 12 ");
  EXPECT_EQ(marked({.after_hours_every = 6}, 46, 'T'), "6 12 ");
  EXPECT_EQ(marked({.wavg_every = 5}, 47, 'W'), "5 10 ");
  EXPECT_EQ(marked({.ats_every = 7}, 73, 'Y'), "7 ");
  EXPECT_EQ(marked({.ats_every = 7}, 71, 'T'), "7 ");
}

TEST(Generator, MakesAnAsOfTradeOfOneThatIsAlsoAReversal) {
  EXPECT_EQ(marked({.asof_every = 2, .reversal_every = 3}, 29, 'A'), "2 4 6 8 10 12 ");
  EXPECT_EQ(marked({.asof_every = 2, .reversal_every = 3}, 29, 'R'), "3 9 ");
}

TEST(Generator, MakesALateTradeOfOneThatIsAlsoAfterHours) {
  EXPECT_EQ(marked({.late_every = 2, .after_hours_every = 3}, 46, 'Z'), "2 4 6 8 10 12 ");
  EXPECT_EQ(marked({.late_every = 2, .after_hours_every = 3}, 46, 'T'), "3 9 ");
}

TEST(Generator, ExecutesALateAsOfTradeAnHourAgo) {
  GeneratorBench bench;
  bench.generator.periods = {.asof_every = 1, .late_every = 1};
  generate(bench);
  EXPECT_EQ(last_body(bench)[29], 'A');
  EXPECT_EQ(last_body(bench)[46], 'Z');
  EXPECT_GE(last_age_s(bench), 3600U);
  EXPECT_LE(last_age_s(bench), 3660U);
}

TEST(Generator, ExecutesALateReversalAnHourAgoAndNamesTheReversedDate) {
  GeneratorBench bench;
  bench.generator.periods = {.reversal_every = 1, .late_every = 1};
  generate(bench);
  EXPECT_LE(last_age_s(bench), 3660U);
  EXPECT_NE(last_message(bench.bench).substr(64, 8), "        ");
}

TEST(Generator, LowersASpecialPriceByATenth) {
  GeneratorBench plain;
  GeneratorBench special;
  special.generator.periods.special_every = 1;
  generate(plain);
  generate(special);
  const double price = record_of(plain.bench, 1).price;
  EXPECT_EQ(record_of(special.bench, 1).price, std::round(0.9 * price * 1000) / 1000);
}

TEST(Generator, SchedulesACancelOrACorrection) {
  GeneratorBench bench;
  bench.generator.periods = {.cancel_every = 4, .correct_every = 3};
  generate(bench, 12);
  std::string kinds;
  for (const PendingAmendment& amendment : bench.pending) {
    kinds += (amendment.kind == Amendment::cancel ? 'C' : 'O') + std::to_string(amendment.trade_id);
  }
  EXPECT_EQ(kinds, "O3C4O6C8O9C12");  // the twelfth is both, and only cancelled
}

TEST(Generator, SchedulesFollowUpsAfterOneAndAHalfToThreeSeconds) {
  GeneratorBench bench;
  bench.generator.periods.cancel_every = 1;
  const std::uint64_t before_ms = monotonic_ms();
  generate(bench, 300);
  const std::uint64_t after_ms = monotonic_ms();
  std::uint64_t earliest = ~std::uint64_t{0};
  for (const PendingAmendment& amendment : bench.pending) {
    EXPECT_GE(amendment.due_ms, before_ms + 1500);
    EXPECT_LT(amendment.due_ms, after_ms + 3000);
    earliest = std::min(earliest, amendment.due_ms);
  }
  EXPECT_LT(earliest, bench.pending.back().due_ms + 1500);
}

TEST(Generator, CountsRefusedTradesAndSchedulesTheirFollowUp) {
  GeneratorBench bench;
  bench.generator.periods.cancel_every = 2;
  bench.bench.engine.publisher.closed = true;
  console_of([&] { generate(bench, 2); });
  EXPECT_EQ(bench.generator.generated, 2U);
  ASSERT_EQ(bench.pending.size(), 1U);
  EXPECT_EQ(bench.pending.front().kind, Amendment::cancel);
  EXPECT_EQ(bench.pending.front().trade_id, 0U);
}

TEST(Generator, NamesItselfAsTheSource) {
  GeneratorBench bench;
  open_tape(bench.bench);
  generate(bench);
  EXPECT_EQ(bench.bench.engine.counters.by_venue.at("SYN"), 1U);
  const std::string line = last_tape(bench.bench);
  EXPECT_TRUE(line.ends_with(R"("venue":"SYN","where":"away"})")) << line;
  const std::uint64_t exec_ms = record_of(bench.bench, 1).exec_s * 1000;
  EXPECT_NE(line.find("\"exec_ts_ms\":" + std::to_string(exec_ms) + ","), std::string::npos) << line;
}

TEST(Generator, ReportsAtTheMomentItTrades) {
  GeneratorBench bench;
  open_tape(bench.bench);
  const std::uint64_t before_ms = wall_ms();
  generate(bench);
  const std::string line = last_tape(bench.bench);
  const std::string key = "\"report_lag_ms\":";
  const std::uint64_t lag_ms = std::stoull(line.substr(line.find(key) + key.size()));
  const std::uint64_t report_ms = record_of(bench.bench, 1).exec_s * 1000 + lag_ms;
  EXPECT_GE(report_ms, before_ms);
  EXPECT_LE(report_ms, wall_ms());
}

TEST(Generator, MakesQuantitiesOfFourClasses) {
  GeneratorBench bench;
  int small = 0;
  int middle = 0;
  int large = 0;
  int capped = 0;
  for (std::uint64_t id = 1; id <= 2000; ++id) {
    generate(bench);
    const TradeRecord& record = record_of(bench.bench, id);
    const double quantity = record.quantity;
    const bool high_yield = bench.bench.engine.universe.bonds[record.bond].high_yield;
    const double cap = high_yield ? 1'000'000 : 5'000'000;
    if (quantity < 100'000) {
      ++small;
      ASSERT_TRUE(quantity >= 1000 && std::fmod(quantity, 1000) == 0) << quantity;
    } else if (quantity < 1'000'000) {
      ++middle;
      ASSERT_EQ(std::fmod(quantity, 100'000), 0) << quantity;
    } else if (quantity <= 4'000'000 && std::fmod(quantity, 1'000'000) == 0) {
      ++large;
    } else {
      ++capped;
      ASSERT_TRUE(quantity >= 1.2 * cap && quantity < 4.2 * cap) << quantity;
      ASSERT_TRUE(record.capped);
    }
  }
  // 45, 40, 8 and 7 percent; bounds of more than five standard deviations.
  EXPECT_NEAR(small, 900, 120);
  EXPECT_NEAR(middle, 800, 120);
  EXPECT_NEAR(large, 160, 70);
  EXPECT_NEAR(capped, 140, 65);
}

TEST(Generator, StaysNearTheWalkingMid) {
  GeneratorBench bench;
  for (std::uint64_t id = 1; id <= 500; ++id) {
    const double before[] = {apple_of(bench.bench).mid, ford_of(bench.bench).mid};
    generate(bench);
    const TradeRecord& record = record_of(bench.bench, id);
    const double mid = bench.bench.engine.universe.bonds[record.bond].mid;
    ASSERT_LE(std::fabs(mid / before[record.bond] - 1), 0.0002 + 1e-12);
    ASSERT_LE(std::fabs(record.price - mid), 0.0015 * mid + 0.0005 + 1e-9);
    ASSERT_EQ(before[1 - record.bond], bench.bench.engine.universe.bonds[1 - record.bond].mid);
  }
}

// Of two records with one CUSIP the second is picked by its position and walks, but its trades go to the first.
TEST(Generator, TradesADoubleCusipAtThePickedMidInTheFirstBook) {
  GeneratorBench bench;
  bench.bench.engine.universe = {};
  add_bond(bench.bench.engine.universe, apple());
  Bond second = apple();
  second.mid = 50;
  second.high_yield = true;
  second.symbol = "SECOND";
  add_bond(bench.bench.engine.universe, std::move(second));
  apple_of(bench.bench).halted = true;
  while (newest_trade(bench.bench.engine.trades) == 0) generate(bench);
  EXPECT_NEAR(record_of(bench.bench, 1).price, 50, 0.1);
  EXPECT_EQ(apple_of(bench.bench).prints, 1U);
  EXPECT_EQ(bench.bench.engine.universe.bonds[1].prints, 0U);
  EXPECT_EQ(last_message(bench.bench).substr(24, 14), "AAPL 3.85 43  ");
  EXPECT_NE(bench.bench.engine.universe.bonds[1].mid, 50);
  EXPECT_EQ(apple_of(bench.bench).mid, 98.25);
}

}  // namespace
}  // namespace vorbeld
