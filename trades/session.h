// The frame of the trading session: control messages at its start and close, daily summaries, and the close itself.
#pragma once

#include "trades/engine.h"

namespace vorbeld {

// Sends a C message with this code ('I' and 'O' at the start; 'C', 'X', 'J' and 'Z' at the close), its truth record and
// console line.
void disseminate_control(Engine& engine, char code);

// Sends an A/E message, the day's prices of a bond, and its truth record. No console line.
void disseminate_summary(Engine& engine, const Bond& bond);

// Closes the session: control 'C', a summary for every bond that traded, controls 'X', 'J' and 'Z'. From then on trades
// and amendments are refused, and heartbeats are end-of-session packets, the first of them due at once. To be called
// once only.
void close_session(Engine& engine);

}  // namespace vorbeld
