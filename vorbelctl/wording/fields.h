// Named values: what a message, an event or a verdict looks like to whoever reads it. One list serves the JSON lines,
// the lines for people and the comparisons of an audit, so that all three speak of the same fields.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace vorbelctl {

// A number with the decimals that it is shown with. Two are equal when their values are.
struct Number {
  double value = 0;
  int decimals = 0;
};

inline bool operator==(const Number& left, const Number& right) {
  return left.value == right.value;
}

// monostate: a field that is present but empty (JSON null), such as the yield of a trade that carries none.
using Value = std::variant<std::monostate, bool, std::uint64_t, Number, std::string>;

struct FieldValue {
  std::string name;
  Value value;

  bool operator==(const FieldValue&) const = default;
};

using FieldList = std::vector<FieldValue>;

// The value of the field `name`, or null when the list has no such field. Valid while the list is unchanged.
const Value* find_value(const FieldList& fields, std::string_view name);

// The value as people read it: "98.250000", "true", the text itself, "-" for an empty field. Control characters and
// bytes beyond ASCII come out as \xNN, so that nothing received can steer a terminal.
std::string value_text(const Value& value);

// The fields as one JSON object without a line feed, in their order; names must need no escapes. Bytes that are no
// UTF-8 become U+FFFD, numbers that JSON cannot carry null.
std::string json_line(const FieldList& fields);

// `text` with everything but printable ASCII written as \xNN.
std::string printable(std::string_view text);

// `text` as it comes back out of JSON that is written here: bytes that are no UTF-8 become U+FFFD.
std::string as_json_shows(std::string_view text);

// A dump for reading by eye: lines of offset, sixteen bytes in hexadecimal and the same bytes as text, each line opened
// by two blanks and closed by a line feed. Shows the first `most` bytes and says how many it leaves out.
std::string hex_dump(std::string_view bytes, std::size_t most);

}  // namespace vorbelctl
