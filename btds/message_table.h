// All BTDS 2.1 messages in one table: what kinds there are, and every field of each with its name, its place in the
// bytes, how it reads and the group it belongs to. Encoders, decoders, listings, comparisons and the wire-format page
// follow it. Messages are fixed-length ASCII. How a value becomes bytes, or bytes a value, is left to others.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace vorbeld {

// Where a field stands in its message or block, in bytes.
struct Field {
  std::size_t offset;
  std::size_t width;
};

// How the bytes of a field read.
enum class Form : std::uint8_t {
  blank,            // blanks only; it says nothing
  code,             // one byte of `codes`, or any byte where that is empty
  text,             // any bytes, blanks behind a shorter text
  digits,           // digits throughout
  optional_digits,  // digits throughout, or blanks throughout
  price,            // "%011.6f", percent of par; never negative, may be inf
  quantity,         // "%014.2f", currency units; or 1MM+ / 5MM+ for more than so many millions; may be nan or -inf
  yield,            // a sign or blank and "%013.6f", percent, may be inf or nan; or blanks throughout
  block             // a block with a layout of its own
};

// What a field tells about.
enum class Group : std::uint8_t {
  header,
  bond,
  reference,       // another trade: when it was made or sent, its id, what is done to it
  terms,           // the trade itself; in a correction the replacement
  original_terms,  // the trade that is cancelled or corrected
  day,             // the bond's prices of the day and which of them changed
  halt
};

struct FieldRow {
  std::string_view name;
  Field at;
  Form form;
  std::string_view codes{};
};

// The fields of a message behind those that it shares with others, or of a block. Looking up a name that it does not
// have is an error when compiling.
template <std::size_t Count>
struct Layout {
  std::array<FieldRow, Count> rows;
  std::size_t begin;   // offset of the first field
  std::size_t length;  // offset behind the last one

  consteval Field operator[](std::string_view name) const {
    return std::find_if(rows.begin(), rows.end(), [&](const FieldRow& row) { return row.name == name; })->at;
  }
};

// The fields in their order, each of which must begin where the one before it ends.
template <std::size_t Count>
consteval Layout<Count> make_layout(const FieldRow (&rows)[Count]) {
  Layout<Count> layout{{}, rows[0].at.offset, rows[0].at.offset};
  for (std::size_t i = 0; i < Count; ++i) {
    if (rows[i].at.offset != layout.length) throw "a gap, or an overlap, between two fields";
    layout.rows[i] = rows[i];
    layout.length += rows[i].at.width;
  }
  return layout;
}

namespace layout {

using enum Form;

inline constexpr auto header = make_layout({
    {"category", {0, 1}, code, "TAC"},      // T trade, A administrative, C control
    {"type", {1, 1}, code, "MNOHEICXJZ"},   // of a control message: its code
    {"trade_id", {2, 7}, optional_digits},  // low seven digits in T/M and T/O; blank in all others
    {"origin", {9, 1}, code, "O"},
    {"sent_at", {10, 14}, digits},  // dissemination date-time
});

// Follows the header in every message but control.
inline constexpr auto bond = make_layout({
    {"symbol", {24, 14}, text},
    {"cusip", {38, 9}, text},
    {"short_name", {47, 12}, text},
    {"sub_product", {59, 5}, text},
});

// A trade's terms; offsets within the block.
inline constexpr auto trade_body = make_layout({
    {"quantity_indicator", {0, 1}, code, "AE"},  // E over the cap, A otherwise
    {"quantity", {1, 14}, quantity},
    {"price", {15, 11}, price},
    {"remuneration", {26, 1}, code, "MCN "},
    {"special", {27, 1}, code, "Y "},   // Y: not a last sale
    {"side", {28, 1}, code},            // B, S; whatever a report said
    {"as_of", {29, 1}, code, "AR "},    // A as-of, R reversal
    {"executed_at", {30, 14}, digits},  // date-time
    {"reserved", {44, 2}, blank},
    {"sale_condition_3", {46, 1}, code, "ZT "},  // Z late, T after hours
    {"sale_condition_4", {47, 1}, code, "W "},   // W weighted average
    {"settlement", {48, 8}, digits},             // date
    {"yield", {56, 14}, yield},
    {"second_modifier", {70, 1}, code},
    {"reporting_party", {71, 1}, code, "DT"},  // D dealer, T trading system
    {"contra_party", {72, 1}, code, "CAD"},    // C customer, A affiliate, D dealer
    {"ats", {73, 1}, code, "Y "},              // Y: executed on a trading system
});

// '0' plus 4 when the high changed, 2 for the low, 1 for the last.
inline constexpr std::string_view change_codes = "01234567";

// A bond's day after a cancel or correction; offsets within the block.
inline constexpr auto price_change = make_layout({
    {"high", {0, 11}, price},
    {"high_yield", {11, 14}, yield},
    {"low", {25, 11}, price},
    {"low_yield", {36, 14}, yield},
    {"last", {50, 11}, price},
    {"last_yield", {61, 14}, yield},
    {"change", {75, 1}, code, change_codes},
});

// T/M
inline constexpr auto trade = make_layout({
    {"reversed_date", {64, 8}, optional_digits},  // date of the reversed trade; blank in any other trade
    {"body", {72, 74}, block},
    {"change", {146, 1}, code, change_codes},
});

// T/N
inline constexpr auto cancel = make_layout({
    {"original_date", {64, 8}, digits},  // when the cancelled trade was disseminated
    {"original_id", {72, 7}, digits},
    {"function", {79, 1}, code, "C"},
    {"original_body", {80, 74}, block},
    {"prices", {154, 76}, block},
});

// T/O
inline constexpr auto correction = make_layout({
    {"original_date", {64, 8}, digits},  // when the corrected trade was disseminated
    {"original_id", {72, 7}, digits},
    {"function", {79, 1}, code, "N"},
    {"original_body", {80, 74}, block},
    {"body", {154, 74}, block},  // the replacement
    {"prices", {228, 76}, block},
});

// A/H
inline constexpr auto halt = make_layout({
    {"description", {64, 30}, text},
    {"action", {94, 1}, code, "HR"},  // H halt, R resume
    {"action_at", {95, 14}, digits},  // date-time, the same instant as the header's
    {"reason", {109, 4}, text},
});

// A/E
inline constexpr auto summary = make_layout({
    {"reserved", {64, 1}, blank},
    {"high", {65, 11}, price},
    {"high_yield", {76, 14}, yield},
    {"low", {90, 11}, price},
    {"low_yield", {101, 14}, yield},
    {"close", {115, 11}, price},
    {"close_yield", {126, 14}, yield},
});

static_assert(header.length == bond.begin && bond.length == trade.begin && bond.length == cancel.begin);
static_assert(bond.length == correction.begin && bond.length == halt.begin && bond.length == summary.begin);
static_assert(trade_body.length == 74 && price_change.length == 76);

}  // namespace layout

