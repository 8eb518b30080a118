// The main loop: one thread that serves, fires what is due, and sleeps at most 10 ms.
#pragma once

#include "run/run_state.h"

namespace vorbeld {

// Runs a started run until the control port stops it or the drain after a signal is over.
void run_loop(RunState& run);

}  // namespace vorbeld
