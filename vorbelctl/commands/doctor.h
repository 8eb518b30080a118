// The command "doctor": finds out why nothing arrives.
#pragma once

#include "vorbelctl/commands/options.h"

namespace vorbelctl {

// Runs all checks, listens, prints what was found and returns the exit status.
int run_doctor(const Options& options);

}  // namespace vorbelctl
