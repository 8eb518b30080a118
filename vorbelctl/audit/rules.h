// What the bench never does otherwise, whatever its options, faults and commands: the rules that a message, its truth
// record and its tape line show together even where the three agree with one another. One row a rule: its name, what it
// says and the check. Keeps what the rules need to remember of the run. What cannot be known from outside is in no row.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "vorbelctl/audit/discrepancy.h"
#include "vorbelctl/audit/record.h"

namespace vorbelctl {

// What the rules remember of one bond.
struct BondRules {
  // The yield times the price of every trade: a hundred times the bond's coupon, which lies between these.
  double least_product = -std::numeric_limits<double>::infinity();
  double most_product = std::numeric_limits<double>::infinity();
  double cap = 0;               // above which quantities are capped; 0: no capped one has been seen
  double largest_uncapped = 0;  // quantity
  bool summed_up = false;       // its daily summary has been sent
};

// What the rules remember of one trade.
struct TradeRules {
  std::int64_t sent_s = 0;   // UTC; 0: not known
  bool replacement = false;  // a correction brought it
  bool amended = false;
};

struct Rules {
  // The control message that the day has come to; a blank: not known, as after a lost record.
  char stage = ' ';
  std::uint64_t sequence = 0;            // of the record before
  std::uint64_t closed_by = 0;           // number of the day's last control message, which ends the session; 0: not yet
  std::vector<TradeRules> trades;        // by trade number - 1; grows with the run, as any trade may be amended
  std::vector<std::uint64_t> amendable;  // trade numbers, ascending: those that are not dated; amended ones go as they
                                         // are found behind all others
  bool whole = true;                     // false: a record is lost, so what depends on all of them is not held any more
  std::vector<std::optional<Cause>> broken;  // by the place in the table: the first breach, which further ones follow
};

// One record with what belongs to it.
struct Ruled {
  std::uint64_t sequence = 0;
  const TruthRecord& record;
  const TruthRecord* original = nullptr;  // the trade that is amended; null: there is none, or it is not known
  std::uint64_t trade = 0;                // number of the trade that a trade or correction brings; 0: not known
  std::uint64_t original_trade = 0;       // number of the amended trade; 0: not known
  const TapeLine* tape = nullptr;         // null: there is no line, or it is wrong
  std::int64_t sent_s = 0;                // UTC; 0: not known
  bool generated = false;                 // a trade that was surely not reported
  bool doubted = false;                   // record and message differ, so that neither teaches anything
  bool halted = false;                    // the bond, before this message
  std::optional<std::uint64_t> prints{};  // of the bond, before this message; nothing: not known for sure
  std::string_view unsummed{};            // at the end of the summaries: a bond that traded and has none
  BondRules* bond = nullptr;              // null: a control message
};

// A value that breaks a rule.
struct Breach {
  std::string_view field{};  // empty: the rule is kept
  std::string received{};
};

struct Rule {
  std::string_view name;
  std::string_view says;
  Breach (*check)(const Rules& rules, const Ruled& ruled);
};

// All of them, in the order in which they are checked.
std::span<const Rule> message_rules();

// Holds the record against all rules and notes what it breaks, the first breach of each rule as a discrepancy and
// further ones as its follow-ups. `place`: where the values were seen.
void hold_rules(Rules& rules, const Ruled& ruled, Source place, Discrepancies& discrepancies);

// Remembers what the rules need of the record. To be called with every record in order, behind hold_rules.
void remember(Rules& rules, const Ruled& ruled);

// The next record is this one. Where it does not follow the one before, records are lost.
void expect_in_row(Rules& rules, std::uint64_t sequence);

// A record is lost or not to be believed: what depends on every record is not held any more.
void forget_order(Rules& rules);

// True when a trade of this record cannot have been reported from outside, so that the generator made it. An outside
// client may name any venue, so the tape alone does not tell. `tape` may be null.
bool surely_generated(const TruthRecord& trade, const TapeLine* tape);

// What is wrong with the label of a mark, which came in a command of at most 255 bytes whose end is trimmed; empty:
// nothing. The label as it was given, not escaped.
std::string_view wrong_label(std::string_view label);

}  // namespace vorbelctl
