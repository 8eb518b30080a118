// The command "report": sends trade reports over TCP and counts what became of them.
#pragma once

#include "vorbelctl/commands/options.h"

namespace vorbelctl {

// Sends the file's reports, prints the totals and returns the exit status.
int run_report(const Options& options);

}  // namespace vorbelctl
