// What the run tells about itself while it runs: the status lines on the console and the statistics file.
#pragma once

#include <cstdint>

#include "run/run_state.h"

namespace vorbeld {

// Prints the status line and the faults summary when more than 9999 ms have passed since the last time.
void print_status(RunState& run, std::uint64_t now_ms);

// Replaces the statistics file, one line of JSON, when there is one and more than 999 ms have passed since the last
// time. It is written beside its path and renamed, so that a reader never sees half of it. Failures are silent and
// leave the previous file.
void write_statistics(RunState& run, std::uint64_t now_ms);

}  // namespace vorbeld
