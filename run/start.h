// Start-up: from the options to a run that is on the wire.
#pragma once

#include "run/run_state.h"

namespace vorbeld {

// Reads what the options hold, opens files and sockets, prints the banner, announces the day on the feed and starts the
// timers, in an order that observers can see. False when the retransmission port or the report port cannot be had; the
// reason is printed then. run.options must be set.
bool start_run(RunState& run);

}  // namespace vorbeld
