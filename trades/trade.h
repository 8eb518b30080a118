// Dissemination of one trade: the road from a trade as it came in to its message, its records and its books.
#pragma once

#include <cstdint>
#include <optional>

#include "trades/bonds.h"
#include "trades/engine.h"
#include "trades/trade_index.h"

namespace vorbeld {

// The yield of a trade in percent: 100 * coupon / price where one is wanted and the price is positive, else 0.
double trade_yield(const Bond& bond, double price, bool wanted);

// The yield as it is sent: none when it is not wanted.
std::optional<double> sent_yield(const TradeRecord& record);

// Sends a trade as a T/M message, moves its bond's book, keeps its record and writes its truth record, tape line and
// console line. A bond with an unknown CUSIP is added. Returns the trade id, or 0, with nothing done, when the session
// is closed.
std::uint64_t disseminate_trade(Engine& engine, const TradeInput& input);

// The same for a trade whose bond was looked up before: it stands at `position` in the universe and is the first with
// the trade's CUSIP.
std::uint64_t disseminate_trade(Engine& engine, std::uint32_t position, const TradeInput& input);

}  // namespace vorbeld
