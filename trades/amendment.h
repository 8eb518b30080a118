// Cancels and corrections of trades already disseminated, and the queue of those that fall due later.
#pragma once

#include <cstdint>
#include <deque>

#include "trades/engine.h"

namespace vorbeld {

enum class Amendment { cancel, correction };

struct PendingAmendment {
  std::uint64_t due_ms = 0;  // monotonic
  Amendment kind = Amendment::cancel;
  std::uint64_t trade_id = 0;  // 0 when the trade was refused; no trade is found then
};

// Appended to at the back, carried out from the front. Only the front's due time is looked at: an entry behind one
// that falls due later waits for it.
using PendingAmendments = std::deque<PendingAmendment>;

// Sends a T/N message for a trade and takes it out of its bond's book. False, with nothing done, when there is no such
// trade, it is cancelled or corrected already, or the session is closed.
bool cancel_trade(Engine& engine, std::uint64_t trade_id);

// Sends a T/O message that replaces a trade by one at `new_price` (percent of par) and `new_quantity` (currency units)
// under a new trade id; all else is the corrected trade's. The replacement is the newest trade of its bond's book.
// Refused like a cancel.
bool correct_trade(Engine& engine, std::uint64_t trade_id, double new_price, double new_quantity);

}  // namespace vorbeld
