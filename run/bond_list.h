// The bond universe as the command line gives it.
#pragma once

#include <string_view>

#include "trades/universe.h"

namespace vorbeld {

// The CUSIPs between the commas of `text`; empty pieces are skipped.
CusipSet read_cusips(std::string_view text);

// Appends the bonds of `text` in its order: records between commas, fields between colons (CUSIP, description, symbol,
// grade, price, coupon). A record of fewer than four fields is skipped, a missing price is 100, a missing coupon 5.
// Only the grade "HY" and the CUSIPs of `high_yield` make a bond high yield. A price or coupon that std::stod cannot
// read throws what it throws.
void read_bonds(std::string_view text, const CusipSet& high_yield, Universe& universe);

}  // namespace vorbeld
