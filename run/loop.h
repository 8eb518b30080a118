// The main loop: one thread that serves, does what its time has come for, and sleeps at most 10 ms.
#pragma once

#include <cstdint>

#include "run/run_state.h"

namespace vorbeld {

// Runs a started run until the control port stops it or the drain after a signal is over.
void run_loop(RunState& run);

// `now_ms` is the monotonic time of the pass of the main loop that asks; each does nothing while it is not due.

// Starts the drain when a signal came; true when the drain is over.
bool drain_is_over(RunState& run, std::uint64_t now_ms);

// Halts the first bond of the universe for a while; an empty universe waits for its first bond.
void fire_halt(RunState& run, std::uint64_t now_ms);

// Ends that halt.
void lift_halt(RunState& run, std::uint64_t now_ms);

// Pauses the generator for a while; the trades just before it may be lost on the wire.
void fire_idle(RunState& run, std::uint64_t now_ms);

// Closes the session.
void fire_close(RunState& run, std::uint64_t now_ms);

// Carries out the pending cancels and corrections at the front of the queue. A correction draws twice: whether the
// quantity doubles, and the new price.
void carry_out_amendments(RunState& run, std::uint64_t now_ms);

// Generates one trade and draws the gap to the next: 0.3 to 1.7 times the rate.
void fire_trade(RunState& run, std::uint64_t now_ms);

}  // namespace vorbeld
