// What an audit finds wrong: for one field of one message, what was expected and by which source, and what was received
// instead. Keeps the first ones and counts them all, so that a run in which everything is wrong costs no more memory
// than a good one. What merely follows from an earlier discrepancy, such as a book that stays wrong, is counted with
// it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "vorbelctl/audit/pattern.h"
#include "vorbelctl/handler/message.h"

namespace vorbelctl {

// Where a value stands, or what it follows from.
enum class Source : std::uint8_t {
  message,    // the message as it was received
  repeat,     // the same message when it came again
  truth,      // its truth record
  tape,       // its tape line
  recording,  // what a handler under test wrote down
  book,       // what the prints received so far make of the bond
  order,      // numbers go up by one and times go forward
  earlier,    // what messages before said of the same bond
  record,     // the other keys of the same record or line
  rule        // what the bench never does otherwise
};

// "message", "truth" and so on.
std::string_view source_name(Source source);

struct Discrepancy {
  std::uint64_t sequence = 0;  // of the message in question
  std::string field;  // by its name in the table of messages; "tape.", "book." or "summary." before what is not a
                      // message's
  Source source = Source::truth;
  std::string expected;  // as people read it; "-" for nothing
  Source place = Source::message;
  std::string received;
  std::uint64_t follow_ups = 0;  // further values that are wrong because of this one
};

inline constexpr std::size_t most_discrepancies_listed = 1000;

// Names a discrepancy that others may follow from.
struct Cause {
  std::size_t place = most_discrepancies_listed;  // in the list; beyond it: it is not listed
};

struct Discrepancies {
  std::uint64_t total = 0;
  std::uint64_t follow_ups = 0;
  std::vector<Discrepancy> listed;   // the first that were noted, at most most_discrepancies_listed
  std::optional<Discrepancy> first;  // of those with the lowest sequence number, the one noted first
  std::vector<WrongField> fields;    // in how many messages each is wrong, and how
  bool first_is_listed = true;       // false: the list was full by then
};

Cause note(Discrepancies& discrepancies, Discrepancy discrepancy);

// Counts a value that is wrong because of `cause`.
void note_follow_up(Discrepancies& discrepancies, Cause cause);

// The value of a cell as people read it: numbers with the decimals of their form, "-" for nothing, a text of blanks in
// quotes. Cut at 120 characters.
std::string cell_text(const Cell& cell, vorbeld::Form form);

// A text as it is shown in a discrepancy.
std::string shown(std::string_view text);

}  // namespace vorbelctl
