// The table of the commands, and their options as data: a row for each. Reading the command line, the help and the
// completion follow it, so that adding a command or an option is adding a row.
#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "vorbelctl/commands/commands.h"

namespace vorbelctl {

// The largest sequence number that has a next one.
inline constexpr std::uint64_t largest_sequence = std::numeric_limits<std::uint64_t>::max() - 1;

// Where a value goes. A flag is a bool: it takes no value.
using Target = std::variant<bool*, std::string*, double*, std::uint16_t*, std::uint32_t*, std::uint64_t*,
                            std::vector<std::string>*>;

// What a value must be.
struct AnyText {};
struct ExistingFile {};  // or "-", standard input
struct WholeNumber {     // decimal digits and nothing else
  std::uint64_t least = 0;
  std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
  bool in_help = true;  // the help says so
};
struct Seconds {  // at most 1000000, so that milliseconds fit everywhere
  bool may_be_zero = false;
};
struct Factor {};  // above 0, at most 1000000
struct OneOf {
  std::vector<std::string> words;
};
struct Ipv4Address {
  bool is_group = false;  // 224.0.0.0 to 239.255.255.255
};
using Check = std::variant<AnyText, ExistingFile, WholeNumber, Seconds, Factor, OneOf, Ipv4Address>;

struct OptionRow {
  std::string name;  // "--timeout"; without the dashes an argument, which stands at its place among the arguments
  std::string says;  // for the help
  Target target;     // holds the default until something is read
  Check check{};
  bool required = false;
  bool shows_default = false;           // in the help
  bool is_path = false;                 // of a file, for the completion; an ExistingFile is one anyway
  std::vector<std::string> offers{};    // what the completion offers for it beside that
  std::vector<std::string> excludes{};  // options that it cannot stand beside
  std::string variable{};               // of the environment, which says it where the option does not; empty: none does
};

using OptionList = std::vector<OptionRow>;

// Prints the help of the command that is named behind it, or of them all. It is no row of the table: it takes no
// options.
inline constexpr std::string_view help_command = "help";

struct Command {
  std::string_view name;
  std::string_view summary;
  OptionList (*options)(Options&);  // its own ones; the targets lie in the record handed in
  int (*run)(const Options&);
  std::string_view footer;             // of the help: what else to know, an example, the exit statuses
  std::string (*details)() = nullptr;  // of the help, before the footer; null: there are none
};

// In the order of the help.
std::span<const Command> all_commands();

// Null when no command has that name.
const Command* find_command(std::string_view name);

// The options that all commands have: where the bench is, and in the second list how to print. A port that the command
// cannot do without may not be 0.
OptionList address_options(const Command& command, Options& options);
OptionList output_options(Options& options);

// Runs the command and returns its exit status. What it throws, and output that cannot be written, ends as a line on
// standard error and a status too.
int run_command(const Command& command, const Options& options);

}  // namespace vorbelctl
