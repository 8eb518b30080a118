#include "vorbelctl/commands/bond_losses.h"

namespace vorbelctl {
namespace {

bool is_at(const std::optional<Sale>& sale, double price) {
  return sale && sale->price == price;
}

bool has_moved(const std::optional<Sale>& known, double told) {
  return known && known->price != told;
}

// A trade says whether it moved the high and the low.
bool trade_contradicts(const Day& before, const Message& message) {
  constexpr int low_bit = 2;
  constexpr int high_bit = 4;
  // Without a last sale the day began with this trade, or little is known of it.
  if (!before.last || !is_last_sale(message, own_terms)) return false;
  const int change = code(message, "change") - '0';
  const double price = number(message, own_terms.price);
  const bool high = before.high && (price > before.high->price) != ((change & high_bit) != 0);
  const bool low = before.low && (price < before.low->price) != ((change & low_bit) != 0);
  return high || low;
}

// An amendment tells the day behind it. A high or low that was not withdrawn by it can only have made room for the new
// price.
bool amendment_contradicts(const Day& before, const Message& message) {
  const bool withdraws = is_last_sale(message, original_terms);
  const bool brings = brings_trade(kind_of(message)) && is_last_sale(message, own_terms);
  const double withdrawn = number(message, original_terms.price);
  std::optional<Sale> high = before.high;
  std::optional<Sale> low = before.low;
  if (withdraws && is_at(high, withdrawn)) high.reset();
  if (withdraws && is_at(low, withdrawn)) low.reset();
  if (brings) {
    const double price = number(message, own_terms.price);
    if (high && price > high->price) high->price = price;
    if (low && price < low->price) low->price = price;
  }
  return has_moved(high, number(message, "high")) || has_moved(low, number(message, "low"));
}

}  // namespace

bool shows_loss(const Day& before, const Message& message) {
  switch (kind_of(message)) {
    case Kind::trade:
      return trade_contradicts(before, message);
    case Kind::cancel:
    case Kind::correction:
      return amendment_contradicts(before, message);
    case Kind::summary:
      return has_moved(before.high, number(message, "high")) || has_moved(before.low, number(message, "low")) ||
             has_moved(before.last, number(message, "close"));
    case Kind::halt:
    case Kind::control:
      return false;
  }
  return false;
}

}  // namespace vorbelctl
