// One message under judgement: the record, what was heard, and what else bears on the two. Shared by the parts of the
// judge and by nobody else. Finds the trade that an amendment is about and the time at which the message was sent.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "vorbelctl/audit/judge.h"

namespace vorbelctl {

// A trade that was sent before, and its number, which its record may have wrong.
struct OriginalTrade {
  TruthRecord record;
  std::uint64_t number = 0;  // one that the index of trades knows
};

struct Case {
  Judge& judge;
  const TruthEntry& entry;
  const Heard* heard;                     // null: the message was not heard, or is of another kind than the record
  std::optional<std::uint64_t> taped_ms;  // wall clock at which the tape line was written
  std::optional<OriginalTrade> original;  // the trade that a cancel or a correction amends, once it is found
  std::int64_t sent_s = 0;                // UTC; 0: not known
};

inline bool is_amendment(Kind kind) {
  return kind == Kind::cancel || kind == Kind::correction;
}

inline bool brings_trade(Kind kind) {
  return kind == Kind::trade || kind == Kind::correction;
}

// Compares two values of one name and notes the difference, if there is one.
void compare(Case& the_case, const std::string& field, Witness expecting, const Value& expected, Witness showing,
             const Value& found);

// Notes a difference that is one for sure.
void complain(Case& the_case, const std::string& field, Witness expecting, const std::string& expected, Witness showing,
              const std::string& found);

// The text of a field that was heard; null when nothing, no such field or no text was.
const std::string* heard_text(const Case& the_case, std::string_view name);

// Finds the trade that the case's record amends and marks it amended; complains when there is none, unless its record
// may be lost, and when it had been amended already.
void take_original(Case& the_case);

// Completes the expected message by the time of its sending, and notes that time in the case.
void expect_sent_at(Case& the_case, Message& expected);

// The same for the date on which the original was sent. Needs an original and something heard.
void expect_original_date(Case& the_case, Message& expected);

}  // namespace vorbelctl
