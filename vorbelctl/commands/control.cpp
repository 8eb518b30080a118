#include "vorbelctl/commands/control.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <iostream>
#include <system_error>
#include <thread>

#include "common/clocks.h"
#include "vorbelctl/commands/stats.h"
#include "vorbelctl/handler/fields.h"

namespace vorbelctl {
namespace {

void print_reply(const Options& options, const std::string& command, const std::string& reply, std::uint64_t took_ms) {
  if (options.json) {
    FieldList fields{{"command", command}, {"reply", reply}, {"took_ms", took_ms}};
    if (auto stats = parse_stats(reply)) fields.insert(fields.end(), stats->begin(), stats->end());
    std::cout << json_line(fields) << std::endl;
  } else if (!options.quiet || reply != "ok") {
    // All replies of a bench are printable, but a stranger may sit on the port.
    std::cout << printable(reply) << std::endl;
  }
}

// Sends one command and returns the status that its reply stands for.
int send_command(const Options& options, const Socket& socket, const std::string& command) {
  bool refused = false;
  const std::uint64_t sent_ms = vorbeld::monotonic_ms();
  const auto reply = ask_control(socket, command, static_cast<int>(options.control.timeout_s * 1000), refused);
  if (!reply) {
    const std::string port = std::to_string(options.addresses.control_port);
    std::cerr << "vorbelctl: nobody answers on the control port 127.0.0.1:" << port
              << (refused ? " (the port is closed)" : " (no reply in time)") << "; start the bench with --control-port "
              << port << ", or give its port with --control-port\n";
    return nobody_there;
  }
  print_reply(options, command, *reply, vorbeld::monotonic_ms() - sent_ms);
  return reply->starts_with("unknown ") ? something_amiss : all_well;
}

void sleep_until(std::uint64_t moment_ms) {
  const std::uint64_t now_ms = vorbeld::monotonic_ms();
  if (moment_ms > now_ms) std::this_thread::sleep_for(std::chrono::milliseconds(moment_ms - now_ms));
}

// Runs the lines as they come, so that a script may also be typed. A wrong line or silence ends it.
int run_script(const Options& options, const Socket& socket, std::istream& script) {
  const std::uint64_t start_ms = vorbeld::monotonic_ms();
  int status = all_well;
  std::string text;
  for (int number = 1; std::getline(script, text); ++number) {
    const ScriptLine line = read_script_line(text);
    if (!line.wrong.empty()) {
      std::cerr << "vorbelctl: line " << number << ": " << line.wrong << "\n";
      return wrong_usage;
    }
    if (line.command.empty()) continue;
    sleep_until(start_ms + line.at_ms);
    const int outcome = send_command(options, socket, line.command);
    if (outcome == nobody_there) return outcome;
    if (outcome != all_well) status = outcome;
  }
  return status;
}

// The bench drops blanks and line ends at the end of a command; those at its beginning would be part of its name.
std::string_view trimmed(std::string_view text) {
  text = text.substr(0, text.find_last_not_of(" \r\n") + 1);
  return text.substr(std::min(text.size(), text.find_first_not_of(' ')));
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
  if (at_ms > latest_ms) return "--at-ms goes up to " + std::to_string(latest_ms);
  line = trimmed(line.substr(length));
  return "";
}

}  // namespace

std::string check_command(std::string_view command) {
  constexpr std::size_t longest = 255;
  if (command.empty()) return "there is no command";
  if (std::any_of(command.begin(), command.end(), is_control_byte)) {
    return "the command \"" + printable(command) + "\" holds a control byte";
  }
  if (command.size() > longest) {
    return "the command has " + std::to_string(command.size()) + " bytes; the bench reads no more than 255";
  }
  return "";
}

ScriptLine read_script_line(std::string_view line) {
  ScriptLine result;
  line = trimmed(line);
  if (line.empty() || line.front() == '#') return result;
  if (line.starts_with("--at-ms")) result.wrong = take_moment(line, result.at_ms);
  if (!result.wrong.empty()) return result;
  result.command = line;
  result.wrong = check_command(line);
  return result;
}

int run_control(const Options& options) {
  const Socket socket = open_control(options.addresses);
  const auto& words = options.control.words;
  if (words.size() == 1 && words.front() == "-") return run_script(options, socket, std::cin);
  std::string joined;
  for (const auto& word : words) joined += (joined.empty() ? "" : " ") + word;
  const std::string command(trimmed(joined));
  if (const std::string wrong = check_command(command); !wrong.empty()) {
    std::cerr << "vorbelctl: " << wrong << "\n";
    return wrong_usage;
  }
  return send_command(options, socket, command);
}

}  // namespace vorbelctl
