// The command line, read by the table of the commands. A wrong one ends here, with status 2.
#pragma once

#include <optional>

#include "vorbelctl/commands/options.h"

namespace vorbelctl {

// Reads the command line into `options`. Returns a status when there is nothing to run: help or the version was printed
// (0), or the command line is wrong (2, said on standard error).
std::optional<int> read_command_line(int argc, const char* const* argv, Options& options);

}  // namespace vorbelctl
