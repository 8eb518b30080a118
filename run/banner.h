// The lines that announce a run.
#pragma once

#include "run/run_state.h"

namespace vorbeld {

// Prints where the feed and its services are, and, when the control port is open, the commands that it takes.
void print_banner(const RunState& run);

}  // namespace vorbeld
