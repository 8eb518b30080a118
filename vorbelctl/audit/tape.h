// The tape read alongside the truth records: every trade has one line on it, in the same order. Finds a trade's line
// and compares it with the truth record; knows nothing of messages.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "vorbelctl/audit/findings.h"
#include "vorbelctl/audit/lines.h"
#include "vorbelctl/audit/records.h"

namespace vorbelctl {

struct Tape {
  LineFile file;
  std::optional<Read<TapeRecord>> entry;  // the line that is next
  std::uint64_t lines = 0;
  std::uint64_t written_ms = 0;        // of the line taken before; the wall clock goes forward
  std::vector<Difference> complaints;  // about lines that belong to no trade, not yet taken
};

// Opens the latest run in the file. Throws std::invalid_argument when it cannot be read.
Tape open_tape(const std::string& path);

enum class Presence : std::uint8_t { there, not_yet, absent };

// Makes `entry` the line of this trade. not_yet: it may still be written; absent: a later trade's line stands there, or
// `no_more` will be written. Lines of trades that the truth does not have are complained of and left out.
Presence reach_line(Tape& tape, std::uint64_t sequence, const std::string& trade_id, bool no_more);

// Complains of the lines that are left up to the sequence number `last`: all its trades have been compared, so they
// belong to none.
void pass_rest(Tape& tape, std::uint64_t last);

// Compares `entry`, which is the trade's line, with the trade's record, and takes it off the tape. Returns the
// wall-clock time at which it was written, when it can be believed.
std::optional<std::uint64_t> compare_line(Tape& tape, std::uint64_t sequence, const TruthRecord& trade,
                                          Findings& findings);

}  // namespace vorbelctl
