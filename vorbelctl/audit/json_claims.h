// JSON lines of other programs as claims: one object a line becomes a flat list of named values.
#pragma once

#include <string_view>

#include "vorbelctl/audit/claim.h"

namespace vorbelctl {

// Makes `claims` the members of the object in `line`, in their order. A member of a nested object is named
// "outer.inner"; arrays are left out, and so is what is nested deeper than four objects. NaN and Infinity, which JSON
// does not know and some writers use, are texts, and bytes that are no UTF-8 are taken for U+FFFD. False for what is
// not a JSON object even so.
bool read_claims(std::string_view line, Claims& claims);

}  // namespace vorbelctl
