#include "vorbelctl/commands/command_line.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <variant>
#include <vector>

#include "vorbelctl/commands/command_table.h"
#include "vorbelctl/commands/ending.h"
#include "vorbelctl/commands/program.h"
#include "vorbelctl/handler/input.h"

namespace vorbelctl {
namespace {

// The number that the whole text is; false when the text is anything else.
template <class Number>
bool read_number(const std::string& text, Number& number) {
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  return result.ec == std::errc() && result.ptr == end;
}

// The validators say in the help what they take, and name what they refuse in plain words.
CLI::Validator validator_of(const WholeNumber& number) {
  const std::string range = fmt::format("{} to {}", number.least, number.most);
  const auto check = [number, range](std::string& text) -> std::string {
    std::uint64_t value = 0;
    if (!read_number(text, value) || value < number.least || value > number.most) {
      return fmt::format("\"{}\" is no whole number from {}", text, range);
    }
    text = fmt::format("{}", value);  // leading zeros would make it an octal number later on
    return "";
  };
  return {check, number.in_help ? range : ""};
}

CLI::Validator validator_of(const Seconds& seconds) {
  constexpr int most = 1000000;
  const std::string range = fmt::format("{} {}", seconds.may_be_zero ? "0 to" : "above 0, up to", most);
  const auto check = [seconds, range](std::string& text) -> std::string {
    double value = 0;
    const bool within = read_number(text, value) && value <= most && (seconds.may_be_zero ? value >= 0 : value > 0);
    return within ? "" : fmt::format("\"{}\" is no number of seconds {}", text, range);
  };
  return {check, range};
}

CLI::Validator validator_of(const Factor& /*factor*/) {
  constexpr int most = 1000000;
  const std::string range = fmt::format("above 0, up to {}", most);
  const auto check = [range](std::string& text) -> std::string {
    double value = 0;
    const bool within = read_number(text, value) && value > 0 && value <= most;
    return within ? "" : fmt::format("\"{}\" is no number {}", text, range);
  };
  return {check, range};
}

CLI::Validator validator_of(const OneOf& choice) {
  const std::string words = fmt::format("{}", fmt::join(choice.words, " or "));
  const auto check = [choice, words](std::string& text) -> std::string {
    const bool is_one = std::find(choice.words.begin(), choice.words.end(), text) != choice.words.end();
    return is_one ? "" : fmt::format("\"{}\" is not {}", text, words);
  };
  return {check, words};
}

CLI::Validator validator_of(const ExistingFile& /*wanted*/) {
  const auto check = [](const std::string& text) { return text == standard_input ? "" : CLI::ExistingFile(text); };
  return {check, CLI::ExistingFile.get_description()};
}

CLI::Validator validator_of(const Ipv4Address& wanted) {
  const auto check = [wanted](std::string& text) -> std::string {
    try {
      const std::uint32_t address = ipv4_number(text);
      if (!wanted.is_group || is_multicast(address)) return "";
      return fmt::format("\"{}\" is no multicast group; those are 224.0.0.0 to 239.255.255.255", text);
    } catch (const std::invalid_argument& wrong) {
      return wrong.what();
    }
  };
  return {check, ""};
}

void add_check(CLI::Option& option, const Check& check) {
  if (const auto* file = std::get_if<ExistingFile>(&check)) option.check(validator_of(*file));
  if (const auto* number = std::get_if<WholeNumber>(&check)) option.transform(validator_of(*number));
  if (const auto* seconds = std::get_if<Seconds>(&check)) option.check(validator_of(*seconds));
  if (const auto* factor = std::get_if<Factor>(&check)) option.check(validator_of(*factor));
  if (const auto* choice = std::get_if<OneOf>(&check)) option.check(validator_of(*choice));
  if (const auto* address = std::get_if<Ipv4Address>(&check)) option.check(validator_of(*address));
}

CLI::Option* add_option(CLI::App& app, const OptionRow& row) {
  return std::visit(
      [&](auto* target) {
        if constexpr (std::is_same_v<decltype(target), bool*>) {
          return app.add_flag(row.name, *target, row.says);
        } else {
          return app.add_option(row.name, *target, row.says);
        }
      },
      row.target);
}

void add_options(CLI::App& app, const OptionList& rows, const std::string& group) {
  for (const OptionRow& row : rows) {
    CLI::Option& option = *add_option(app, row);
    if (!group.empty()) option.group(group);
    if (row.required) option.required();
    if (row.shows_default) option.capture_default_str();
    add_check(option, row.check);
  }
  for (const OptionRow& row : rows) {
    for (const auto& other : row.excludes) app.get_option(row.name)->excludes(app.get_option(other));
  }
}

void add_command(CLI::App& app, const Command& command, Options& options) {
  CLI::App& added = *app.add_subcommand(std::string(command.name), std::string(command.summary));
  add_options(added, command.options(options), "");
  add_options(added, address_options(command, options), "Where the bench is");
  add_options(added, output_options(options), "");
  added.footer(fmt::format("\n{}{}{}", command.details == nullptr ? "" : command.details(),
                           command.details == nullptr ? "" : "\n", command.footer));
}

// Takes from the environment what the command line does not say of where the bench is; an empty variable says nothing.
// Returns what is wrong with one; empty: nothing.
std::string take_variables(CLI::App& app, const Command& command, Options& options) {
  for (const OptionRow& row : address_options(command, options)) {
    const char* const value = row.variable.empty() ? nullptr : std::getenv(row.variable.c_str());
    CLI::Option& option = *app.get_option(row.name);
    if (value == nullptr || *value == '\0' || option.count() != 0) continue;
    try {
      option.add_result(value);
      option.run_callback();
    } catch (const CLI::ParseError& wrong) {
      const std::string says = wrong.what();  // "--port: ..."
      return fmt::format("the variable {} cannot stand for {}", row.variable, says);
    }
    options.variables.push_back(fmt::format("{}={}", row.variable, value));
  }
  return "";
}

// What is wrong with options that are right each by itself; empty: nothing.
std::string check_together(const Options& options) {
  const bool recovers = (options.command == "listen" && (options.listen.recover || options.listen.from != 0)) ||
                        (options.command == "watch" && options.watch.recover) ||
                        (options.command == "audit" && options.audit.offline);
  if (recovers && options.addresses.retrans_port == 0) {
    return "recovery needs a retransmission port; give it with --retrans-port";
  }
  if (options.audit.to != 0 && options.audit.to < options.audit.from) {
    return fmt::format("--to {} is before --from {}", options.audit.to, options.audit.from);
  }
  if (options.command == "control" && options.control.words.empty() && options.control.script.empty()) {
    return "control needs a value for command";
  }
  if (options.command == "fetch" && options.fetch.count - 1U > largest_sequence - options.fetch.first) {
    return fmt::format("the last number wanted is too large; sequence numbers go up to {}", largest_sequence);
  }
  if (is_given(options, "--keep") && options.audit.keep.empty()) return "--keep needs a folder";
  if (options.command == "listen" && is_given(options, "--pcap") && options.listen.pcap.empty()) {
    return "--pcap needs a file";
  }
  if (options.listen.pcap == "-") return "--pcap needs a file: standard output has the lines";
  if (options.replay.to != 0 && options.replay.from > options.replay.to) {
    return fmt::format("--from {} is behind --to {}", options.replay.from, options.replay.to);
  }
  if (options.json && options.listen.format == "text" && is_given(options, "--format")) {
    return "--format text and --json cannot stand together";
  }
  return "";
}

// The subcommand that stands on the command line; the program itself where there is none.
CLI::App& chosen(CLI::App& app) {
  return app.get_subcommands().empty() ? app : *app.get_subcommands().front();
}

bool is_given_too_often(const CLI::Option& option) {
  return option.get_items_expected_max() == 1 && option.count() > 1;
}

std::string explain_mismatch(CLI::App& command, const std::string& says) {
  for (const CLI::Option* option : command.get_options()) {
    if (is_given_too_often(*option)) {
      return fmt::format("{} is given {} times; give it once", option->get_name(), option->count());
    }
  }
  return fmt::format("{} needs a value", says.substr(0, says.find(':')));
}

// What is wrong with the command line, in plain words.
std::string explain(CLI::App& app, const CLI::ParseError& error) {
  CLI::App& command = chosen(app);
  const std::string says = error.what();
  if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ExtrasError)) {
    const std::vector<std::string> extras = app.remaining(true);
    if (&command != &app || extras.front().starts_with("-")) {
      return fmt::format("{} does not take {}", command.get_name(), fmt::join(extras, " "));
    }
    return fmt::format("there is no command \"{}\"", extras.front());
  }
  if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ArgumentMismatch)) {
    return explain_mismatch(command, says);
  }
  if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError)) {
    const std::string name = says.substr(0, says.find(' '));
    return fmt::format("{} needs {}{}", command.get_name(), name.starts_with("-") ? "" : "a value for ", name);
  }
  if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ExcludesError)) {
    const std::string between = " excludes ";
    const std::size_t at = says.find(between);
    return fmt::format("{} and {} cannot stand together", says.substr(0, at), says.substr(at + between.size()));
  }
  return says;
}

