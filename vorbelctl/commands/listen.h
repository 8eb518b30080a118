// The command "listen": follows the feed and prints what comes.
#pragma once

#include "vorbelctl/commands/options.h"

namespace vorbelctl {

// Runs until its limits are reached or a signal comes; returns the exit status.
int run_listen(const Options& options);

}  // namespace vorbelctl
