// The truth file read alongside the messages, record by record, while the bench may still be writing it. Owns the index
// by which an earlier trade's record is found again, sixteen bytes a trade; the records themselves stay in the file.
// Says what is wrong with the file's own order; what the records say of the messages is compared elsewhere.
#pragma once

#include <cstdint>
#include <deque>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "vorbelctl/audit/discrepancy.h"
#include "vorbelctl/audit/line_reader.h"
#include "vorbelctl/audit/record.h"

namespace vorbelctl {

// The record that stands at a place of the file. Not to be copied: its texts stand in its line.
struct TruthEntry {
  TruthEntry() = default;
  TruthEntry(const TruthEntry&) = delete;
  TruthEntry& operator=(const TruthEntry&) = delete;

  bool there = false;          // false: no record has been reached
  std::uint64_t sequence = 0;  // of the message that it belongs to: its own number, or the one that its place gives it
  TruthRecord record;
  std::string_view wrong_key;  // why the record cannot be used; empty: it can
  std::string line;
  std::uint64_t line_at = 0;  // offset of the line in the file
};

struct IndexedTrade {
  std::uint64_t line_at = 0;    // of its record in the truth file; lost_line: the record is lost
  std::uint32_t sent_date = 0;  // YYYYMMDD of its message; 0: the message was not received
  bool amended = false;         // cancelled or corrected since
  bool doubted = false;         // the record and its message say different things
};

struct Truth {
  struct KeptLine {
    std::uint64_t at = 0;
    std::string text;
  };

  LineReader file;
  std::uint64_t last_known = 0;  // sequence number of the last record when the file was opened
  bool begun = false;            // a line has been read
  bool ended = false;            // another run follows in the file
  std::uint64_t other_run_at = std::numeric_limits<std::uint64_t>::max();  // then: the offset of its first line
  std::deque<KeptLine> ahead;                                              // read to see what follows, not yet taken
  TruthEntry entry;                                                        // the record that is next
  std::uint64_t previous = 0;  // sequence number of the record before it; 0: there is none
  std::uint64_t unused_at = std::numeric_limits<std::uint64_t>::max();  // offset of the first line read for its extent
  std::uint64_t records = 0;
  std::uint64_t marks = 0;
  std::vector<std::string> labels;   // of marks that have been read and not taken; at most most_labels_kept
  std::uint64_t unread = 0;          // numbers since the trade indexed last whose record is missing or does not read
  std::vector<IndexedTrade> trades;  // the trade of id n at n - 1; grows with the run: any trade may be amended
  std::vector<Discrepancy> found;    // about the file itself, not yet taken
};

inline constexpr std::size_t most_labels_kept = 200;

// Opens the latest run in the file. Throws std::invalid_argument when it cannot be read.
void open_truth(Truth& truth, const std::string& path);

// The offset of the first line that has not been used yet.
std::uint64_t reached_at(const Truth& truth);

// Makes `entry` the next record, unless it is there already; false while the file does not have it. `no_more`: nothing
// will be written any more.
bool reach_entry(Truth& truth, bool no_more);

// Indexes the trade that the entry brings. Where records before it are lost, its number tells how many of them brought
// trades: these keep their places, so that later ids name the right trades.
void index_trade(Truth& truth, std::uint64_t trade_number, std::uint32_t sent_date);

// Whether this number is the next trade's, or that of one behind trades whose records may be lost.
bool may_be_next(const Truth& truth, std::uint64_t trade_number);

// Whether the record of the trade with this number may be among those that are lost.
bool may_be_lost(const Truth& truth, std::uint64_t trade_number);

// Reads the record of the trade with this id again; false when no record has brought such a trade.
bool find_trade(Truth& truth, std::uint64_t trade_number, TruthEntry& trade);

// The index's entry for the trade, or null. Valid until the next trade is indexed.
IndexedTrade* indexed_trade(Truth& truth, std::uint64_t trade_number);

}  // namespace vorbelctl
