// The generator's choices, step by step, against an independent reading of its rules on its own random engine.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>

#include "tests/unit/trades/engine_fixture.h"
#include "tests/unit/trades/reference_generator.h"
#include "trades/generator.h"

namespace vorbeld {
namespace {

// A generator and its reference on the same bonds, seed and periods.
struct Pair {
  EngineBench bench;
  Generator generator;
  PendingAmendments pending;
  ReferenceGenerator reference;

  Pair(std::uint32_t seed, const GeneratorPeriods& periods) {
    generator.chance.engine.seed(seed);
    generator.periods = periods;
    reference.random.seed(seed);
    reference.periods = periods;
    for (const Bond& bond : bench.engine.universe.bonds) reference.bonds.push_back({bond.mid, bond.high_yield});
  }
};

std::string date_of(std::uint64_t utc_s) {
  return reference_date_time(static_cast<std::int64_t>(utc_s)).substr(0, 8);
}

// The attributes of a body or of a reference, in one text that is easy to compare.
std::string attributes_in(const std::string& body) {
  return std::string{body[26], body[27], body[28], body[29], body[46],
                     body[47], body[70], body[71], body[72], body[73]};
}
std::string attributes_of(const ReferenceTrade& trade) {
  return std::string{trade.remuneration,
                     trade.special,
                     trade.side,
                     trade.as_of,
                     trade.sale_condition_3,
                     trade.sale_condition_4,
                     ' ',
                     trade.reporting_party,
                     trade.contra_party,
                     trade.ats};
}

void expect_times(const ReferenceTrade& expected, const TradeRecord& record, const std::string& message,
                  std::uint64_t before_s, std::uint64_t after_s) {
  const std::uint64_t now_s = record.exec_s + expected.executed_ago_s;
  EXPECT_GE(now_s, before_s);
  EXPECT_LE(now_s, after_s);
  EXPECT_EQ(message.substr(72 + 48, 8), date_of(now_s + 86400));
  const std::string reversed = expected.reversed_ago_s == 0 ? "        " : date_of(now_s - expected.reversed_ago_s);
  EXPECT_EQ(message.substr(64, 8), reversed);
}

void expect_follow_up(const ReferenceTrade& expected, const Pair& pair, std::size_t pending_before,
                      std::uint64_t trade_id, std::uint64_t before_ms, std::uint64_t after_ms) {
  ASSERT_EQ(pair.pending.size(), pending_before + (expected.follow_up == '\0' ? 0 : 1));
  if (expected.follow_up == '\0') return;
  const PendingAmendment& amendment = pair.pending.back();
  EXPECT_EQ(amendment.kind == Amendment::cancel ? 'C' : 'O', expected.follow_up);
  EXPECT_EQ(amendment.trade_id, trade_id);
  EXPECT_GE(amendment.due_ms, before_ms + expected.follow_up_in_ms);
  EXPECT_LE(amendment.due_ms, after_ms + expected.follow_up_in_ms);
}

void expect_same_step(Pair& pair) {
  const std::uint64_t trades_before = newest_trade(pair.bench.engine.trades);
  const std::size_t pending_before = pair.pending.size();
  const std::uint64_t before_ms = monotonic_ms();
  const std::uint64_t before_s = wall_ms() / 1000;
  generate_trade(pair.generator, pair.bench.engine, pair.pending);
  const std::uint64_t after_s = wall_ms() / 1000;
  const std::uint64_t after_ms = monotonic_ms();

  const std::optional<ReferenceTrade> expected = reference_step(pair.reference);
  EXPECT_TRUE(pair.generator.chance.engine == pair.reference.random) << "another number of draws";
  EXPECT_EQ(pair.generator.generated, pair.reference.count);
  const std::uint64_t trade_id = newest_trade(pair.bench.engine.trades);
  ASSERT_EQ(trade_id, trades_before + (expected ? 1 : 0));
  if (!expected) {
    EXPECT_EQ(pair.pending.size(), pending_before);
    return;
  }

  const TradeRecord& record = record_of(pair.bench, trade_id);
  const std::string message = last_message(pair.bench);
  EXPECT_EQ(record.bond, expected->bond);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(record.price), std::bit_cast<std::uint64_t>(expected->price));
  EXPECT_EQ(std::bit_cast<std::uint64_t>(record.quantity), std::bit_cast<std::uint64_t>(expected->quantity));
  EXPECT_TRUE(record.yield_wanted);
  EXPECT_EQ(attributes_in(message.substr(72, 74)), attributes_of(*expected));
  expect_times(*expected, record, message, before_s, after_s);
  expect_follow_up(*expected, pair, pending_before, trade_id, before_ms, after_ms);
  const double mid = pair.bench.engine.universe.bonds[expected->bond].mid;
  EXPECT_EQ(std::bit_cast<std::uint64_t>(mid), std::bit_cast<std::uint64_t>(pair.reference.bonds[expected->bond].mid));
}

void expect_same_steps(Pair& pair, int steps) {
  for (int step = 0; step < steps && !::testing::Test::HasFailure(); ++step) {
    SCOPED_TRACE("step " + std::to_string(step));
    expect_same_step(pair);
  }
}

TEST(Draw, IsOneOutputOfTheEngineBelowOne) {
  Chance chance;
  std::mt19937_64 random;
  for (int i = 0; i < 100'000; ++i) {
    const double drawn = draw(chance);
    ASSERT_EQ(drawn, next_draw(random));
    ASSERT_GE(drawn, 0);
    ASSERT_LT(drawn, 1);
  }
  EXPECT_TRUE(chance.engine == random);
}

TEST(GeneratorDraws, OfPlainTradesFollowTheRules) {
  for (const std::uint32_t seed : {0U, 1U, 7U, 4294967295U}) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Pair pair(seed, {});
    expect_same_steps(pair, 1500);
  }
}

TEST(GeneratorDraws, OfAllKindsOfTradesFollowTheRules) {
  const GeneratorPeriods periods{.cancel_every = 5,
                                 .correct_every = 3,
                                 .asof_every = 11,
                                 .reversal_every = 7,
                                 .special_every = 4,
                                 .late_every = 9,
                                 .after_hours_every = 6,
                                 .wavg_every = 8,
                                 .ats_every = 2};
  Pair pair(7, periods);
  expect_same_steps(pair, 6000);
}

TEST(GeneratorDraws, OfRandomPeriodsAndHaltsFollowTheRules) {
  for (std::uint32_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto period = [&random] { return static_cast<std::uint32_t>(random() % 5); };
    Pair pair(seed, {period(), period(), period(), period(), period(), period(), period(), period(), period()});
    for (int burst = 0; burst < 10; ++burst) {
      const std::size_t position = random() % pair.reference.bonds.size();
      pair.reference.bonds[position].halted = random() % 2 == 0;
      pair.bench.engine.universe.bonds[position].halted = pair.reference.bonds[position].halted;
      expect_same_steps(pair, 12);
    }
  }
}

TEST(GeneratorDraws, PickFromBondsThatReportsAdded) {
  Pair pair(3, {});
  for (int i = 0; i < 5; ++i) {
    disseminate_trade(pair.bench.engine, plain_trade(100, "REPORTED" + std::to_string(i)));
    pair.reference.bonds.push_back({100, false});
    expect_same_steps(pair, 40);
  }
}

}  // namespace
}  // namespace vorbeld
