// The three trade messages as bytes: T/M, T/N and T/O, each put together in the order of its layout.
#pragma once

#include <array>
#include <cstdint>

#include "btds/message_table.h"
#include "btds/price_change.h"
#include "trades/bonds.h"
#include "trades/trade_index.h"

namespace vorbeld {

// A message is built at `now_s`, UTC seconds. `original` is the cancelled or corrected trade, `previous` the bond's
// prices before the amendment; those of `bond` are the prices after it.

// T/M: a trade with its encoded body and change indicator.
std::array<char, layout::trade.length> encode_trade(const Bond& bond, std::uint64_t trade_id, const TradeInput& input,
                                                    const TradeBody& body, char change, std::int64_t now_s);

// T/N: the original trade is cancelled.
std::array<char, layout::cancel.length> encode_cancel(const Bond& bond, std::uint64_t original_id,
                                                      const TradeRecord& original, const DayPrices& previous,
                                                      std::int64_t now_s);

// T/O: the original trade is replaced by `new_id` with the body `new_body`.
std::array<char, layout::correction.length> encode_correction(const Bond& bond, std::uint64_t original_id,
                                                              const TradeRecord& original, std::uint64_t new_id,
                                                              const TradeBody& new_body, const DayPrices& previous,
                                                              std::int64_t now_s);

}  // namespace vorbeld
