#include "vorbelctl/audit/record.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <span>
#include <system_error>
#include <utility>

namespace vorbelctl {
namespace {

// How the value of a key is written.
enum class Writing : std::uint8_t {
  raw,       // quoted; nothing in it is escaped, so it ends where the next key begins
  plain,     // quoted; digits by right, and in any case without a quote
  escaped,   // quoted; a backslash stands before quotes and backslashes
  code,      // quoted, one byte
  number,    // bare; a decimal, nan or inf, cut at 31 characters where it is longer
  optional,  // the same, or null
  count,     // bare digits
  flag       // true or false
};

// A key as it stands in a line: everything from the comma on, up to the value.
struct Key {
  std::string_view opening;
  Writing writing;
  RecordId id;
  std::string_view name;  // the key itself, as complaints have it
};

constexpr Key cusip_key{",\"cusip\":\"", Writing::raw, "cusip", "cusip"};
constexpr Key symbol_key{",\"symbol\":\"", Writing::escaped, "symbol", "symbol"};

constexpr std::array trade_keys{
    cusip_key,
    symbol_key,
    Key{",\"trade_id\":\"", Writing::plain, "trade_id", "trade_id"},
    Key{",\"qty\":", Writing::number, "quantity", "qty"},
    Key{",\"capped\":", Writing::flag, "capped", "capped"},
    Key{",\"qty_ind\":\"", Writing::code, "quantity_indicator", "qty_ind"},
    Key{",\"price\":", Writing::number, "price", "price"},
    Key{",\"yield\":", Writing::optional, "yield", "yield"},
    Key{",\"side\":\"", Writing::code, "side", "side"},
    Key{",\"as_of\":\"", Writing::code, "as_of", "as_of"},
    Key{",\"special\":\"", Writing::code, "special", "special"},
    Key{",\"sale3\":\"", Writing::code, "sale_condition_3", "sale3"},
    Key{",\"sale4\":\"", Writing::code, "sale_condition_4", "sale4"},
    Key{",\"exec\":\"", Writing::plain, "executed_at", "exec"},
    Key{",\"settle\":\"", Writing::plain, "settlement", "settle"},
    Key{",\"remuneration\":\"", Writing::code, "remuneration", "remuneration"},
    Key{",\"rpt\":\"", Writing::code, "reporting_party", "rpt"},
    Key{",\"contra\":\"", Writing::code, "contra_party", "contra"},
    Key{",\"ats\":\"", Writing::code, "ats", "ats"},
};
constexpr Key change_key{",\"change\":\"", Writing::code, "change", "change"};
constexpr std::array change_keys{change_key};
constexpr std::array amendment_keys{
    Key{",\"orig_trade_id\":\"", Writing::plain, "original_id", "orig_trade_id"},
    Key{",\"function\":\"", Writing::code, "function", "function"},
    change_key,
};
constexpr std::array day_keys{
    Key{",\"summary\":{\"traded\":", Writing::flag, "traded", "summary.traded"},
    Key{",\"high\":", Writing::number, "day_high", "summary.high"},
    Key{",\"low\":", Writing::number, "day_low", "summary.low"},
    Key{",\"last\":", Writing::number, "day_last", "summary.last"},
    Key{",\"prints\":", Writing::count, "prints", "summary.prints"},
};
constexpr std::array halt_keys{
    cusip_key,
    symbol_key,
    Key{",\"action\":\"", Writing::code, "action", "action"},
    Key{",\"reason\":\"", Writing::raw, "reason", "reason"},
    Key{",\"at\":\"", Writing::plain, "action_at", "at"},
};
constexpr std::array summary_keys{
    cusip_key,
    symbol_key,
    Key{",\"high\":", Writing::number, "day_high", "high"},
    Key{",\"low\":", Writing::number, "day_low", "low"},
    Key{",\"close\":", Writing::number, "day_last", "close"},
};

// Three parts of a record one after the other.
template <std::size_t First, std::size_t Second, std::size_t Third>
constexpr auto in_a_row(const std::array<Key, First>& first, const std::array<Key, Second>& second,
                        const std::array<Key, Third>& third) {
  return [&]<std::size_t... Place>(std::index_sequence<Place...>) {
    return std::array{(Place < First            ? first[Place]
                       : Place < First + Second ? second[Place - First]
                                                : third[Place - First - Second])...};
  }
  (std::make_index_sequence<First + Second + Third>());
}
constexpr auto keys_of_trade = in_a_row(trade_keys, change_keys, day_keys);
constexpr auto keys_of_correction = in_a_row(trade_keys, amendment_keys, day_keys);

// A record is its keys, and then the closing braces.
struct Shape {
  Kind kind;
  std::span<const Key> keys;
  std::string_view closing;
};
constexpr std::array shapes{
    Shape{Kind::trade, keys_of_trade, "}}"},           Shape{Kind::cancel, amendment_keys, "}"},
    Shape{Kind::correction, keys_of_correction, "}}"}, Shape{Kind::halt, halt_keys, "}"},
    Shape{Kind::summary, summary_keys, "}"},           Shape{Kind::control, {}, "}"},
};

// What is left of a line. `take` operations return false, or nothing, where it goes on otherwise.
struct Rest {
  std::string_view text;
};

// Eight bytes at a time: a call for each literal costs more than its few bytes.
bool begins_with(const char* text, std::string_view literal) {
  const auto eight = [](const char* from) {
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, from, sizeof bytes);
    return bytes;
  };
  std::size_t i = 0;
  for (; i + sizeof(std::uint64_t) <= literal.size(); i += sizeof(std::uint64_t)) {
    if (eight(text + i) != eight(literal.data() + i)) return false;
  }
  for (; i < literal.size(); ++i) {
    if (text[i] != literal[i]) return false;
  }
  return true;
}

bool take_opening_of(Rest& rest, const Key& key) {
  if (rest.text.size() < key.opening.size() || !begins_with(rest.text.data(), key.opening)) return false;
  rest.text.remove_prefix(key.opening.size());
  return true;
}

// The same where the length is known when compiling.
template <std::size_t Size>
bool take(Rest& rest, const char (&literal)[Size]) {
  constexpr std::size_t length = Size - 1;
  if (rest.text.size() < length || std::memcmp(rest.text.data(), literal, length) != 0) return false;
  rest.text.remove_prefix(length);
  return true;
}

std::string_view take_until(Rest& rest, std::size_t end) {
  const std::string_view taken = rest.text.substr(0, end);
  rest.text.remove_prefix(taken.size());
  return taken;
}

std::string_view take_bare(Rest& rest) {
  std::size_t end = 0;
  while (end < rest.text.size() && rest.text[end] != ',' && rest.text[end] != '}') ++end;
  return take_until(rest, end);
}

template <class Number>
bool reads_as(std::string_view text, Number& number) {
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

// A decimal of the usual size, faster than in general; false: try in general. Its digits make a whole number below
// 2^53 and so does the power of ten, so that their quotient is the nearest double.
bool read_short_decimal(std::string_view text, double& number) {
  constexpr std::array powers{1.0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7};
  if (text.size() > 15) return false;
  std::uint64_t digits = 0;
  std::size_t point = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto digit = static_cast<unsigned>(text[i] - '0');
    if (digit <= 9) {
      digits = digits * 10 + digit;
    } else if (text[i] == '.' && point == 0) {
      point = i;
    } else {
      return false;
    }
  }
  if (point == 0 || text.size() - point > powers.size()) return false;
  number = static_cast<double>(digits) / powers[text.size() - point - 1];
  return true;
}

bool take_number(Rest& rest, Cell& cell) {
  cell.text = take_bare(rest);
  cell.said = true;
  return read_short_decimal(cell.text, cell.number) || reads_as(cell.text, cell.number);
}

bool take_count(Rest& rest, std::uint64_t& count) {
  return read_digits(take_bare(rest), count);
}

// Without the closing quote, which stays for the next key.
bool take_escaped(Rest& rest, std::string_view& text) {
  std::size_t end = 0;
  while (end < rest.text.size() && rest.text[end] != '"') end += rest.text[end] == '\\' ? 2 : 1;
  if (end >= rest.text.size()) return false;
  text = take_until(rest, end);
  return true;
}

bool take_code(Rest& rest, char& code) {
  if (rest.text.empty()) return false;
  code = rest.text.front();
  rest.text.remove_prefix(1);
  return true;
}

// The value of a key that is not raw; a quoted one is followed by its quote.
bool take_value(Rest& rest, Writing writing, Cell& cell) {
  cell.said = true;
  switch (writing) {
    case Writing::escaped:
      return take_escaped(rest, cell.text) && take(rest, "\"");
    case Writing::plain:
      cell.text = take_until(rest, std::min(rest.text.find('"'), rest.text.size()));
      return take(rest, "\"");
    case Writing::code:
      cell.text = take_until(rest, 1);
      return take(rest, "\"");
    case Writing::number:
      return take_number(rest, cell);
    case Writing::optional:
      if (!take(rest, "null")) return take_number(rest, cell);
      cell.said = false;
      return true;
    case Writing::count: {
      const std::string_view before = rest.text;
      std::uint64_t count = 0;
      if (!take_count(rest, count)) return false;
      cell.text = before.substr(0, before.size() - rest.text.size());
      cell.number = static_cast<double>(count);
      return true;
    }
    case Writing::flag:
      cell.text = take_bare(rest);
      return cell.text == "true" || cell.text == "false";
    case Writing::raw:
      break;
  }
  return false;
}

// How far a line was followed: the furthest key that was reached tells what is wrong with it.
struct Reach {
  std::size_t place = 0;
  bool opened = false;  // the key was there, its value did not read
};

void note_reach(Reach& reach, std::size_t place, bool opened) {
  if (place < reach.place || (place == reach.place && !opened)) return;
  reach = {place, opened};
}

bool take_members(Rest rest, const Shape& shape, std::size_t place, TruthRecord& record, Reach& reach);

// Nothing in a raw value is escaped, so it may hold what looks like its end: the end is where the rest of the line
// reads.
bool take_raw(Rest rest, const Shape& shape, std::size_t place, TruthRecord& record, Reach& reach) {
  const std::string_view behind = place + 1 == shape.keys.size() ? shape.closing : shape.keys[place + 1].opening;
  Cell& cell = record.cells[shape.keys[place].id.id];
  for (std::size_t end = rest.text.find('"'); end != std::string_view::npos; end = rest.text.find('"', end + 1)) {
    if (!rest.text.substr(end + 1).starts_with(behind)) continue;
    cell.text = rest.text.substr(0, end);
    cell.said = true;
    if (take_members({rest.text.substr(end + 1)}, shape, place + 1, record, reach)) return true;
  }
  note_reach(reach, place, rest.text.find('"') == std::string_view::npos);
  return false;
}

// Takes the keys from the one at `place` on, and the end of the line.
bool take_members(Rest rest, const Shape& shape, std::size_t place, TruthRecord& record, Reach& reach) {
  for (; place < shape.keys.size(); ++place) {
    const Key& key = shape.keys[place];
    note_reach(reach, place, false);
    if (!take_opening_of(rest, key)) return false;
    if (key.writing == Writing::raw) return take_raw(rest, shape, place, record, reach);
    if (take_value(rest, key.writing, record.cells[key.id.id])) continue;
    note_reach(reach, place, true);
    return false;
  }
  note_reach(reach, place, false);
  return rest.text == shape.closing;
}

// {"seq":N,"cat":"c","type":"t","event":"name"
std::string_view take_opening(Rest& rest, TruthRecord& record) {
  if (!take(rest, "{\"seq\":") || !rest.text.ends_with('}')) return "line";
  if (!take_count(rest, record.sequence) || record.sequence == std::numeric_limits<std::uint64_t>::max()) return "seq";
  if (!take(rest, ",\"cat\":\"")) return "keys";
  if (!take_code(rest, record.category) || !take(rest, "\"")) return "cat";
  if (!take(rest, ",\"type\":\"")) return "keys";
  if (!take_code(rest, record.type) || !take(rest, "\"")) return "type";
  if (!take(rest, ",\"event\":\"")) return "keys";
  record.event = take_until(rest, std::min(rest.text.find('"'), rest.text.size()));
  return take(rest, "\"") ? "" : "event";
}

// The kind that category and type say, to be tried first.
std::size_t likely_shape(const TruthRecord& record) {
  const auto* const found = std::find_if(shapes.begin(), shapes.end(), [&](const Shape& shape) {
    const vorbeld::KindRow& row = vorbeld::row_of(shape.kind);
    return row.category == record.category && row.types.find(record.type) != std::string_view::npos;
  });
  return found == shapes.end() ? 0 : static_cast<std::size_t>(found - shapes.begin());
}

// The tape line from the symbol's value on; what is wrong with it.
std::string_view read_tape_behind_cusip(Rest rest, TapeLine& into) {
  if (!take_escaped(rest, into.symbol)) return "symbol";
  if (!take(rest, "\",\"price\":") || !take_number(rest, into.price)) return "price";
  if (!take(rest, ",\"quantity\":") || !take_number(rest, into.quantity)) return "quantity";
  if (!take(rest, ",\"cap\":\"") || !take_code(rest, into.cap)) return "cap";
  if (!take(rest, "\",\"side\":\"") || !take_code(rest, into.side)) return "side";
  if (!take(rest, "\",\"reporting_party\":\"") || !take_code(rest, into.reporting_party)) return "reporting_party";
  if (!take(rest, "\",\"contra_party\":\"") || !take_code(rest, into.contra_party)) return "contra_party";
  if (!take(rest, "\",\"exec_ts_ms\":") || !take_count(rest, into.executed_ms)) return "exec_ts_ms";
  if (!take(rest, ",\"report_lag_ms\":") || !take_count(rest, into.report_lag_ms)) return "report_lag_ms";
  if (!take(rest, ",\"settle\":")) return "settle";
  into.settlement = take_bare(rest);
  if (!take(rest, ",\"trade_id\":\"")) return "trade_id";
  into.trade_id = take_until(rest, std::min(rest.text.find('"'), rest.text.size()));
  if (!take(rest, "\",\"venue\":\"") || !take_escaped(rest, into.venue)) return "venue";
  if (!take(rest, "\",\"where\":\"") || !take_escaped(rest, into.where)) return "where";
  return rest.text == "\"}" ? "" : "keys";
}

}  // namespace

