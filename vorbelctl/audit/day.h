// A bond's day under judgement: what the record and the message say of high, low, last and prints, against what the
// prints make of them. Part of the judge. Knows when messages cannot tell the day as exactly as the publisher knows it.
#pragma once

#include <string_view>

#include "vorbelctl/audit/case.h"

namespace vorbelctl {

// True for the names of fields that say something of a bond's day: prices, their yields, and the change indicator.
bool is_day_field(std::string_view name);

// Takes the message into the bond's book and compares what everybody says of the day afterwards. `to_count` brings the
// prints: the message itself, or, where it was not heard or is wrong, the expected one, so that one fault is one
// finding and not one with every message of the bond that follows.
void judge_day(Case& the_case, BondState& bond, const Message& expected, const Message& to_count);

}  // namespace vorbelctl
