// How a command ends that did not do what was asked for: the same words for people and for programs.
#pragma once

#include <string_view>

#include "vorbelctl/commands/commands.h"
#include "vorbelctl/wording/fields.h"

namespace vorbelctl {

// Says on standard error why the command ends and what to do about it; `json` adds an object with `error` and `status`
// as a line of standard output, the fields of `known` before them. Returns the status.
int end_with(Status status, std::string_view why, bool json, FieldList known = {});

}  // namespace vorbelctl