std::string_view read_truth(std::string_view line, TruthRecord& record) {
  record.sequence = 0;
  record.category = record.type = ' ';
  record.event = {};
  record.cells = {};
  Rest rest{line};
  if (const std::string_view wrong = take_opening(rest, record); !wrong.empty()) return wrong;
  const std::size_t likely = likely_shape(record);
  Reach furthest;
  const Shape* furthest_shape = &shapes[likely];
  for (std::size_t i = 0; i < shapes.size(); ++i) {
    const Shape& shape = shapes[(likely + i) % shapes.size()];
    Reach reach;
    record.row = &vorbeld::row_of(shape.kind);
    if (take_members(rest, shape, 0, record, reach)) return "";
    if (reach.place > furthest.place) {
      furthest = reach;
      furthest_shape = &shape;
    }
  }
  const bool at_a_value = furthest.opened && furthest.place < furthest_shape->keys.size();
  return at_a_value ? furthest_shape->keys[furthest.place].name : "keys";
}

std::string_view read_tape(std::string_view line, TapeLine& into) {
  Rest rest{line};
  into = {};
  if (!take(rest, "{\"seq\":")) return "line";
  if (!take_count(rest, into.sequence)) return "seq";
  if (!take(rest, ",\"ts_ms\":") || !take_count(rest, into.written_ms)) return "ts_ms";
  if (!take(rest, ",\"cusip\":\"")) return "keys";
  // The CUSIP is not escaped: it ends where the rest of the line reads.
  constexpr std::string_view behind_cusip = "\",\"symbol\":\"";
  std::string_view wrong = "cusip";
  for (std::size_t end = rest.text.find(behind_cusip); end != std::string_view::npos;
       end = rest.text.find(behind_cusip, end + 1)) {
    into.cusip = rest.text.substr(0, end);
    wrong = read_tape_behind_cusip({rest.text.substr(end + behind_cusip.size())}, into);
    if (wrong.empty()) break;
  }
  return wrong;
}

bool read_mark(std::string_view line, Mark& mark) {
  Rest rest{line};
  return take(rest, "{\"mark\":\"") && take_escaped(rest, mark.label) && take(rest, "\",\"seq\":") &&
         take_count(rest, mark.sequence) && rest.text == "}";
}

std::string unescaped(std::string_view text) {
  if (text.find('\\') == std::string_view::npos) return std::string(text);
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 1 < text.size()) ++i;
    plain += text[i];
  }
  return plain;
}

std::uint64_t trade_number(std::string_view trade_id) {
  std::uint64_t number = 0;
  const bool padded_right = trade_id.size() == 7 || (trade_id.size() > 7 && trade_id[0] != '0');
  return padded_right && read_digits(trade_id, number) ? number : 0;
}

std::uint64_t leading_sequence(std::string_view line) {
  Rest rest{line};
  std::uint64_t sequence = 0;
  if (!take(rest, "{\"seq\":")) return 0;
  std::size_t digits = 0;
  while (digits < rest.text.size() && rest.text[digits] >= '0' && rest.text[digits] <= '9') ++digits;
  return read_digits(rest.text.substr(0, digits), sequence) ? sequence : 0;
}

}  // namespace vorbelctl
