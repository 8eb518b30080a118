// BTDS 2.1 messages as a receiver sees them. Bytes become one plain record, or are refused with the name of the first
// field that does not read; the fields of a record can be listed by name. Leaves packets and sequence numbers to the
// receiver and the meaning of a message to the book.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "vorbelctl/handler/fields.h"

namespace vorbelctl {

enum class Kind : std::uint8_t { trade, cancel, correction, halt, summary, control };

// A trade's terms (layout::trade_body). One-character fields hold a blank where the feed says nothing.
struct TradeTerms {
  char quantity_indicator = ' ';  // E: over the cap; A: exact
  double quantity = 0;            // par; for E the cap, which the true quantity exceeds
  double price = 0;               // percent of par
  char remuneration = ' ';        // M, C, N or blank
  char special = ' ';             // Y: not a last sale
  char side = ' ';                // B or S; whatever a report said
  char as_of = ' ';               // A as-of, R reversal: neither is a last sale
  std::string executed_at;        // YYYYMMDDhhmmss, feed local time
  char sale_condition_3 = ' ';    // Z late, T after hours: the latter is not a last sale
  char sale_condition_4 = ' ';    // W weighted average: not a last sale
  std::string settlement;         // YYYYMMDD
  std::optional<double> yield;    // percent; empty: none was sent
  char second_modifier = ' ';
  char reporting_party = ' ';  // D dealer, T trading system
  char contra_party = ' ';     // C customer, A affiliate, D dealer
  char ats = ' ';              // Y: executed on a trading system
};

// What a message says of its bond's day. Prices are in percent of par; they are zero before the first last sale.
struct DayPrices {
  double high = 0;
  std::optional<double> high_yield;  // empty: the bond has not traded
  double low = 0;
  std::optional<double> low_yield;
  double last = 0;  // the close in a summary
  std::optional<double> last_yield;
  char change = ' ';  // '0' plus 4 high, 2 low, 1 last; 7 also for a day that begins or becomes empty again
};

// One message. Which of the later groups are filled follows from `kind`; the others keep these defaults.
struct Message {
  Kind kind = Kind::control;
  char category = ' ';
  char type = ' ';       // of a control message: its code
  std::string trade_id;  // trade and correction: seven digits, the low ones of longer ids; otherwise empty
  char origin = ' ';
  std::string sent_at;  // YYYYMMDDhhmmss, feed local time

  // All but control. Blanks on the right are not part of a text.
  std::string symbol;
  std::string cusip;
  std::string short_name;
  std::string sub_product;

  std::string reversed_date;  // trade: of the reversed one, YYYYMMDD, or empty
  std::string original_date;  // cancel and correction: when the original was disseminated, YYYYMMDD
  std::string original_id;    // cancel and correction: seven digits
  char function = ' ';        // cancel: C; correction: N

  std::string description;  // halt
  char action = ' ';        // halt: H halt, R resume
  std::string action_at;    // halt: YYYYMMDDhhmmss
  std::string reason;       // halt

  TradeTerms terms;     // trade; correction: the replacement
  TradeTerms original;  // cancel and correction
  DayPrices day;        // trade: the change alone; cancel, correction and summary
};

struct Decoded {
  Message message;
  std::string malformed;  // name of the first field that does not read, or "length"; empty: the message is whole
};

// Climbs from length over the form of every field to what must agree between fields. Numbers and digits are checked for
// being such, not for making sense: a thirteenth month is a date here. With a malformed message the record is partly
// filled and good for nothing but a look.
Decoded decode_message(std::string_view bytes);

// "trade", "cancel", "correction", "halt", "summary" or "control".
std::string_view kind_name(Kind kind);

// Every field that a message of this kind carries, in the order of its bytes and under the layout's names; the terms of
// the original trade in cancels and corrections have "original_" before their names. Prices and yields have six
// decimals, quantities two.
FieldList list_fields(const Message& message);

}  // namespace vorbelctl
