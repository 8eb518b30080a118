// The bonds and their look-up; the trades and theirs.
#include "trades/bonds.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "tests/unit/trades/engine_fixture.h"

namespace vorbeld {
namespace {

TEST(Universe, KeepsBondsInTheirOrder) {
  Universe universe;
  add_bond(universe, ford());
  add_bond(universe, apple());
  ASSERT_EQ(universe.bonds.size(), 2U);
  EXPECT_EQ(universe.bonds[0].cusip, ford_cusip);
  EXPECT_EQ(universe.bonds[1].cusip, apple_cusip);
}

TEST(Universe, FindsABondByItsExactCusip) {
  Universe universe;
  add_bond(universe, ford());
  add_bond(universe, apple());
  EXPECT_EQ(find_bond(universe, apple_cusip), &universe.bonds[1]);
  EXPECT_EQ(find_position(universe, apple_cusip), 1U);
  EXPECT_EQ(find_bond(universe, "037833dt4"), nullptr);
  EXPECT_EQ(find_bond(universe, "037833DT"), nullptr);
  EXPECT_EQ(find_bond(universe, ""), nullptr);
  EXPECT_EQ(find_position(universe, "037833DT44"), std::nullopt);
}

TEST(Universe, FindsTheFirstOfTwoBondsWithOneCusip) {
  Universe universe;
  add_bond(universe, ford());
  add_bond(universe, apple());
  Bond second = apple();
  second.symbol = "another symbol";
  add_bond(universe, std::move(second));
  EXPECT_EQ(universe.bonds.size(), 3U);
  EXPECT_EQ(find_bond(universe, apple_cusip), &universe.bonds[1]);
  EXPECT_EQ(find_or_add_bond(universe, apple_cusip, "X", true), 1U);
  EXPECT_EQ(universe.bonds.size(), 3U);
}

TEST(Universe, AddsAnUnknownBondWithDefaults) {
  Universe universe;
  add_bond(universe, apple());
  const std::uint32_t position = find_or_add_bond(universe, "XYZ", "A SYMBOL OF TWENTY C", false);
  ASSERT_EQ(position, 1U);
  const Bond& bond = universe.bonds[position];
  EXPECT_EQ(bond.cusip, "XYZ");
  EXPECT_EQ(bond.symbol, "A SYMBOL OF TWENTY C");
  EXPECT_EQ(bond.short_name, "A SYMBOL OF ");
  EXPECT_EQ(bond.description, "A SYMBOL OF TWENTY C");
  EXPECT_EQ(bond.sub_product, "CORP");
  EXPECT_FALSE(bond.high_yield);
  EXPECT_EQ(bond.mid, 100.0);
  EXPECT_EQ(bond.coupon, 5.0);
  EXPECT_FALSE(bond.halted);
  EXPECT_FALSE(bond.prices.traded);
  EXPECT_EQ(bond.prices.high, 0.0);
  EXPECT_EQ(bond.prices.low, 0.0);
  EXPECT_EQ(bond.prices.last, 0.0);
  EXPECT_EQ(bond.last_exec_s, 0U);
  EXPECT_EQ(bond.prints, 0U);
}

TEST(Universe, KeepsAShortSymbolWholeAsTheShortName) {
  Universe universe;
  EXPECT_EQ(universe.bonds[find_or_add_bond(universe, "X", "F 4", false)].short_name, "F 4");
  EXPECT_EQ(universe.bonds[find_or_add_bond(universe, "Y", "", false)].short_name, "");
}

TEST(Universe, AddsABondInTheGradeGiven) {
  Universe universe;
  EXPECT_TRUE(universe.bonds[find_or_add_bond(universe, "X", "S", true)].high_yield);
}

TEST(Universe, FindsAnAddedBondAgain) {
  Universe universe;
  EXPECT_EQ(find_or_add_bond(universe, "X", "first symbol", false), 0U);
  EXPECT_EQ(find_or_add_bond(universe, "X", "second symbol", true), 0U);
  EXPECT_EQ(universe.bonds.size(), 1U);
  EXPECT_EQ(universe.bonds[0].symbol, "first symbol");
  EXPECT_FALSE(universe.bonds[0].high_yield);
}

TEST(Universe, KeepsReferencesWhileItGrows) {
  Universe universe;
  const Bond& first = add_bond(universe, apple());
  for (int i = 0; i < 5000; ++i) find_or_add_bond(universe, std::to_string(i), "S", false);
  EXPECT_EQ(&first, &universe.bonds[0]);
  EXPECT_EQ(find_position(universe, "4999"), 5000U);
}

TEST(TradeIndex, GivesIdsFromOne) {
  TradeIndex trades;
  EXPECT_EQ(newest_trade(trades), 0U);
  record_trade(trades).price = 1;
  EXPECT_EQ(newest_trade(trades), 1U);
  record_trade(trades).price = 2;
  EXPECT_EQ(newest_trade(trades), 2U);
  EXPECT_EQ(trade(trades, 1).price, 1);
  EXPECT_EQ(trade(trades, 2).price, 2);
}

TEST(TradeIndex, FindsOnlyIdsThatWereGiven) {
  TradeIndex trades;
  EXPECT_EQ(find_trade(trades, 0), nullptr);
  EXPECT_EQ(find_trade(trades, 1), nullptr);
  TradeRecord& record = record_trade(trades);
  EXPECT_EQ(find_trade(trades, 1), &record);
  EXPECT_EQ(find_trade(trades, 0), nullptr);
  EXPECT_EQ(find_trade(trades, 2), nullptr);
  EXPECT_EQ(find_trade(trades, ~std::uint64_t{0}), nullptr);
}

TEST(TradeIndex, KeepsReferencesWhileItGrows) {
  TradeIndex trades;
  const TradeRecord& first = record_trade(trades);
  for (int i = 0; i < 20'000; ++i) record_trade(trades).quantity = i;
  EXPECT_EQ(find_trade(trades, 1), &first);
  EXPECT_EQ(trade(trades, 20'001).quantity, 19'999);
}

}  // namespace
}  // namespace vorbeld
