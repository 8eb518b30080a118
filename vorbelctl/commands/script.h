// Control commands as they are written: what can be sent, and the lines of a script.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vorbelctl {

// A line of a script.
struct ScriptLine {
  std::uint64_t at_ms = 0;  // after the start of the script; 0: at once
  std::string command;      // empty: nothing to send (an empty line or a comment)
  std::string wrong;        // what is wrong with the line; empty: nothing
};

// Reads "[--at-ms N] COMMAND". Blanks around the command and line ends are not part of it. `raw`: its arguments may be
// anything.
ScriptLine read_script_line(std::string_view line, bool raw);

// Without the blanks around it and the line end. The bench drops those behind a command; those before it would be part
// of its name.
std::string_view trimmed(std::string_view text);

// What is wrong with a command: it must hold something, no more than the bench reads, and no control bytes, which would
// break the records that the bench makes of it. Unless it is `raw`, its arguments must be what the bench takes them
// for: a bench refuses none, but drops 4294967295 packets for "drop -1" and one for "drop x". Empty: nothing; also for
// a command that the bench may not know, since it says so itself.
std::string check_command(std::string_view command, bool raw);

// The names of the commands that a bench knows.
std::vector<std::string> control_command_names();

// They, and what each does, a line each, as the help lists them.
std::string control_command_help();

// How many trades a "cancel" or "correct" asks a bench for, which reads a number as far as it goes and takes one
// without a number. Nothing for other commands.
std::optional<std::uint64_t> amendments_asked_for(std::string_view command);

}  // namespace vorbelctl
