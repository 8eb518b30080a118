// The book of the day by its definition: a plain replay of every live print of a bond, in the order of dissemination,
// from an empty book. Slow and obvious; what the books of the engine are compared with.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "btds/price_change.h"
#include "trades/bonds.h"

namespace vorbeld {

struct ModelTrade {
  std::size_t bond = 0;  // position in the universe
  double price = 0;
  double yield = 0;
  std::uint64_t exec_s = 0;
  bool yield_wanted = true;
  bool eligible = true;  // moves the book
  bool as_of_blank = true;
  bool cancelled = false;
};

struct ModelBook {
  DayPrices prices;
  std::uint64_t last_exec_s = 0;
  std::uint64_t prints = 0;
};

struct BookModel {
  std::vector<double> coupons;  // by position in the universe
  std::vector<ModelBook> books;
  std::vector<ModelTrade> trades;  // that of trade id N at N - 1
};

// Each carries out one event and returns its change indicator. What is cancelled or corrected must be live; a
// correction appends the replacement under the next trade id.
char add_trade(BookModel& model, ModelTrade trade);
char cancel_trade(BookModel& model, std::uint64_t trade_id);
char correct_trade(BookModel& model, std::uint64_t trade_id, double price);

// The newest trade that is live and whose as-of indicator is blank, by the linear walk; 0 when there is none.
std::uint64_t walk_to_amendable(const BookModel& model);

// The 76 bytes that the message of a cancel or correction ends with.
std::string price_block(const DayPrices& prices, char change);

// True when every field is the same to the bit, so that a NaN equals itself and the two zeroes differ.
bool same_book(const Bond& bond, const ModelBook& book);

}  // namespace vorbeld
