// What a bench writes down of its messages: the records of the truth file, its marks and the lines of the tape, read by
// their own grammar: these keys in this order, texts escaped only where the bench escapes them, numbers as the bench
// writes them (nan, inf and cut ones too). Every key that a kind of record has is a row of one table. What the values
// should be is left to others.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "vorbelctl/handler/message.h"

namespace vorbelctl {

// What records say beside the fields of their messages.
inline constexpr std::array<std::string_view, 6> record_names{"capped",  "traded",   "day_high",
                                                              "day_low", "day_last", "prints"};

// A value of a record by its name: a field of its message, or one of `record_names`. The prices of the day are those
// of the book, not cut or clamped to what a message can carry.
struct RecordId {
  std::uint8_t id;
  consteval RecordId(const char* name)
      : id(vorbeld::message_table::id_of(name)) {  // NOLINT(google-explicit-constructor)
    if (id < vorbeld::field_names.size()) return;
    for (std::size_t i = 0; i < record_names.size(); ++i) {
      if (record_names[i] == name) id = static_cast<std::uint8_t>(vorbeld::field_names.size() + i);
    }
    if (id >= vorbeld::field_names.size() + record_names.size()) throw "records say no such thing";
  }
};

// One record of the truth file. Texts stand in the line that it was read from, the symbol as it is escaped there.
// Numbers have their text as well; flags are "true" or "false".
struct TruthRecord {
  const vorbeld::KindRow* row = &vorbeld::row_of(Kind::control);
  std::uint64_t sequence = 0;
  char category = ' ';
  char type = ' ';
  std::string_view event;
  std::array<Cell, vorbeld::field_names.size() + record_names.size()> cells{};
};

inline const Cell& cell(const TruthRecord& record, RecordId name) {
  return record.cells[name.id];
}

// One line of the tape.
struct TapeLine {
  std::uint64_t sequence = 0;
  std::uint64_t written_ms = 0;  // wall clock
  std::string_view cusip;
  std::string_view symbol;  // as it is escaped in the line
  Cell price;
  Cell quantity;
  char cap = '0';
  char side = ' ';
  char reporting_party = ' ';
  char contra_party = ' ';
  std::uint64_t executed_ms = 0;
  std::uint64_t report_lag_ms = 0;
  std::string_view settlement;
  std::string_view trade_id;
  std::string_view venue;  // as it is escaped
  std::string_view where;  // as it is escaped
};

// A label that somebody put between the records by the control port, and the number of the last message before it.
struct Mark {
  std::string_view label;  // as it is escaped
  std::uint64_t sequence = 0;
};

// Reads a line as a record of the kind that its keys are of, whatever its category, type and event say. Returns what is
// wrong: the first key whose value does not read, "keys" when the keys are those of no kind, "line" for what does not
// even begin like a record; empty: nothing.
std::string_view read_truth(std::string_view line, TruthRecord& record);

std::string_view read_tape(std::string_view line, TapeLine& into);

// False when the line is not a mark.
bool read_mark(std::string_view line, Mark& mark);

// The text behind what the bench escapes: a backslash before every quote and backslash.
std::string unescaped(std::string_view text);

// A trade id's number; 0, which names no trade, for what is not written as trade ids are.
std::uint64_t trade_number(std::string_view trade_id);

// The number of a line that begins {"seq":N; 0 for any other, such as a mark's.
std::uint64_t leading_sequence(std::string_view line);

}  // namespace vorbelctl
