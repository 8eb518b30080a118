#include "tests/unit/trades/book_model.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdio>

namespace vorbeld {
namespace {

double yield_of(const BookModel& model, const ModelTrade& trade) {
  return trade.yield_wanted && trade.price > 0 ? 100 * model.coupons[trade.bond] / trade.price : 0;
}

char print_trade(ModelBook& book, const ModelTrade& trade) {
  DayPrices& prices = book.prices;
  ++book.prints;
  if (!prices.traded) {
    prices = {true, trade.price, trade.yield, trade.price, trade.yield, trade.price, trade.yield};
    book.last_exec_s = trade.exec_s;
    return '7';
  }
  int bits = 0;
  if (trade.price > prices.high) {
    prices.high = trade.price;
    prices.high_yield_value = trade.yield;
    bits |= 4;
  }
  if (trade.price < prices.low) {
    prices.low = trade.price;
    prices.low_yield_value = trade.yield;
    bits |= 2;
  }
  if (book.last_exec_s <= trade.exec_s) {
    if (trade.price != prices.last) bits |= 1;
    prices.last = trade.price;
    prices.last_yield_value = trade.yield;
    book.last_exec_s = trade.exec_s;
  }
  return static_cast<char>('0' + bits);
}

ModelBook replay(const BookModel& model, std::size_t bond) {
  ModelBook book;
  for (const ModelTrade& trade : model.trades) {
    if (trade.bond == bond && trade.eligible && !trade.cancelled) print_trade(book, trade);
  }
  return book;
}

char change_between(const DayPrices& before, const DayPrices& after) {
  if (before.traded != after.traded) return '7';
  int bits = 0;
  if (before.high != after.high) bits += 4;
  if (before.low != after.low) bits += 2;
  if (before.last != after.last) bits += 1;
  return static_cast<char>('0' + bits);
}

std::string printed(const char* format, double value, std::size_t width) {
  std::array<char, 400> text;
  std::snprintf(text.data(), text.size(), format, value);
  return std::string(text.data()).substr(0, width);
}

std::string price_and_yield(double price, double yield, bool traded) {
  const std::string price_text = printed("%011.6f", std::max(0.0, price), 11);
  if (!traded) return price_text + std::string(14, ' ');
  return price_text + (yield < 0 ? "-" : " ") + printed("%013.6f", std::fabs(yield), 13);
}

bool same_bits(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

}  // namespace

char add_trade(BookModel& model, ModelTrade trade) {
  trade.yield = yield_of(model, trade);
  model.trades.push_back(trade);
  return trade.eligible ? print_trade(model.books[trade.bond], trade) : '0';
}

char cancel_trade(BookModel& model, std::uint64_t trade_id) {
  ModelTrade& trade = model.trades[trade_id - 1];
  const DayPrices before = model.books[trade.bond].prices;
  trade.cancelled = true;
  if (trade.eligible) model.books[trade.bond] = replay(model, trade.bond);
  return change_between(before, model.books[trade.bond].prices);
}

char correct_trade(BookModel& model, std::uint64_t trade_id, double price) {
  ModelTrade replacement = model.trades[trade_id - 1];
  const DayPrices before = model.books[replacement.bond].prices;
  model.trades[trade_id - 1].cancelled = true;
  replacement.price = price;
  replacement.yield = yield_of(model, replacement);
  model.trades.push_back(replacement);
  model.books[replacement.bond] = replay(model, replacement.bond);
  return change_between(before, model.books[replacement.bond].prices);
}

std::uint64_t walk_to_amendable(const BookModel& model) {
  for (std::uint64_t trade_id = model.trades.size(); trade_id > 0; --trade_id) {
    const ModelTrade& trade = model.trades[trade_id - 1];
    if (!trade.cancelled && trade.as_of_blank) return trade_id;
  }
  return 0;
}

std::string price_block(const DayPrices& prices, char change) {
  return price_and_yield(prices.high, prices.high_yield_value, prices.traded) +
         price_and_yield(prices.low, prices.low_yield_value, prices.traded) +
         price_and_yield(prices.last, prices.last_yield_value, prices.traded) + change;
}

bool same_book(const Bond& bond, const ModelBook& book) {
  const DayPrices& ours = bond.prices;
  const DayPrices& theirs = book.prices;
  return ours.traded == theirs.traded && same_bits(ours.high, theirs.high) && same_bits(ours.low, theirs.low) &&
         same_bits(ours.last, theirs.last) && same_bits(ours.high_yield_value, theirs.high_yield_value) &&
         same_bits(ours.low_yield_value, theirs.low_yield_value) &&
         same_bits(ours.last_yield_value, theirs.last_yield_value) && bond.last_exec_s == book.last_exec_s &&
         bond.prints == book.prints;
}

}  // namespace vorbeld
