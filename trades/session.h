// Messages about the session and its bonds: controls at the start and at the close, halts and resumes, daily summaries,
// and the close itself.
#pragma once

#include <string_view>

#include "trades/bonds.h"
#include "trades/engine.h"

namespace vorbeld {

// Sends a C message with this code ('I' and 'O' at the start; 'C', 'X', 'J' and 'Z' at the close), its truth record and
// console line.
void disseminate_control(Engine& engine, char code);

// Sends an A/H message: the halt (action 'H') or its end ('R') of a bond, sets or clears its halted flag and writes the
// truth record and the console line. The reason is cut to four characters on the wire only. Neither halting a halted
// bond nor resuming a trading one is refused.
void disseminate_halt(Engine& engine, Bond& bond, char action, std::string_view reason);

// Sends an A/E message, the day's prices of a bond, and its truth record. No console line.
void disseminate_summary(Engine& engine, const Bond& bond);

// Closes the session: control 'C', a summary for every bond that traded, controls 'X', 'J' and 'Z'. From then on trades
// and amendments are refused, and heartbeats are end-of-session packets, the first of them due at once. To be called
// once only.
void close_session(Engine& engine);

}  // namespace vorbeld
