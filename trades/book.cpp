#include "trades/book.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>

#include "btds/price_change.h"

namespace vorbeld {
namespace {

using PricedPrint = RankedPrint<double>;
using TimedPrint = RankedPrint<std::uint64_t>;

// The orders below say when print `a` stands below print `b`; the top is what a replay in dissemination order ends
// with. The replay takes over a high or low only at a strictly better price, so of equal prices the oldest stays; it
// takes over a last on an equal execution time too, so of equal times the newest stays.

bool lower_price(const PricedPrint& a, const PricedPrint& b) {
  return a.rank != b.rank ? a.rank < b.rank : a.id > b.id;
}

bool higher_price(const PricedPrint& a, const PricedPrint& b) {
  return a.rank != b.rank ? a.rank > b.rank : a.id > b.id;
}

bool executed_before(const TimedPrint& a, const TimedPrint& b) {
  return a.rank != b.rank ? a.rank < b.rank : a.id < b.id;
}

template <class Rank, class Order>
void push(RankedPrints<Rank>& prints, RankedPrint<Rank> print, Order below) {
  if (prints.rising.size == 0 || !below(print, prints.rising.end()[-1])) {
    append(prints.rising, print);
  } else {
    append(prints.heap, print);
    std::push_heap(prints.heap.begin(), prints.heap.end(), below);
  }
}

template <class Rank, class Order>
void drop_cancelled(RankedPrints<Rank>& prints, TradeIndex& trades, Order below) {
  const auto cancelled = [&trades](const RankedPrint<Rank>& print) { return trade(trades, print.id).cancelled; };
  while (prints.rising.size != 0 && cancelled(prints.rising.end()[-1])) --prints.rising.size;
  while (prints.heap.size != 0 && cancelled(*prints.heap.begin())) {
    std::pop_heap(prints.heap.begin(), prints.heap.end(), below);
    --prints.heap.size;
  }
}

// The best live print; there must be one.
template <class Rank, class Order>
const TradeRecord& best_live(RankedPrints<Rank>& prints, TradeIndex& trades, Order below) {
  drop_cancelled(prints, trades, below);
  assert(prints.rising.size != 0 || prints.heap.size != 0);
  const bool from_heap =
      prints.rising.size == 0 || (prints.heap.size != 0 && below(prints.rising.end()[-1], *prints.heap.begin()));
  return trade(trades, from_heap ? prints.heap.begin()->id : prints.rising.end()[-1].id);
}

// For a bond without live prints; the room is kept.
template <class Rank>
void forget_all(RankedPrints<Rank>& prints) {
  prints.rising.size = 0;
  prints.heap.size = 0;
}

void skip_cancelled(LivePrints& live, TradeIndex& trades) {
  while (live.first != 0 && trade(trades, live.first).cancelled) live.first = trade(trades, live.first).next_print;
}

}  // namespace

char apply_print(Bond& bond, double price, double yield, std::uint64_t exec_s) {
  DayPrices& prices = bond.prices;
  if (!prices.traded) {
    prices = {true, price, yield, price, yield, price, yield};
    bond.last_exec_s = exec_s;
    return '7';
  }
  int bits = 0;
  if (price > prices.high) {
    prices.high = price;
    prices.high_yield_value = yield;
    bits |= 4;
  }
  if (price < prices.low) {
    prices.low = price;
    prices.low_yield_value = yield;
    bits |= 2;
  }
  if (bond.last_exec_s <= exec_s) {
    if (price != prices.last) bits |= 1;
    prices.last = price;
    prices.last_yield_value = yield;
    bond.last_exec_s = exec_s;
  }
  return static_cast<char>('0' + bits);
}

void keep_print(Bond& bond, TradeIndex& trades, std::uint64_t trade_id) {
  assert(trade_id <= std::numeric_limits<std::uint32_t>::max());
  const auto id = static_cast<std::uint32_t>(trade_id);
  LivePrints& live = bond.live;
  if (live.newest != 0) trade(trades, live.newest).next_print = id;
  live.newest = id;
  if (live.first == 0) live.first = id;

  const TradeRecord& record = trade(trades, id);
  if (!std::isnan(record.price)) {
    push(live.by_high, {record.price, id}, lower_price);
    push(live.by_low, {record.price, id}, higher_price);
  }
  push(live.by_last, {record.exec_s, id}, executed_before);
  ++bond.prints;
}

void rebuild_book(Bond& bond, TradeIndex& trades) {
  LivePrints& live = bond.live;
  skip_cancelled(live, trades);
  if (live.first == 0) {
    bond.prices = {};
    bond.last_exec_s = 0;
    forget_all(live.by_high);
    forget_all(live.by_low);
    forget_all(live.by_last);
    return;
  }
  // The first print sets high and low whatever its price, and nothing compares above or below a NaN.
  const TradeRecord& first = trade(trades, live.first);
  const bool stuck = std::isnan(first.price);
  const TradeRecord& high = stuck ? first : best_live(live.by_high, trades, lower_price);
  const TradeRecord& low = stuck ? first : best_live(live.by_low, trades, higher_price);
  const TradeRecord& last = best_live(live.by_last, trades, executed_before);
  bond.prices = {true, high.price, high.yield, low.price, low.yield, last.price, last.yield};
  bond.last_exec_s = last.exec_s;
}

}  // namespace vorbeld
