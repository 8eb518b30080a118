// The command "fetch": asks the retransmission port for messages by number.
#pragma once

#include "vorbelctl/commands/options.h"

namespace vorbelctl {

// Asks once, prints what comes and returns the exit status.
int run_fetch(const Options& options);

}  // namespace vorbelctl
