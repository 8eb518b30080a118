#include "btds/fields.h"

#include <algorithm>
#include <cmath>

#include "btds/local_time.h"
#include "common/numbers.h"

namespace vorbeld {
namespace {

std::span<char> field_bytes(std::span<char> block, Field field) {
  return block.subspan(field.offset, field.width);
}

}  // namespace

void put_text(std::span<char> block, Field field, std::string_view text) {
  const auto out = field_bytes(block, field);
  const std::size_t kept = std::min(text.size(), out.size());
  std::copy_n(text.begin(), kept, out.begin());
  std::fill(out.begin() + static_cast<std::ptrdiff_t>(kept), out.end(), ' ');
}

void put_counter(std::span<char> block, Field field, std::uint64_t counter) {
  const auto out = field_bytes(block, field);
  put_digits(out.data() + out.size(), counter, out.size());
}

void put_price(std::span<char> block, Field field, double price) {
  // std::max keeps its first argument when the second is NaN or -0.0.
  put_fixed(field_bytes(block, field), std::max(0.0, price), field.width, 6);
}

void put_yield(std::span<char> block, Field field, std::optional<double> yield) {
  const auto out = field_bytes(block, field);
  if (!yield) {
    std::fill(out.begin(), out.end(), ' ');
    return;
  }
  out[0] = *yield < 0.0 ? '-' : ' ';
  put_fixed(out.subspan(1), std::fabs(*yield), field.width - 1, 6);
}

void put_quantity(std::span<char> block, Field field, double quantity) {
  put_fixed(field_bytes(block, field), quantity, field.width, 2);
}

void put_date_field(std::span<char> block, Field field, std::int64_t utc_s) {
  put_date(field_bytes(block, field).first<8>(), utc_s);
}

void put_date_time_field(std::span<char> block, Field field, std::int64_t utc_s) {
  put_date_time(field_bytes(block, field).first<14>(), utc_s);
}

void put_header(std::span<char> message, Kind kind, std::optional<std::uint64_t> trade_id, std::int64_t now_s) {
  put_char(message, layout::header["category"], row_of(kind).category);
  put_char(message, layout::header["type"], type_of(kind));
  if (trade_id) {
    put_counter(message, layout::header["trade_id"], *trade_id);
  } else {
    put_text(message, layout::header["trade_id"], "");
  }
  put_char(message, layout::header["origin"], 'O');
  put_date_time_field(message, layout::header["sent_at"], now_s);
}

void put_bond(std::span<char> message, const BondNames& names) {
  put_text(message, layout::bond["symbol"], names.symbol);
  put_text(message, layout::bond["cusip"], names.cusip);
  put_text(message, layout::bond["short_name"], names.short_name);
  put_text(message, layout::bond["sub_product"], names.sub_product);
}

}  // namespace vorbeld