enum class Kind : std::uint8_t { trade, cancel, correction, halt, summary, control };

inline constexpr std::size_t kind_count = 6;

// A field in its message as a whole.
struct MessageField {
  std::string_view name;  // unique in its kind; the terms of the original trade have "original_" before their names
  Field at;
  Form form;
  std::string_view codes;
  Group group;
  std::uint8_t id;  // place of the name among all names, see field_names
};

struct KindRow {
  Kind kind;
  std::string_view name;
  char category;
  std::string_view types;  // the type, or all control codes in the order of a day
  std::size_t length;
  std::span<const MessageField> fields;  // all of its fields in the order of the bytes, blocks taken apart
};

namespace message_table {

// A block or layout as it stands in a message.
struct Part {
  Group group;
  std::size_t at;  // what its offsets count from
  std::span<const FieldRow> rows;
};

inline constexpr auto& terms = layout::trade_body.rows;

// The names of the original's terms, which need a place to stand.
inline constexpr std::string_view original_prefix = "original_";
inline constexpr auto original_names = [] {
  std::array<std::array<char, 32>, terms.size()> names{};
  for (std::size_t i = 0; i < terms.size(); ++i) {
    auto* const end = std::copy(original_prefix.begin(), original_prefix.end(), names[i].data());
    std::copy(terms[i].name.begin(), terms[i].name.end(), end);
  }
  return names;
}();
inline constexpr auto original_terms = [] {
  auto rows = terms;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    rows[i].name = {original_names[i].data(), original_prefix.size() + terms[i].name.size()};
  }
  return rows;
}();

inline constexpr Part header_part{Group::header, 0, layout::header.rows};
inline constexpr Part bond_part{Group::bond, 0, layout::bond.rows};

inline constexpr std::array control_parts{header_part};
inline constexpr std::array trade_parts{header_part, bond_part, Part{Group::reference, 0, layout::trade.rows},
                                        Part{Group::terms, layout::trade["body"].offset, terms}};
inline constexpr std::array cancel_parts{
    header_part, bond_part, Part{Group::reference, 0, layout::cancel.rows},
    Part{Group::original_terms, layout::cancel["original_body"].offset, original_terms},
    Part{Group::day, layout::cancel["prices"].offset, layout::price_change.rows}};
inline constexpr std::array correction_parts{
    header_part,
    bond_part,
    Part{Group::reference, 0, layout::correction.rows},
    Part{Group::original_terms, layout::correction["original_body"].offset, original_terms},
    Part{Group::terms, layout::correction["body"].offset, terms},
    Part{Group::day, layout::correction["prices"].offset, layout::price_change.rows}};
inline constexpr std::array halt_parts{header_part, bond_part, Part{Group::halt, 0, layout::halt.rows}};
inline constexpr std::array summary_parts{header_part, bond_part, Part{Group::day, 0, layout::summary.rows}};

