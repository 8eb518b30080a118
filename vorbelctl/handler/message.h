// BTDS 2.1 messages as a receiver sees them: bytes become a record with a cell for every field of the table of
// messages, or are refused with the name of the first field that does not read. Leaves packets and sequence numbers to
// the receiver and the meaning of a message to the book.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>

#include "btds/message_table.h"

namespace vorbelctl {

using vorbeld::FieldId;
using vorbeld::Kind;

// What one field says.
struct Cell {
  std::string_view text;  // codes, texts and digits: the bytes, a text without the blanks behind it
  double number = 0;      // prices, yields and quantities; of a capped quantity the cap
  bool said = false;      // false: blank where the field may be, such as the yield of a trade that carries none
};

// True when two numbers differ by less than the tolerance; infinities and NaN are the same as themselves alone.
inline bool same_number(double left, double right, double tolerance) {
  return left == right || std::fabs(left - right) < tolerance || (std::isnan(left) && std::isnan(right));
}

// One message. Cells that its kind does not have say nothing.
struct Message {
  const vorbeld::KindRow* row = &vorbeld::row_of(Kind::control);
  std::array<Cell, vorbeld::field_names.size()> cells{};
};

inline Kind kind_of(const Message& message) {
  return message.row->kind;
}

inline const Cell& cell(const Message& message, FieldId field) {
  return message.cells[field.id];
}
inline Cell& cell(Message& message, FieldId field) {
  return message.cells[field.id];
}

inline std::string_view text(const Message& message, FieldId field) {
  return cell(message, field).text;
}

inline double number(const Message& message, FieldId field) {
  return cell(message, field).number;
}

// The byte of a one-character field; a blank where the kind does not have it.
inline char code(const Message& message, FieldId field) {
  const std::string_view byte = text(message, field);
  return byte.empty() ? ' ' : byte.front();
}

struct Decoded {
  Message message;             // its texts stand in the bytes that were decoded
  std::string_view malformed;  // name of the first field that does not read, or "length"; empty: the message is whole
};

// Climbs from length over the form of every field to what must agree between fields. Numbers and digits are checked for
// being such, not for making sense: a thirteenth month is a date here. With a malformed message the record is partly
// filled and good for nothing but a look.
Decoded decode_message(std::string_view bytes);

// Where the bytes of two messages of one number differ first.
struct BytesDiffer {
  std::string_view field;  // its name, or "length" where the messages are of different kinds or of no kind
  std::string earlier;     // the bytes of the field without the blanks behind them; of a length: the number of bytes
  std::string later;
  std::uint64_t others = 0;  // further fields that differ
};

// Compares all bytes, also those that say nothing. The messages must not be equal.
BytesDiffer compare_bytes(std::string_view earlier, std::string_view later);

// The number that the bytes make; false, and the number of no use, unless all of them are digits and it is below 2^64.
bool read_digits(std::string_view bytes, std::uint64_t& number);

// What the bytes of a field of this form say; false when they do not read. `codes`: see the table of messages.
bool read_cell(std::string_view bytes, vorbeld::Form form, std::string_view codes, Cell& cell);

// True for messages that cancel or correct a trade.
inline bool amends(Kind kind) {
  return kind == Kind::cancel || kind == Kind::correction;
}

// True for messages that bring a trade of their own.
inline bool brings_trade(Kind kind) {
  return kind == Kind::trade || kind == Kind::correction;
}

}  // namespace vorbelctl
