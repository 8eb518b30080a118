// The command "wait": tells a harness when the bench is ready to be used.
#pragma once

#include "vorbelctl/commands/options.h"

namespace vorbelctl {

// Returns as soon as the bench answers, or when the time is up; the result is the exit status.
int run_wait(const Options& options);

}  // namespace vorbelctl
