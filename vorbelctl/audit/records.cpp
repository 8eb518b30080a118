#include "vorbelctl/audit/records.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <span>
#include <variant>

namespace vorbelctl {
namespace {

using Slot = std::variant<char*, bool*, std::string*, double*, std::uint64_t*, std::optional<double>*>;

template <class Record>
struct Key {
  std::string_view name;
  Slot (*slot)(Record&);
};

using TruthKey = Key<TruthRecord>;
using TapeKey = Key<TapeRecord>;

constexpr TruthKey sequence_key{"seq", [](TruthRecord& r) -> Slot { return &r.sequence; }};
constexpr TruthKey category_key{"cat", [](TruthRecord& r) -> Slot { return &r.category; }};
constexpr TruthKey type_key{"type", [](TruthRecord& r) -> Slot { return &r.type; }};
constexpr TruthKey event_key{"event", [](TruthRecord& r) -> Slot { return &r.event; }};
constexpr TruthKey cusip_key{"cusip", [](TruthRecord& r) -> Slot { return &r.cusip; }};
constexpr TruthKey symbol_key{"symbol", [](TruthRecord& r) -> Slot { return &r.symbol; }};
constexpr TruthKey original_key{"orig_trade_id", [](TruthRecord& r) -> Slot { return &r.original_id; }};
constexpr TruthKey function_key{"function", [](TruthRecord& r) -> Slot { return &r.function; }};
constexpr TruthKey change_key{"change", [](TruthRecord& r) -> Slot { return &r.change; }};

constexpr std::array opening_keys{sequence_key, category_key, type_key, event_key};

constexpr std::array trade_keys{
    cusip_key,
    symbol_key,
    TruthKey{"trade_id", [](TruthRecord& r) -> Slot { return &r.trade_id; }},
    TruthKey{"qty", [](TruthRecord& r) -> Slot { return &r.terms.quantity; }},
    TruthKey{"capped", [](TruthRecord& r) -> Slot { return &r.capped; }},
    TruthKey{"qty_ind", [](TruthRecord& r) -> Slot { return &r.terms.quantity_indicator; }},
    TruthKey{"price", [](TruthRecord& r) -> Slot { return &r.terms.price; }},
    TruthKey{"yield", [](TruthRecord& r) -> Slot { return &r.terms.yield; }},
    TruthKey{"side", [](TruthRecord& r) -> Slot { return &r.terms.side; }},
    TruthKey{"as_of", [](TruthRecord& r) -> Slot { return &r.terms.as_of; }},
    TruthKey{"special", [](TruthRecord& r) -> Slot { return &r.terms.special; }},
    TruthKey{"sale3", [](TruthRecord& r) -> Slot { return &r.terms.sale_condition_3; }},
    TruthKey{"sale4", [](TruthRecord& r) -> Slot { return &r.terms.sale_condition_4; }},
    TruthKey{"exec", [](TruthRecord& r) -> Slot { return &r.terms.executed_at; }},
    TruthKey{"settle", [](TruthRecord& r) -> Slot { return &r.terms.settlement; }},
    TruthKey{"remuneration", [](TruthRecord& r) -> Slot { return &r.terms.remuneration; }},
    TruthKey{"rpt", [](TruthRecord& r) -> Slot { return &r.terms.reporting_party; }},
    TruthKey{"contra", [](TruthRecord& r) -> Slot { return &r.terms.contra_party; }},
    TruthKey{"ats", [](TruthRecord& r) -> Slot { return &r.terms.ats; }},
};

constexpr std::array day_keys{
    TruthKey{"summary.traded", [](TruthRecord& r) -> Slot { return &r.day.traded; }},
    TruthKey{"summary.high", [](TruthRecord& r) -> Slot { return &r.day.high; }},
    TruthKey{"summary.low", [](TruthRecord& r) -> Slot { return &r.day.low; }},
    TruthKey{"summary.last", [](TruthRecord& r) -> Slot { return &r.day.last; }},
    TruthKey{"summary.prints", [](TruthRecord& r) -> Slot { return &r.day.prints; }},
};

constexpr std::array change_keys{change_key};
constexpr std::array amendment_keys{original_key, function_key, change_key};

constexpr std::array halt_keys{
    cusip_key,
    symbol_key,
    TruthKey{"action", [](TruthRecord& r) -> Slot { return &r.action; }},
    TruthKey{"reason", [](TruthRecord& r) -> Slot { return &r.reason; }},
    TruthKey{"at", [](TruthRecord& r) -> Slot { return &r.at; }},
};

constexpr std::array summary_keys{
    cusip_key,
    symbol_key,
    TruthKey{"high", [](TruthRecord& r) -> Slot { return &r.day.high; }},
    TruthKey{"low", [](TruthRecord& r) -> Slot { return &r.day.low; }},
    TruthKey{"close", [](TruthRecord& r) -> Slot { return &r.day.last; }},
};

constexpr std::array tape_keys{
    TapeKey{"seq", [](TapeRecord& r) -> Slot { return &r.sequence; }},
    TapeKey{"ts_ms", [](TapeRecord& r) -> Slot { return &r.written_ms; }},
    TapeKey{"cusip", [](TapeRecord& r) -> Slot { return &r.cusip; }},
    TapeKey{"symbol", [](TapeRecord& r) -> Slot { return &r.symbol; }},
    TapeKey{"price", [](TapeRecord& r) -> Slot { return &r.price; }},
    TapeKey{"quantity", [](TapeRecord& r) -> Slot { return &r.quantity; }},
    TapeKey{"cap", [](TapeRecord& r) -> Slot { return &r.cap; }},
    TapeKey{"side", [](TapeRecord& r) -> Slot { return &r.side; }},
    TapeKey{"reporting_party", [](TapeRecord& r) -> Slot { return &r.reporting_party; }},
    TapeKey{"contra_party", [](TapeRecord& r) -> Slot { return &r.contra_party; }},
    TapeKey{"exec_ts_ms", [](TapeRecord& r) -> Slot { return &r.executed_ms; }},
    TapeKey{"report_lag_ms", [](TapeRecord& r) -> Slot { return &r.report_lag_ms; }},
    TapeKey{"settle", [](TapeRecord& r) -> Slot { return &r.settlement; }},
    TapeKey{"trade_id", [](TapeRecord& r) -> Slot { return &r.trade_id; }},
    TapeKey{"venue", [](TapeRecord& r) -> Slot { return &r.venue; }},
    TapeKey{"where", [](TapeRecord& r) -> Slot { return &r.where; }},
};

using TruthKeys = std::span<const TruthKey>;

// A record is its parts one after the other, the opening keys before them.
struct Shape {
  Kind kind;
  std::array<TruthKeys, 3> parts;
};

constexpr std::array shapes{
    Shape{Kind::trade, {trade_keys, change_keys, day_keys}},
    Shape{Kind::cancel, {amendment_keys, {}, {}}},
    Shape{Kind::correction, {trade_keys, amendment_keys, day_keys}},
    Shape{Kind::halt, {halt_keys, {}, {}}},
    Shape{Kind::summary, {summary_keys, {}, {}}},
    Shape{Kind::control, {}},
};

bool put(const Value& value, char& into) {
  const auto* const text = std::get_if<std::string>(&value);
  if (text == nullptr || text->size() != 1) return false;
  into = text->front();
  return true;
}

bool put(const Value& value, bool& into) {
  const bool* const flag = std::get_if<bool>(&value);
  if (flag != nullptr) into = *flag;
  return flag != nullptr;
}

bool put(const Value& value, std::uint64_t& into) {
  const auto* const count = std::get_if<std::uint64_t>(&value);
  if (count != nullptr) into = *count;
  return count != nullptr;
}

// Digits may stand without quotes.
bool put(const Value& value, std::string& into) {
  if (const auto* const count = std::get_if<std::uint64_t>(&value)) {
    into = std::to_string(*count);
    return true;
  }
  const auto* const text = std::get_if<std::string>(&value);
  if (text != nullptr) into = *text;
  return text != nullptr;
}

// nan and inf come as texts, because JSON has no words for them.
bool put(const Value& value, double& into) {
  if (const auto* const number = std::get_if<Number>(&value)) {
    into = number->value;
  } else if (const auto* const count = std::get_if<std::uint64_t>(&value)) {
    into = static_cast<double>(*count);
  } else if (const auto* const text = std::get_if<std::string>(&value)) {
    char* end = nullptr;
    into = std::strtod(text->c_str(), &end);
    return !text->empty() && *end == '\0';
  } else {
    return false;
  }
  return true;
}

bool put(const Value& value, std::optional<double>& into) {
  if (std::holds_alternative<std::monostate>(value)) {
    into.reset();
    return true;
  }
  return put(value, into.emplace());
}

// Fills the record from the fields, which are these keys in this order; false, with the key noted, at the first value
// that does not read.
template <class Record>
bool fill(std::span<const FieldValue> fields, std::span<const Key<Record>> keys, Read<Record>& read) {
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const bool reads = std::visit([&](auto* into) { return put(fields[i].value, *into); }, keys[i].slot(read.record));
    if (reads) continue;
    read.wrong_key = keys[i].name;
    return false;
  }
  return true;
}

template <class Record>
bool same_keys(std::span<const FieldValue> fields, std::span<const Key<Record>> keys) {
  return std::equal(fields.begin(), fields.end(), keys.begin(), keys.end(),
                    [](const FieldValue& field, const auto& key) { return field.name == key.name; });
}

std::size_t key_count(const Shape& shape) {
  std::size_t count = opening_keys.size();
  for (const auto part : shape.parts) count += part.size();
  return count;
}

bool has_shape(std::span<const FieldValue> fields, const Shape& shape) {
  if (fields.size() != key_count(shape)) return false;
  if (!same_keys(fields.first(opening_keys.size()), TruthKeys(opening_keys))) return false;
  fields = fields.subspan(opening_keys.size());
  for (const auto part : shape.parts) {
    if (!same_keys(fields.first(part.size()), part)) return false;
    fields = fields.subspan(part.size());
  }
  return true;
}

}  // namespace

