// The audit command: brings the messages to be judged from wherever they are, ends in time, and hands the outcome to
// whoever asked for it.
#pragma once

#include "vorbelctl/commands/options.h"

namespace vorbelctl {

// Returns the exit status. Throws std::runtime_error when a socket cannot be opened.
int run_audit(const Options& options);

}  // namespace vorbelctl