consteval std::size_t count_fields(std::span<const Part> parts) {
  std::size_t count = 0;
  for (const Part& part : parts) {
    for (const FieldRow& row : part.rows) count += row.form == Form::block ? 0 : 1;
  }
  return count;
}

// The names of all fields of all kinds, each once, in the order in which the kinds bring them.
struct NameList {
  std::array<std::string_view, 128> names{};
  std::size_t count = 0;
};
inline constexpr NameList all_names = [] {
  NameList list;
  const auto add = [&](std::span<const Part> parts) {
    for (const Part& part : parts) {
      for (const FieldRow& row : part.rows) {
        auto* const end = list.names.begin() + list.count;
        if (row.form != Form::block && std::find(list.names.begin(), end, row.name) == end) {
          list.names[list.count++] = row.name;
        }
      }
    }
  };
  add(trade_parts);
  add(cancel_parts);
  add(correction_parts);
  add(halt_parts);
  add(summary_parts);
  return list;
}();

// The place of a name among all; their count when it is none of them.
constexpr std::uint8_t id_of(std::string_view name) {
  std::size_t place = 0;
  while (place < all_names.count && all_names.names[place] != name) ++place;
  return static_cast<std::uint8_t>(place);
}

// The change indicator tells of the day, wherever it stands.
consteval Group group_of(const Part& part, const FieldRow& row) {
  return row.name == "change" ? Group::day : part.group;
}

template <std::size_t Count>
consteval std::array<MessageField, Count> take_apart(std::span<const Part> parts) {
  std::array<MessageField, Count> fields{};
  std::size_t count = 0;
  for (const Part& part : parts) {
    for (const FieldRow& row : part.rows) {
      if (row.form == Form::block) continue;
      const Field at{part.at + row.at.offset, row.at.width};
      fields[count++] = {row.name, at, row.form, row.codes, group_of(part, row), id_of(row.name)};
    }
  }
  std::sort(fields.begin(), fields.end(),
            [](const MessageField& left, const MessageField& right) { return left.at.offset < right.at.offset; });
  return fields;
}

inline constexpr auto trade_fields = take_apart<count_fields(trade_parts)>(trade_parts);
inline constexpr auto cancel_fields = take_apart<count_fields(cancel_parts)>(cancel_parts);
inline constexpr auto correction_fields = take_apart<count_fields(correction_parts)>(correction_parts);
inline constexpr auto halt_fields = take_apart<count_fields(halt_parts)>(halt_parts);
inline constexpr auto summary_fields = take_apart<count_fields(summary_parts)>(summary_parts);
inline constexpr auto control_fields = take_apart<count_fields(control_parts)>(control_parts);

}  // namespace message_table

// The kinds in the order of the enumeration.
inline constexpr std::array<KindRow, kind_count> message_kinds{{
    {Kind::trade, "trade", 'T', "M", 147, message_table::trade_fields},
    {Kind::cancel, "cancel", 'T', "N", 230, message_table::cancel_fields},
    {Kind::correction, "correction", 'T', "O", 304, message_table::correction_fields},
    {Kind::halt, "halt", 'A', "H", 113, message_table::halt_fields},
    {Kind::summary, "summary", 'A', "E", 140, message_table::summary_fields},
    {Kind::control, "control", 'C', "IOCXJZ", 24, message_table::control_fields},
}};

inline constexpr const KindRow& row_of(Kind kind) {
  return message_kinds[static_cast<std::size_t>(kind)];
}

// The type of a message of this kind; of a control message the first code of the day.
inline constexpr char type_of(Kind kind) {
  return row_of(kind).types.front();
}

// True for messages that say how a bond's day stands, if only that nothing changed.
constexpr bool tells_of_day(const KindRow& row) {
  return std::any_of(row.fields.begin(), row.fields.end(),
                     [](const MessageField& field) { return field.group == Group::day; });
}

// True when each kind stands at its place and its fields cover its bytes in order, without gap or overlap.
consteval bool kinds_are_whole() {
  for (std::size_t place = 0; place < message_kinds.size(); ++place) {
    const KindRow& row = message_kinds[place];
    std::size_t at = 0;
    for (const MessageField& field : row.fields) {
      if (field.at.offset != at) return false;
      at += field.at.width;
    }
    if (static_cast<std::size_t>(row.kind) != place || at != row.length) return false;
  }
  return true;
}
static_assert(kinds_are_whole());

// The names of all fields, each once; a record of any message's values can be an array of this many.
inline constexpr std::span<const std::string_view> field_names(message_table::all_names.names.data(),
                                                               message_table::all_names.count);

// A field by its name, looked up when compiling; a name that no kind has is an error there.
struct FieldId {
  std::uint8_t id;
  consteval FieldId(const char* name) : id(message_table::id_of(name)) {  // NOLINT(google-explicit-constructor)
    if (id >= message_table::all_names.count) throw "no kind of message has such a field";
  }
};

}  // namespace vorbeld
