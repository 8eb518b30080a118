#include "btds/messages.h"

namespace vorbeld {

std::array<char, layout::halt.length> encode_halt(const BondNames& names, char action, std::string_view reason,
                                                  std::int64_t now_s) {
  constexpr const auto& fields = layout::halt;
  std::array<char, fields.length> message{};
  put_header(message, Kind::halt, std::nullopt, now_s);
  put_bond(message, names);
  put_text(message, fields["description"], names.description);
  put_char(message, fields["action"], action);
  put_date_time_field(message, fields["action_at"], now_s);
  put_text(message, fields["reason"], reason);
  return message;
}

std::array<char, layout::summary.length> encode_summary(const BondNames& names, const DayPrices& prices,
                                                        std::int64_t now_s) {
  constexpr const auto& fields = layout::summary;
  std::array<char, fields.length> message{};
  put_header(message, Kind::summary, std::nullopt, now_s);
  put_bond(message, names);
  put_text(message, fields["reserved"], "");
  put_price(message, fields["high"], prices.high);
  put_yield(message, fields["high_yield"], sent_yield(prices, prices.high_yield_value));
  put_price(message, fields["low"], prices.low);
  put_yield(message, fields["low_yield"], sent_yield(prices, prices.low_yield_value));
  put_price(message, fields["close"], prices.last);
  put_yield(message, fields["close_yield"], sent_yield(prices, prices.last_yield_value));
  return message;
}

std::array<char, layout::header.length> encode_control(char code, std::int64_t now_s) {
  std::array<char, layout::header.length> message{};
  put_header(message, Kind::control, std::nullopt, now_s);
  put_char(message, layout::header["type"], code);
  return message;
}

}  // namespace vorbeld
