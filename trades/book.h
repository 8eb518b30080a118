// A bond's book of the day: high, low, last and number of prints, moved by each last-sale-eligible trade and set back
// when one is cancelled. The book always equals a replay of the bond's live prints in dissemination order, but neither
// a trade nor, over a run, a cancel costs more than the logarithm of their number.
#pragma once

#include <cstdint>

#include "trades/bonds.h"
#include "trades/trade_index.h"

namespace vorbeld {

// Moves high, low and last by one print and returns its change indicator: '7' for the first of the day, otherwise '0'
// plus 4 for a new high, 2 for a new low and 1 for a last at another price. A print executed before the current last
// leaves the last alone. Does not count the print.
char apply_print(Bond& bond, double price, double yield, std::uint64_t exec_s);

// Counts the print `trade_id` of `bond` among the live ones. Its record must be complete, the newest of all prints of
// the bond, and eligible.
void keep_print(Bond& bond, TradeIndex& trades, std::uint64_t trade_id);

// Sets high, low and last to what a replay of the live prints gives, after one was cancelled or replaced. Whoever
// cancelled it has taken it out of `prints`.
void rebuild_book(Bond& bond, TradeIndex& trades);

}  // namespace vorbeld
