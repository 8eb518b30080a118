#include "btds/trade_block.h"

#include "btds/fields.h"

namespace vorbeld {

constexpr const auto& fields = layout::trade_body;

void encode_amounts(std::span<char, fields.length> block, bool high_yield, double price, double quantity,
                    std::optional<double> yield) {
  if (exceeds_cap(quantity, high_yield)) {
    put_char(block, fields["quantity_indicator"], 'E');
    put_text(block, fields["quantity"], high_yield ? "1MM+" : "5MM+");
  } else {
    put_char(block, fields["quantity_indicator"], 'A');
    put_quantity(block, fields["quantity"], quantity);
  }
  put_price(block, fields["price"], price);
  put_yield(block, fields["yield"], yield);
}

void encode_trade_block(std::span<char, fields.length> block, bool high_yield, const TradeTerms& terms,
                        std::optional<double> yield) {
  constexpr std::uint64_t day_s = 86400;
  encode_amounts(block, high_yield, terms.price, terms.quantity, yield);
  put_char(block, fields["remuneration"], terms.remuneration);
  put_char(block, fields["special"], terms.special);
  put_char(block, fields["side"], terms.side);
  put_char(block, fields["as_of"], terms.as_of);
  put_date_time_field(block, fields["executed_at"], static_cast<std::int64_t>(terms.exec_s));
  put_text(block, fields["reserved"], "");
  put_char(block, fields["sale_condition_3"], terms.sale_condition_3);
  put_char(block, fields["sale_condition_4"], terms.sale_condition_4);
  const std::uint64_t settle_s = terms.settle_s == 0 ? terms.exec_s + day_s : terms.settle_s;
  put_date_field(block, fields["settlement"], static_cast<std::int64_t>(settle_s));
  put_char(block, fields["second_modifier"], terms.second_modifier);
  put_char(block, fields["reporting_party"], terms.reporting_party);
  put_char(block, fields["contra_party"], terms.contra_party);
  put_char(block, fields["ats"], terms.ats);
}

}  // namespace vorbeld
