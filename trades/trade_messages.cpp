#include "trades/trade_messages.h"

#include <span>
#include <string_view>

#include "btds/fields.h"

namespace vorbeld {
namespace {

template <std::size_t Length>
std::string_view text_of(const std::array<char, Length>& bytes) {
  return {bytes.data(), bytes.size()};
}

std::span<char, layout::price_change.length> price_block(std::span<char> message, Field field) {
  return message.subspan(field.offset).first<layout::price_change.length>();
}

}  // namespace

std::array<char, layout::trade.length> encode_trade(const Bond& bond, std::uint64_t trade_id, const TradeInput& input,
                                                    const TradeBody& body, char change, std::int64_t now_s) {
  constexpr const auto& fields = layout::trade;
  std::array<char, fields.length> message{};
  put_header(message, Kind::trade, trade_id, now_s);
  put_bond(message, names_of(bond));
  if (input.terms.as_of == 'R' && input.orig_trade_date_s != 0) {
    put_date_field(message, fields["reversed_date"], static_cast<std::int64_t>(input.orig_trade_date_s));
  } else {
    put_text(message, fields["reversed_date"], "");
  }
  put_text(message, fields["body"], text_of(body));
  put_char(message, fields["change"], change);
  return message;
}

std::array<char, layout::cancel.length> encode_cancel(const Bond& bond, std::uint64_t original_id,
                                                      const TradeRecord& original, const DayPrices& previous,
                                                      std::int64_t now_s) {
  constexpr const auto& fields = layout::cancel;
  std::array<char, fields.length> message{};
  put_header(message, Kind::cancel, std::nullopt, now_s);
  put_bond(message, names_of(bond));
  put_date_field(message, fields["original_date"], static_cast<std::int64_t>(original.report_s));
  put_counter(message, fields["original_id"], original_id);
  put_char(message, fields["function"], 'C');
  put_text(message, fields["original_body"], text_of(original.body));
  encode_price_change(price_block(message, fields["prices"]), bond.prices, previous);
  return message;
}

std::array<char, layout::correction.length> encode_correction(const Bond& bond, std::uint64_t original_id,
                                                              const TradeRecord& original, std::uint64_t new_id,
                                                              const TradeBody& new_body, const DayPrices& previous,
                                                              std::int64_t now_s) {
  constexpr const auto& fields = layout::correction;
  std::array<char, fields.length> message{};
  put_header(message, Kind::correction, new_id, now_s);
  put_bond(message, names_of(bond));
  put_date_field(message, fields["original_date"], static_cast<std::int64_t>(original.report_s));
  put_counter(message, fields["original_id"], original_id);
  put_char(message, fields["function"], 'N');
  put_text(message, fields["original_body"], text_of(original.body));
  put_text(message, fields["body"], text_of(new_body));
  encode_price_change(price_block(message, fields["prices"]), bond.prices, previous);
  return message;
}

}  // namespace vorbeld
