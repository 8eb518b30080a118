#include "vorbelctl/commands/script.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <system_error>

#include "vorbelctl/wording/fields.h"

namespace vorbelctl {
namespace {

// What stands behind the name of a command, as a bench reads it.
enum class Takes : std::uint8_t { nothing, number, cusip, cusip_and_reason, text };

struct ControlCommand {
  std::string_view name;
  Takes takes;
  std::string_view says;
};

constexpr std::array control_commands{
    ControlCommand{"pause", Takes::nothing, "no more trades are generated"},
    ControlCommand{"resume", Takes::nothing, "they are again"},
    ControlCommand{"drop", Takes::number, "the next N packets are dropped (default 1)"},
    ControlCommand{"dup", Takes::number, "the next N packets are sent twice (default 1)"},
    ControlCommand{"reorder", Takes::number, "the next N packets are held back (default 1)"},
    ControlCommand{"drop_every", Takes::number, "every Nth packet is dropped; 0: none"},
    ControlCommand{"dup_every", Takes::number, "every Nth packet is sent twice; 0: none"},
    ControlCommand{"reorder_every", Takes::number, "every Nth packet is held back; 0: none"},
    ControlCommand{"rate", Takes::number, "a trade is generated every N ms; 0: none"},
    ControlCommand{"cancel", Takes::number, "the latest trade is cancelled, N times (default 1)"},
    ControlCommand{"correct", Takes::number, "the latest trade is corrected, N times (default 1)"},
    ControlCommand{"halt", Takes::cusip_and_reason, "the bond is halted (default T.1)"},
    ControlCommand{"resume_halt", Takes::cusip, "the bond is resumed"},
    ControlCommand{"close", Takes::nothing, "the session is closed"},
    ControlCommand{"mark", Takes::text, "a mark is written into the truth file"},
    ControlCommand{"stats", Takes::nothing, "the bench's counters are the reply"},
    ControlCommand{"stop", Takes::nothing, "the bench ends"},
};

struct NameAndArgument {
  std::string_view name;
  std::string_view argument;  // everything behind the first blank
};

NameAndArgument take_apart(std::string_view command) {
  const std::size_t blank = std::min(command.size(), command.find(' '));
  return {command.substr(0, blank), command.substr(std::min(command.size(), blank + 1))};
}

std::optional<std::uint32_t> read_count(std::string_view text) {
  std::uint32_t count = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), count);
  if (result.ec != std::errc() || result.ptr != text.data() + text.size()) return {};
  return count;
}

bool is_cusip_and_reason(std::string_view argument) {
  const auto [cusip, reason] = take_apart(argument);
  const bool ends = cusip.size() == argument.size();
  return !cusip.empty() && (ends || (!reason.empty() && reason.find(' ') == std::string_view::npos));
}

// What the command takes where the argument is something else; empty: it is that.
std::string_view wanted_instead(Takes takes, std::string_view argument) {
  switch (takes) {
    case Takes::nothing:
      return argument.empty() ? "" : "no argument";
    case Takes::number:  // left out, it has a default
      return argument.empty() || read_count(argument) ? "" : "a whole number from 0 to 4294967295";
    case Takes::cusip:
      return !argument.empty() && argument.find(' ') == std::string_view::npos ? "" : "a CUSIP and nothing else";
    case Takes::cusip_and_reason:
      return is_cusip_and_reason(argument) ? "" : "a CUSIP and, where wanted, one blank and a reason without blanks";
    case Takes::text:
      return "";
  }
  return "";
}

std::string_view argument_name(Takes takes) {
  switch (takes) {
    case Takes::nothing:
      return "";
    case Takes::number:
      return " N";
    case Takes::cusip:
      return " CUSIP";
    case Takes::cusip_and_reason:
      return " CUSIP [REASON]";
    case Takes::text:
      return " LABEL";
  }
  return "";
}

std::string check_argument(std::string_view command) {
  const auto [name, argument] = take_apart(command);
  for (const ControlCommand& known : control_commands) {
    if (known.name != name) continue;
    const std::string_view wanted = wanted_instead(known.takes, argument);
    if (wanted.empty()) return "";
    return fmt::format("{} takes {}, not \"{}\"; --raw sends it all the same", name, wanted, printable(argument));
  }
  return "";
}

bool is_control_byte(char c) {
  return static_cast<unsigned char>(c) < ' ' || c == '\x7f';
}

// Takes "--at-ms N " off the line; returns what is wrong with it.
std::string take_moment(std::string_view& line, std::uint64_t& at_ms) {
  constexpr std::string_view prefix = "--at-ms ";
  constexpr std::uint64_t latest_ms = 1000000000;
  constexpr const char* usage = "--at-ms needs a number of milliseconds and a command";
  if (!line.starts_with(prefix)) return usage;
  line = trimmed(line.substr(prefix.size()));
  const auto number = std::from_chars(line.data(), line.data() + line.size(), at_ms);
  const auto length = static_cast<std::size_t>(number.ptr - line.data());
  if (number.ec != std::errc() || length == line.size() || line[length] != ' ') return usage;
  if (at_ms > latest_ms) return fmt::format("--at-ms goes up to {}", latest_ms);
  line = trimmed(line.substr(length));
  return "";
}

}  // namespace

std::string_view trimmed(std::string_view text) {
  text = text.substr(0, text.find_last_not_of(" \r\n") + 1);
  return text.substr(std::min(text.size(), text.find_first_not_of(' ')));
}

std::string check_command(std::string_view command, bool raw) {
  constexpr std::size_t longest = 255;
  if (command.empty()) return "there is no command";
  if (std::any_of(command.begin(), command.end(), is_control_byte)) {
    return fmt::format("the command \"{}\" holds a control byte; take it out", printable(command));
  }
  if (command.size() > longest) {
    return fmt::format("the command has {} bytes; the bench reads no more than {}", command.size(), longest);
  }
  return raw ? "" : check_argument(command);
}

std::vector<std::string> control_command_names() {
  std::vector<std::string> names;
  for (const ControlCommand& command : control_commands) names.emplace_back(command.name);
  return names;
}

std::string control_command_help() {
  std::string help = "Control commands:\n";
  for (const ControlCommand& command : control_commands) {
    help += fmt::format("  {:<23}{}\n", fmt::format("{}{}", command.name, argument_name(command.takes)), command.says);
  }
  return help;
}

std::optional<std::uint64_t> amendments_asked_for(std::string_view command) {
  const auto [name, argument] = take_apart(command);
  if (name != "cancel" && name != "correct") return {};
  const std::string number(argument.substr(0, argument.find(' ')));
  char* end = nullptr;
  errno = 0;
  const std::uint64_t value = std::strtoull(number.c_str(), &end, 10);
  constexpr std::uint64_t usual = 1;
  return end == number.c_str() || errno != 0 ? usual : static_cast<std::uint32_t>(value);
}

ScriptLine read_script_line(std::string_view line, bool raw) {
  ScriptLine result;
  line = trimmed(line);
  if (line.empty() || line.front() == '#') return result;
  if (line.starts_with("--at-ms")) result.wrong = take_moment(line, result.at_ms);
  if (!result.wrong.empty()) return result;
  result.command = line;
  result.wrong = check_command(line, raw);
  return result;
}

}  // namespace vorbelctl
