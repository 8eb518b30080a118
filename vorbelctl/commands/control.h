// The command "control": one control command, or a script of them, sent to the bench.
#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <string>
#include <string_view>

#include "vorbelctl/commands/options.h"

namespace vorbelctl {

// A line of a script.
struct ScriptLine {
  std::uint64_t at_ms = 0;  // after the start of the script; 0: at once
  std::string command;      // empty: nothing to send (an empty line or a comment)
  std::string wrong;        // what is wrong with the line; empty: nothing
};

// Reads "[--at-ms N] COMMAND". Blanks around the command and line ends are not part of it.
ScriptLine read_script_line(std::string_view line);

// What is wrong with a command, whatever it means: it must hold something, no more than the bench reads, and no control
// bytes, which would break the records that the bench makes of it.
std::string check_command(std::string_view command);

// Sends, prints the replies and returns the exit status.
int run_control(const Options& options);

}  // namespace vorbelctl
