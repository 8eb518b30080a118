// The price-change block and its indicator.
#include "btds/price_change.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace vorbeld {
namespace {

constexpr double no_price = std::numeric_limits<double>::quiet_NaN();

DayPrices traded(double high, double low, double last) {
  return {true, high, 0, low, 0, last, 0};
}

std::string block_of(const DayPrices& now, const DayPrices& previous) {
  std::array<char, 76> block{};
  encode_price_change(block, now, previous);
  return {block.data(), block.size()};
}

TEST(PriceChange, PutsEachFieldWhereReceiversLookForIt) {
  const DayPrices now{true, 101.5, 4.25, 99.25, -0.5, 100.125, 3.125};
  const DayPrices previous{true, 102.5, 4, 99.25, 5, 100, 3};
  EXPECT_EQ(block_of(now, previous),
            "0101.500000"
            " 000004.250000"
            "0099.250000"
            "-000000.500000"
            "0100.125000"
            " 000003.125000"
            "5");
}

TEST(PriceChange, HasNoYieldsWhileNothingTraded) {
  const DayPrices previous{true, 102.5, 4, 99.25, 5, 100, 3};
  EXPECT_EQ(block_of({}, previous),
            "0000.000000"
            "              "
            "0000.000000"
            "              "
            "0000.000000"
            "              "
            "7");
}

TEST(PriceChange, WritesNegativePricesAsZero) {
  EXPECT_EQ(block_of(traded(-1, -2, -1.5), traded(-1, -2, -1.5)),
            "0000.000000"
            " 000000.000000"
            "0000.000000"
            " 000000.000000"
            "0000.000000"
            " 000000.000000"
            "0");
}

TEST(ChangeIndicator, AddsUpWhatChanged) {
  const DayPrices previous = traded(102, 98, 100);
  EXPECT_EQ(change_indicator(traded(102, 98, 100), previous), '0');
  EXPECT_EQ(change_indicator(traded(102, 98, 101), previous), '1');
  EXPECT_EQ(change_indicator(traded(102, 97, 100), previous), '2');
  EXPECT_EQ(change_indicator(traded(102, 97, 101), previous), '3');
  EXPECT_EQ(change_indicator(traded(103, 98, 100), previous), '4');
  EXPECT_EQ(change_indicator(traded(103, 98, 101), previous), '5');
  EXPECT_EQ(change_indicator(traded(103, 97, 100), previous), '6');
  EXPECT_EQ(change_indicator(traded(103, 97, 101), previous), '7');
}

TEST(ChangeIndicator, IsSevenWhenTheTradedFlagChanged) {
  EXPECT_EQ(change_indicator({}, traded(0, 0, 0)), '7');
  EXPECT_EQ(change_indicator(traded(0, 0, 0), {}), '7');
  EXPECT_EQ(change_indicator({}, {}), '0');
}

TEST(ChangeIndicator, DoesNotLookAtYields) {
  const DayPrices one{true, 102, 1, 98, 1, 100, 1};
  const DayPrices other{true, 102, 2, 98, 2, 100, 2};
  EXPECT_EQ(change_indicator(one, other), '0');
}

TEST(ChangeIndicator, TakesANanForAChange) {
  EXPECT_EQ(change_indicator(traded(no_price, 98, 100), traded(no_price, 98, 100)), '4');
  EXPECT_EQ(change_indicator(traded(102, no_price, 100), traded(102, 98, 100)), '2');
  EXPECT_EQ(change_indicator(traded(102, 98, 100), traded(102, 98, no_price)), '1');
}

TEST(ChangeIndicator, TakesBothZeroesForOne) {
  EXPECT_EQ(change_indicator(traded(0.0, -0.0, 0.0), traded(-0.0, 0.0, -0.0)), '0');
}

TEST(SentYield, IsThereOnceTheBondTraded) {
  EXPECT_EQ(sent_yield(traded(1, 1, 1), 4.5), 4.5);
  EXPECT_EQ(sent_yield(DayPrices{}, 4.5), std::nullopt);
}

}  // namespace
}  // namespace vorbeld
