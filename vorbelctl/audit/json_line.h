// JSON lines as named values: one object a line becomes a flat list of fields. Reads what a bench writes, which is JSON
// but for the numbers and bytes that its formats let through, and what other programs write for an audit.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "vorbelctl/handler/fields.h"

namespace vorbelctl {

// The members of the object in `line`, in their order. A member of a nested object is named "outer.inner"; arrays are
// left out, and so is what is nested deeper than four objects. Whole numbers are counts, others have six decimals.
// Bare words that JSON does not know, such as nan or a date with leading zeros, become texts; bytes beyond ASCII and
// control characters come through as they are. Nothing is returned for what is no JSON object even so.
std::optional<FieldList> parse_object(std::string_view line);

}  // namespace vorbelctl