std::optional<TruthMark> read_mark(const FieldList& fields) {
  if (fields.size() != 2 || fields[0].name != "mark" || fields[1].name != "seq") return {};
  TruthMark mark;
  if (!put(fields[0].value, mark.label) || !put(fields[1].value, mark.sequence)) return {};
  return mark;
}

Read<TruthRecord> read_truth(const FieldList& fields) {
  Read<TruthRecord> read;
  const auto* const shape =
      std::find_if(shapes.begin(), shapes.end(), [&](const Shape& s) { return has_shape(fields, s); });
  if (shape == shapes.end()) {
    read.wrong_key = "keys";
    return read;
  }
  read.record.kind = shape->kind;
  std::span<const FieldValue> rest(fields);
  if (!fill(rest, TruthKeys(opening_keys), read)) return read;
  rest = rest.subspan(opening_keys.size());
  for (const auto part : shape->parts) {
    if (!fill(rest, part, read)) return read;
    rest = rest.subspan(part.size());
  }
  return read;
}

Read<TapeRecord> read_tape(const FieldList& fields) {
  Read<TapeRecord> read;
  const std::span<const TapeKey> keys(tape_keys);
  if (same_keys(std::span<const FieldValue>(fields), keys)) {
    fill(std::span<const FieldValue>(fields), keys, read);
  } else {
    read.wrong_key = "keys";
  }
  return read;
}

std::uint64_t trade_number(const std::string& trade_id) {
  std::uint64_t number = 0;
  const char* const end = trade_id.data() + trade_id.size();
  const auto result = std::from_chars(trade_id.data(), end, number);
  const bool padded_right = trade_id.size() == 7 || (trade_id.size() > 7 && trade_id[0] != '0');
  return result.ec == std::errc() && result.ptr == end && padded_right ? number : 0;
}

}  // namespace vorbelctl
