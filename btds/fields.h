// The field encoders: each writes exactly one field of a message or block under construction, at the place that the
// layout gives it, and nothing else. Values too wide for their field are cut at its end.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "btds/message_table.h"

namespace vorbeld {

// A one-character field.
inline void put_char(std::span<char> block, Field field, char value) {
  block[field.offset] = value;
}

// A text, blanks behind a shorter one.
void put_text(std::span<char> block, Field field, std::string_view text);

// The low seven decimal digits of an unsigned counter, zero-padded.
void put_counter(std::span<char> block, Field field, std::uint64_t counter);

// A price in percent of par as "%011.6f"; a negative price, NaN and -0.0 are written as 0.
void put_price(std::span<char> block, Field field, double price);

// A yield in percent: '-' or a blank, then "%013.6f" of the magnitude; all blank when there is none.
void put_yield(std::span<char> block, Field field, std::optional<double> yield);

// A quantity in currency units as "%014.2f".
void put_quantity(std::span<char> block, Field field, double quantity);

// The local date of a UTC instant in seconds as YYYYMMDD.
void put_date_field(std::span<char> block, Field field, std::int64_t utc_s);

// The local date and time of a UTC instant in seconds as YYYYMMDDhhmmss.
void put_date_time_field(std::span<char> block, Field field, std::int64_t utc_s);

// The common header; `trade_id` only in T/M and T/O messages, blank otherwise. `now_s` is the dissemination time. Of a
// control message, the code is still to be put in place of the type.
void put_header(std::span<char> message, Kind kind, std::optional<std::uint64_t> trade_id, std::int64_t now_s);

// What messages say of a bond; the views live as long as the bond is unchanged.
struct BondNames {
  std::string_view symbol;
  std::string_view cusip;
  std::string_view short_name;
  std::string_view sub_product;
  std::string_view description;  // in halts only
};

// The four names that follow the header in every message about a bond.
void put_bond(std::span<char> message, const BondNames& names);

}  // namespace vorbeld
