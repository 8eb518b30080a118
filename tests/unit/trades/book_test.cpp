// How single trades move the book of the day, and the change indicator that each sends.
#include "trades/book.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "tests/unit/trades/engine_fixture.h"

namespace vorbeld {
namespace {

constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();
constexpr double infinite = std::numeric_limits<double>::infinity();

// Disseminates a trade and returns the change indicator of its message.
char change_of(EngineBench& bench, double price, std::uint64_t exec_s) {
  TradeInput input = plain_trade(price);
  input.terms.exec_s = exec_s;
  disseminate_trade(bench.engine, input);
  return last_message(bench).back();
}

char change_of(EngineBench& bench, const TradeInput& input) {
  disseminate_trade(bench.engine, input);
  return last_message(bench).back();
}

// True when the trade leaves the book of a bond that traded at 100 as it is.
bool is_left_out(const TradeTerms& terms) {
  EngineBench bench;
  trade_at(bench, {100});
  TradeInput input = plain_trade();
  input.terms = terms;
  input.terms.price = 200;
  input.terms.exec_s = noon_s + 10;
  const char change = change_of(bench, input);
  const Bond& bond = apple_of(bench);
  const bool untouched = bond.prints == 1 && bond.prices.high == 100 && bond.prices.last == 100;
  const bool moved = bond.prints == 2 && bond.prices.high == 200 && bond.prices.last == 200;
  EXPECT_TRUE(untouched || moved);
  EXPECT_EQ(change, untouched ? '0' : '5');
  EXPECT_EQ(record_of(bench, 2).last_sale_eligible, moved);
  return untouched;
}

TEST(Book, IsSetByTheFirstPrintOfTheDay) {
  EngineBench bench;
  EXPECT_EQ(change_of(bench, 96.25, noon_s), '7');
  const Bond& bond = apple_of(bench);
  EXPECT_TRUE(bond.prices.traded);
  EXPECT_EQ(bond.prices.high, 96.25);
  EXPECT_EQ(bond.prices.low, 96.25);
  EXPECT_EQ(bond.prices.last, 96.25);
  EXPECT_EQ(bond.prices.high_yield_value, 4.0);
  EXPECT_EQ(bond.prices.low_yield_value, 4.0);
  EXPECT_EQ(bond.prices.last_yield_value, 4.0);
  EXPECT_EQ(bond.last_exec_s, noon_s);
  EXPECT_EQ(bond.prints, 1U);
}

TEST(Book, ChangeAddsUpWhatMoved) {
  EngineBench bench;
  change_of(bench, 100, noon_s);
  EXPECT_EQ(change_of(bench, 101, noon_s + 1), '5');
  EXPECT_EQ(change_of(bench, 99, noon_s + 2), '3');
  EXPECT_EQ(change_of(bench, 100, noon_s + 3), '1');
  EXPECT_EQ(change_of(bench, 100, noon_s + 4), '0');
  EXPECT_EQ(apple_of(bench).prints, 5U);
}

TEST(Book, KeepsTheYieldOfEachPrice) {
  EngineBench bench;
  trade_at(bench, {96.25, 385, 77, 96.25});
  const DayPrices& prices = apple_of(bench).prices;
  EXPECT_EQ(prices.high, 385);
  EXPECT_EQ(prices.high_yield_value, 1.0);
  EXPECT_EQ(prices.low, 77);
  EXPECT_EQ(prices.low_yield_value, 5.0);
  EXPECT_EQ(prices.last_yield_value, 4.0);
}

TEST(Book, AnEarlierExecutionMovesHighAndLowButNotTheLast) {
  EngineBench bench;
  change_of(bench, 100, noon_s);
  EXPECT_EQ(change_of(bench, 105, noon_s - 1), '4');
  EXPECT_EQ(change_of(bench, 95, noon_s - 1), '2');
  EXPECT_EQ(change_of(bench, 101, noon_s - 1), '0');
  const Bond& bond = apple_of(bench);
  EXPECT_EQ(bond.prices.last, 100);
  EXPECT_EQ(bond.last_exec_s, noon_s);
  EXPECT_EQ(bond.prints, 4U);
}

TEST(Book, AnExecutionInTheSameSecondReplacesTheLast) {
  EngineBench bench;
  change_of(bench, 100, noon_s);
  EXPECT_EQ(change_of(bench, 99.5, noon_s), '3');
  EXPECT_EQ(apple_of(bench).prices.last, 99.5);
}

TEST(Book, TheFirstPrintSetsItsPriceWhateverItIs) {
  EngineBench bench;
  EXPECT_EQ(change_of(bench, -5, noon_s), '7');
  EXPECT_EQ(apple_of(bench).prices.high, -5);
  EXPECT_EQ(change_of(bench, -4, noon_s), '5');
  EXPECT_EQ(change_of(bench, 0.0, noon_s), '5');
  EXPECT_EQ(change_of(bench, -0.0, noon_s), '0');
}

TEST(Book, NothingComparesAboveOrBelowANan) {
  EngineBench bench;
  EXPECT_EQ(change_of(bench, nan_value, noon_s), '7');
  EXPECT_EQ(change_of(bench, 100, noon_s), '1');
  EXPECT_TRUE(std::isnan(apple_of(bench).prices.high));
  EXPECT_EQ(apple_of(bench).prices.last, 100);
  EXPECT_EQ(change_of(bench, nan_value, noon_s), '1');
  EXPECT_EQ(change_of(bench, nan_value, noon_s), '1');
}

TEST(Book, TakesInfinities) {
  EngineBench bench;
  change_of(bench, 100, noon_s);
  EXPECT_EQ(change_of(bench, infinite, noon_s), '5');
  EXPECT_EQ(change_of(bench, -infinite, noon_s), '3');
  EXPECT_EQ(change_of(bench, -infinite, noon_s), '0');
}

TEST(Book, OfEachBondIsItsOwn) {
  EngineBench bench;
  disseminate_trade(bench.engine, plain_trade(100, apple_cusip));
  EXPECT_EQ(change_of(bench, plain_trade(50, ford_cusip)), '7');
  EXPECT_EQ(apple_of(bench).prices.low, 100);
  EXPECT_EQ(ford_of(bench).prices.high, 50);
}

TEST(Eligibility, OfPlainAndLateTrades) {
  EXPECT_FALSE(is_left_out({}));
  EXPECT_FALSE(is_left_out({.sale_condition_3 = 'Z'}));
  EXPECT_FALSE(is_left_out({.second_modifier = 'x'}));
  EXPECT_FALSE(is_left_out({.ats = 'Y'}));
  EXPECT_FALSE(is_left_out({.special = 'N'}));
}

TEST(Eligibility, ExcludesAsOfTradesAndReversals) {
  EXPECT_TRUE(is_left_out({.as_of = 'A'}));
  EXPECT_TRUE(is_left_out({.as_of = 'R'}));
  EXPECT_TRUE(is_left_out({.as_of = 'A', .sale_condition_3 = 'Z'}));
}

TEST(Eligibility, ExcludesSpecialAfterHoursAndAveragePrices) {
  EXPECT_TRUE(is_left_out({.special = 'Y'}));
  EXPECT_TRUE(is_left_out({.sale_condition_3 = 'T'}));
  EXPECT_TRUE(is_left_out({.sale_condition_4 = 'W'}));
  EXPECT_TRUE(is_left_out({.sale_condition_3 = 'Z', .sale_condition_4 = 'W'}));
}

TEST(Eligibility, OfAFirstTradeThatHasNoneLeavesTheBondUntraded) {
  EngineBench bench;
  TradeInput input = plain_trade();
  input.terms.as_of = 'A';
  EXPECT_EQ(change_of(bench, input), '0');
  EXPECT_FALSE(apple_of(bench).prices.traded);
  EXPECT_EQ(change_of(bench, plain_trade()), '7');
}

}  // namespace
}  // namespace vorbeld
