// The command "watch": a live view of the running bench.
#pragma once

#include "vorbelctl/commands/options.h"

namespace vorbelctl {

// Shows the bench until q is pressed, a signal comes, the time is up or nobody answers; returns the exit status.
int run_watch(const Options& options);

}  // namespace vorbelctl
