// What an audit finds wrong: two witnesses that say different things of the same message. Keeps the first findings and
// counts them all, so that a run in which everything is wrong costs no more memory than a good one. Also owns the rule
// when two values count as the same.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "vorbelctl/handler/fields.h"

namespace vorbelctl {

// Who says something about a message. `order` is the rule that numbers go up by one and times go forward, `earlier`
// what messages before said of the same bond, `keys` what the other keys of a record make of it.
enum class Witness : std::uint8_t { message, truth, tape, book, order, earlier, keys, capture };

struct Difference {
  std::uint64_t sequence = 0;  // of the message in question
  std::string field;           // by the layout's name; "tape.", "book." or "summary." before what is not a message's
  Witness expecting = Witness::truth;
  std::string expected;  // as value_text writes it; "-" for nothing
  Witness showing = Witness::message;
  std::string found;
};

inline constexpr std::size_t most_differences_listed = 1000;

struct Findings {
  std::uint64_t total = 0;
  std::vector<Difference> listed;   // the first ones that were found, at most most_differences_listed
  std::optional<Difference> first;  // of those with the lowest sequence number, the one found first
};

void add_difference(Findings& findings, Difference difference);

// "message", "truth" and so on.
std::string_view witness_name(Witness witness);

// True when the values are the same to whoever reads them: numbers within half a unit of the last decimal that
// `expected` has, texts without the blanks on their right, an empty text and no value at all.
bool same_value(const Value& expected, const Value& found);

// Compares the values of one name and notes the difference, if there is one. Null stands for "no such field".
void compare_value(Findings& findings, std::uint64_t sequence, const std::string& field, Witness expecting,
                   const Value& expected, Witness showing, const Value& found);

}  // namespace vorbelctl
