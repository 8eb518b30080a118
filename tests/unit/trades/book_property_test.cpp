// Books over random histories of trades, cancels and corrections against the plain replay of the day.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "tests/unit/trades/book_model.h"
#include "tests/unit/trades/engine_fixture.h"
#include "trades/amendment.h"

namespace vorbeld {
namespace {

// How often each kind of event happens in a history, in percent; the rest are trades.
struct Mix {
  int steps;
  unsigned cancels;
  unsigned corrections;
  unsigned odd_prices;  // of all prices
  unsigned bonds;       // how many are traded, at most three
};

struct History {
  std::mt19937 random;
  Mix mix;
  EngineBench bench;
  BookModel model;
};

unsigned below(History& history, unsigned count) {
  return static_cast<unsigned>(history.random() % count);
}

bool chance(History& history, unsigned percent) {
  return below(history, 100) < percent;
}

// Prices that often repeat, and now and then one that compares in its own way.
double any_price(History& history) {
  using Limits = std::numeric_limits<double>;
  static constexpr std::array odd{Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity(), 0.0, -0.0, -1.0, 1e300};
  if (chance(history, history.mix.odd_prices)) return odd[below(history, odd.size())];
  return 99 + below(history, 21) / 10.0;
}

// The cusip of the bond at a position: the second record with the first bond's is never found, the last is added by its
// first trade.
std::string_view cusip_of(std::size_t position) {
  static constexpr std::array<std::string_view, 4> cusips{apple_cusip, ford_cusip, apple_cusip, "46647PAP1"};
  return cusips[position];
}

void trade_once(History& history) {
  static constexpr std::array<std::size_t, 3> positions{0, 1, 3};
  ModelTrade trade;
  trade.bond = positions[below(history, history.mix.bonds)];
  trade.price = any_price(history);
  trade.exec_s = noon_s + below(history, 40);
  trade.yield_wanted = !chance(history, 10);

  TradeInput input = plain_trade(trade.price, cusip_of(trade.bond));
  input.terms.quantity = 1000 * (1 + below(history, 3000));
  input.terms.exec_s = trade.exec_s;
  input.terms.yield_wanted = trade.yield_wanted;
  switch (below(history, 16)) {
    case 0:
      input.terms.as_of = chance(history, 50) ? 'A' : 'R';
      trade.as_of_blank = false;
      trade.eligible = false;
      break;
    case 1:
      input.terms.special = 'Y';
      trade.eligible = false;
      break;
    case 2:
      input.terms.sale_condition_3 = 'T';
      trade.eligible = false;
      break;
    case 3:
      input.terms.sale_condition_4 = 'W';
      trade.eligible = false;
      break;
    case 4:
      input.terms.sale_condition_3 = 'Z';
      break;
    default:
      break;
  }
  const char change = add_trade(history.model, trade);
  disseminate_trade(history.bench.engine, input);
  EXPECT_EQ(last_message(history.bench).back(), change);
}

// A random trade, or often the newest that is live.
std::uint64_t any_target(History& history) {
  const auto trades = static_cast<unsigned>(history.model.trades.size());
  return chance(history, 40) ? walk_to_amendable(history.model) : 1 + below(history, trades);
}

void expect_amendment_message(const History& history, std::uint64_t trade_id, char change) {
  const std::size_t bond = history.model.trades[trade_id - 1].bond;
  const std::string message = last_message(history.bench);
  EXPECT_EQ(message.substr(message.size() - 76), price_block(history.model.books[bond].prices, change));
}

void cancel_once(History& history) {
  const std::uint64_t trade_id = any_target(history);
  if (trade_id == 0) return;
  if (history.model.trades[trade_id - 1].cancelled) {
    EXPECT_FALSE(cancel_trade(history.bench.engine, trade_id));
    return;
  }
  EXPECT_TRUE(cancel_trade(history.bench.engine, trade_id));
  const char change = cancel_trade(history.model, trade_id);
  expect_amendment_message(history, trade_id, change);
}

void correct_once(History& history) {
  const std::uint64_t trade_id = any_target(history);
  if (trade_id == 0) return;
  const double price = any_price(history);
  const double quantity = 1000 * (1 + below(history, 9000));
  if (history.model.trades[trade_id - 1].cancelled) {
    EXPECT_FALSE(correct_trade(history.bench.engine, trade_id, price, quantity));
    return;
  }
  EXPECT_TRUE(correct_trade(history.bench.engine, trade_id, price, quantity));
  const char change = correct_trade(history.model, trade_id, price);
  expect_amendment_message(history, trade_id, change);
}

void expect_same_books(History& history) {
  const auto& bonds = history.bench.engine.universe.bonds;
  for (std::size_t i = 0; i < bonds.size(); ++i)
    EXPECT_TRUE(same_book(bonds[i], history.model.books[i])) << "bond " << i;
  EXPECT_EQ(newest_trade(history.bench.engine.trades), history.model.trades.size());
  EXPECT_EQ(latest_amendable(history.bench.engine.trades), walk_to_amendable(history.model));
}

void live_through(std::uint32_t seed, const Mix& mix) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  History history{std::mt19937(seed), mix, {}, {{3.85, 4.35, 3.85, 5.0}, std::vector<ModelBook>(4), {}}};
  add_bond(history.bench.engine.universe, apple());
  for (int step = 0; step < mix.steps && !::testing::Test::HasFailure(); ++step) {
    SCOPED_TRACE("step " + std::to_string(step));
    const unsigned event = below(history, 100);
    if (history.model.trades.empty() || event >= mix.cancels + mix.corrections) {
      trade_once(history);
    } else if (event < mix.cancels) {
      cancel_once(history);
    } else {
      correct_once(history);
    }
    expect_same_books(history);
  }
}

TEST(BookProperty, ShortHistoriesOfAllEventsEqualTheReplay) {
  for (std::uint32_t seed = 1; seed <= 400; ++seed) {
    live_through(seed, {.steps = 60, .cancels = 25, .corrections = 20, .odd_prices = 30, .bonds = 3});
  }
}

// So many cancels that books run empty and start again.
TEST(BookProperty, BooksThatRunEmptyEqualTheReplay) {
  for (std::uint32_t seed = 1001; seed <= 1200; ++seed) {
    live_through(seed, {.steps = 80, .cancels = 55, .corrections = 10, .odd_prices = 40, .bonds = 1});
  }
}

TEST(BookProperty, LongHistoriesOfOneBondEqualTheReplay) {
  for (std::uint32_t seed = 2001; seed <= 2003; ++seed) {
    live_through(seed, {.steps = 2500, .cancels = 20, .corrections = 20, .odd_prices = 1, .bonds = 1});
  }
}

TEST(BookProperty, CorrectionsOfCorrectionsEqualTheReplay) {
  for (std::uint32_t seed = 3001; seed <= 3100; ++seed) {
    live_through(seed, {.steps = 80, .cancels = 5, .corrections = 70, .odd_prices = 20, .bonds = 2});
  }
}

}  // namespace
}  // namespace vorbeld
