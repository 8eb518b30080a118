// A bond's prices of the day, and the block in which cancels and corrections report them.
#pragma once

#include <optional>
#include <span>

#include "btds/message_table.h"

namespace vorbeld {

// Prices in percent of par, yields in percent. All zero, and no yield is sent, until `traded` is set.
struct DayPrices {
  bool traded = false;  // set by the day's first last-sale-eligible trade; cleared when the last live one is cancelled
  double high = 0;
  double high_yield_value = 0;
  double low = 0;
  double low_yield_value = 0;
  double last = 0;
  double last_yield_value = 0;
};

// A yield of the day as it is sent: none before the first print.
inline std::optional<double> sent_yield(const DayPrices& prices, double yield) {
  return prices.traded ? std::optional(yield) : std::nullopt;
}

// Which prices an event changed: '7' when `traded` changed, otherwise '0' plus 4 for the high, 2 for the low and 1 for
// the last. A NaN counts as changed.
char change_indicator(const DayPrices& now, const DayPrices& previous);

// Writes the block: the prices `now` and which of them differ from `previous`.
void encode_price_change(std::span<char, layout::price_change.length> block, const DayPrices& now,
                         const DayPrices& previous);

}  // namespace vorbeld
