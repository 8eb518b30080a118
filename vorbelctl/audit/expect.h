// What a message must look like for the truth record that was written about it: the record's values cut, padded and
// clamped as the layouts demand. What no record holds keeps its default here and is judged elsewhere.
#pragma once

#include "vorbelctl/audit/records.h"
#include "vorbelctl/handler/message.h"

namespace vorbelctl {

// The message for the record, complete but for what only other messages tell: the time of sending, the bond's short
// name and description, the date of a reversed trade, and of a bond's day the yields (in a cancel its prices too).
// `original` is the record of the trade that a cancel or correction amends; null when it is not known, which leaves the
// original's terms and a cancel's bond at their defaults.
Message expect_message(const TruthRecord& truth, const TruthRecord* original);

// A price as a message carries it: never negative, NaN as zero, wider numbers cut at the right.
double carried_price(double price);

// False when messages cannot carry the price as it is, so that books rebuilt from them need not be the publisher's.
bool is_carried_whole(double price);

}  // namespace vorbelctl
