// What the run tells about itself: the lines that announce it and its last one, the status lines, the statistics file.
#pragma once

#include <cstdint>

#include "run/configuration.h"
#include "run/run_state.h"

namespace vorbeld {

// Prints where the feed and its services are, and, when the control port is open, the commands that it takes.
void print_banner(const RunState& run, const BenchOptions& options);

// Prints the status line and the faults summary when more than 9999 ms have passed since the last time.
void print_status(RunState& run, std::uint64_t now_ms);

// Replaces the statistics file, one line of JSON, when there is one and more than 999 ms have passed since the last
// time. It is written beside its path, with ".tmp" behind it, and renamed, so that a reader never sees half of it.
// Failures are silent: the previous file stays, and nothing is left beside it.
void write_statistics(RunState& run, std::uint64_t now_ms);

// Prints the last line of a run: the last sequence number and the number of trades.
void print_stopped(const RunState& run);

}  // namespace vorbeld
