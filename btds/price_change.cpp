#include "btds/price_change.h"

#include "btds/fields.h"

namespace vorbeld {

char change_indicator(const DayPrices& now, const DayPrices& previous) {
  if (now.traded != previous.traded) return '7';
  const int bits =
      (now.high != previous.high ? 4 : 0) + (now.low != previous.low ? 2 : 0) + (now.last != previous.last ? 1 : 0);
  return static_cast<char>('0' + bits);
}

void encode_price_change(std::span<char, layout::price_change.length> block, const DayPrices& now,
                         const DayPrices& previous) {
  constexpr const auto& fields = layout::price_change;
  put_price(block, fields["high"], now.high);
  put_yield(block, fields["high_yield"], sent_yield(now, now.high_yield_value));
  put_price(block, fields["low"], now.low);
  put_yield(block, fields["low_yield"], sent_yield(now, now.low_yield_value));
  put_price(block, fields["last"], now.last);
  put_yield(block, fields["last_yield"], sent_yield(now, now.last_yield_value));
  put_char(block, fields["change"], change_indicator(now, previous));
}

}  // namespace vorbeld
