// The tape: one JSON line per disseminated trade with its economics, parties and timing as the bench knows them.
#pragma once

#include <cstdint>

#include "trades/engine.h"
#include "trades/trade_input.h"

namespace vorbeld {

// Writes the line of a trade sent under `sequence`; does nothing while the tape takes no lines.
void write_tape(Engine& engine, std::uint64_t sequence, std::uint64_t trade_id, const Bond& bond,
                const TradeInput& input, const TradeRecord& record);

}  // namespace vorbeld
