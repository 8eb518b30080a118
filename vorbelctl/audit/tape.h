// The tape read alongside the truth records: every trade has one line on it, in the same order. Finds a trade's line
// and compares it with the truth record; knows nothing of messages.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "vorbelctl/audit/discrepancy.h"
#include "vorbelctl/audit/line_reader.h"
#include "vorbelctl/audit/record.h"

namespace vorbelctl {

// Not to be copied: the line's texts stand in `text`.
struct Tape {
  Tape() = default;
  Tape(const Tape&) = delete;
  Tape& operator=(const Tape&) = delete;

  LineReader file;
  bool ended = false;  // another run follows in the file
  bool there = false;  // `line` is the one that is next
  TapeLine line;
  std::string_view wrong_key;  // why it cannot be used; empty: it can
  std::string text;
  std::uint64_t line_at = 0;  // offset of the line read last
  std::uint64_t lines = 0;
  std::uint64_t written_ms = 0;    // of the line taken before; the wall clock goes forward
  std::vector<Discrepancy> found;  // lines that belong to no trade, not yet taken
};

// Opens the latest run in the file. Throws std::invalid_argument when it cannot be read.
void open_tape(Tape& tape, const std::string& path);

enum class Presence : std::uint8_t { there, not_yet, absent };

// Makes `line` the one of this trade. not_yet: it may still be written; absent: a later trade's line stands there, or
// `no_more` will be written. Lines of trades that the truth does not have are noted and left out.
Presence reach_line(Tape& tape, std::uint64_t sequence, std::string_view trade_id, bool no_more);

// When the line that is next was written, wall clock; 0: it is not there or cannot be believed.
std::uint64_t peek_written_ms(Tape& tape);

// Notes the lines that are left up to the sequence number `last`: all its trades have been compared, so they belong to
// none.
void pass_rest(Tape& tape, std::uint64_t last);

// The field of the trade's message that says the same as this one of its line, "tape.price" or so; nothing where none
// does.
std::optional<FieldId> field_of_tape(std::string_view name);

// Compares `line`, which is the trade's, with the trade's record, and takes it off the tape. Returns the wall-clock
// time at which it was written, when it can be believed.
std::optional<std::uint64_t> compare_line(Tape& tape, std::uint64_t sequence, const TruthRecord& trade,
                                          std::vector<Discrepancy>& found);

}  // namespace vorbelctl
