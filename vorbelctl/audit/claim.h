// What a handler under test says of a message or a book: named values out of JSON. Owns the rule when such a value says
// what the message does, whatever way of writing it down the handler chose.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "vorbelctl/handler/message.h"

namespace vorbelctl {

struct Claim {
  enum class Type : std::uint8_t { nothing, flag, number, text, array };

  std::string name;  // of a member of an inner object: "outer.inner"
  Type type = Type::nothing;
  std::string text;  // a text as it is, a number as it stands in the line, "[...]" for an array
  double number = 0;
  bool flag = false;
};

using Claims = std::vector<Claim>;

// The claim of this name, or null.
const Claim* find_claim(const Claims& claims, std::string_view name);

// True when the claim says what the cell does: numbers within the tolerance and also written as texts, digits also as
// numbers, flags for Y and blank, texts without the blanks behind them, and null, NaN, an empty or a blank text for
// nothing. Numbers that are not finite may be null too.
bool says(const Claim& claim, const Cell& cell, vorbeld::Form form, std::string_view codes, double tolerance);

// The claim as people read it.
std::string claim_text(const Claim& claim);

}  // namespace vorbelctl