// What is wrong with the command line may be what would have said so; then its words are looked at as they are.
bool asks_for_json(int argc, const char* const* argv) {
  const std::vector<std::string_view> words(argv, argv + argc);
  for (std::size_t i = 0; i < words.size() && words[i] != "--"; ++i) {
    if (words[i] == "--json" || words[i] == "--format=json") return true;
    if (words[i] == "--format" && i + 1 < words.size() && words[i + 1] == "json") return true;
  }
  return false;
}

bool is_help_command(const std::vector<const char*>& words) {
  return words.size() > 1 && std::string_view(words[1]) == help_command;
}

// "help" and "help COMMAND" become "--help" and "COMMAND --help". Returns what is wrong with them; empty: nothing.
std::string replace_help_command(std::vector<const char*>& words) {
  if (words.size() > 3) return "help takes the name of one command";
  if (words.size() == 3 && find_command(words[2]) == nullptr) {
    return fmt::format("there is no command \"{}\"", words[2]);
  }
  words.erase(words.begin() + 1);
  words.push_back("--help");
  return "";
}

}  // namespace

std::optional<int> read_command_line(int argc, const char* const* argv, Options& options) {
  CLI::App app("The other end of every door of a vorbeld bench: drives it, receives its feed, recovers what was lost.",
               "vorbelctl");
  app.set_version_flag("--version", "vorbelctl " VORBELCTL_VERSION);
  app.footer(
      "\nvorbelctl help COMMAND explains a command, as vorbelctl COMMAND --help does.\n"
      "\nWhere the bench is can be said once, for all commands: VORBELD_MCAST, VORBELD_PORT, VORBELD_IFACE,\n"
      "VORBELD_SESSION, VORBELD_REPORTS, VORBELD_RETRANS and VORBELD_CONTROL stand for the options that are not "
      "given.\n"
      "\nExample:\n  vorbelctl listen --help\n\nExit status: 0 all is well; 1 something is amiss; 2 wrong usage; "
      "3 nobody is there, or\nwhat was asked for did not come in time; 4 an error of vorbelctl itself; 5 the feed "
      "began "
      "again;\n6 an output could not be written; 8 a run did not put its receiver through what was required");
  app.require_subcommand(0, 1);  // that there must be one is said below, in fewer words
  for (const Command& command : all_commands()) add_command(app, command, options);
  options.program = own_name(argc > 0 ? argv[0] : "vorbelctl");
  const auto refuse = [&](const std::string& why) -> int {
    const CLI::App& command = chosen(app);
    const std::string name = &command == &app ? "" : " " + command.get_name();
    return end_with(wrong_usage, fmt::format("{}; see {}{} --help", why, options.program, name),
                    asks_for_json(argc, argv));
  };
  std::vector<const char*> words(argv, argv + argc);
  if (is_help_command(words)) {
    if (const std::string wrong = replace_help_command(words); !wrong.empty()) return refuse(wrong);
  }
  try {
    app.parse(static_cast<int>(words.size()), words.data());
  } catch (const CLI::ParseError& outcome) {
    if (outcome.get_exit_code() != 0) return refuse(explain(app, outcome));
    app.exit(outcome);  // prints the help or the version
    return all_well;
  }
  if (app.get_subcommands().empty()) return refuse("there is no command");
  CLI::App& command = chosen(app);
  options.command = command.get_name();
  if (const std::string wrong = take_variables(command, *find_command(options.command), options); !wrong.empty()) {
    return refuse(wrong);
  }
  for (const CLI::Option* option : command.get_options()) {
    if (option->count() != 0) options.given.push_back(option->get_name());
  }
  if (const std::string wrong = check_together(options); !wrong.empty()) return refuse(wrong);
  if (options.listen.format == "json") options.json = true;
  return {};
}

}  // namespace vorbelctl
