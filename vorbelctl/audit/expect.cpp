#include "vorbelctl/audit/expect.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string_view>

#include "btds/layout.h"

namespace vorbelctl {
namespace {

namespace layout = vorbeld::layout;

std::string carried_text(const std::string& text, const vorbeld::Field& field) {
  std::string cut = text.substr(0, field.width);
  cut.resize(cut.find_last_not_of(' ') + 1);
  return cut;
}

// The value that is left when "%0<width>.<decimals>f" is cut to `width` characters. What are no digits then is no value
// that a message could carry.
double carried_number(double value, std::size_t width, int decimals) {
  std::array<char, 512> text;  // the largest double has 309 digits before its point
  std::snprintf(text.data(), text.size(), "%0*.*f", static_cast<int>(width), decimals, value);
  double carried = 0;
  const auto result = std::from_chars(text.data(), text.data() + width, carried, std::chars_format::fixed);
  return result.ec == std::errc() ? carried : std::numeric_limits<double>::quiet_NaN();
}

std::optional<double> carried_yield(const std::optional<double>& yield) {
  if (!yield) return {};
  return std::copysign(carried_number(std::fabs(*yield), layout::trade_body::yield.width - 1, 6), *yield);
}

// Messages have room for the low seven digits.
std::string carried_id(const std::string& trade_id) {
  constexpr std::size_t width = layout::header::trade_id.width;
  return trade_id.size() > width ? trade_id.substr(trade_id.size() - width) : trade_id;
}

TradeTerms carried_terms(const TruthRecord& truth) {
  TradeTerms terms = truth.terms;
  terms.price = carried_price(terms.price);
  terms.quantity = carried_number(terms.quantity, layout::trade_body::quantity.width, 2);
  terms.yield = carried_yield(terms.yield);
  return terms;
}

void put_bond(Message& message, const TruthRecord& record) {
  message.symbol = carried_text(record.symbol, layout::bond::symbol);
  message.cusip = carried_text(record.cusip, layout::bond::cusip);
}

}  // namespace

double carried_price(double price) {
  return price > 0 ? carried_number(price, layout::trade_body::price.width, 6) : 0;
}

bool is_carried_whole(double price) {
  return carried_price(price) == price;
}

Message expect_message(const TruthRecord& truth, const TruthRecord* original) {
  Message message;
  message.kind = truth.kind;
  message.category = truth.category;
  message.type = truth.type;
  message.origin = 'O';
  if (truth.kind == Kind::control) return message;
  put_bond(message, original != nullptr && truth.kind == Kind::cancel ? *original : truth);
  message.sub_product = "CORP";  // all bonds are of this kind
  message.trade_id = carried_id(truth.trade_id);
  message.original_id = carried_id(truth.original_id);
  message.function = truth.function;
  if (truth.kind == Kind::trade || truth.kind == Kind::correction) message.terms = carried_terms(truth);
  if (original != nullptr) message.original = carried_terms(*original);
  message.day = {carried_price(truth.day.high),
                 {},
                 carried_price(truth.day.low),
                 {},
                 carried_price(truth.day.last),
                 {},
                 truth.change};
  message.action = truth.action;
  message.action_at = truth.at;
  message.sent_at = truth.at;
  message.reason = carried_text(truth.reason, layout::halt::reason);
  return message;
}

}  // namespace vorbelctl
