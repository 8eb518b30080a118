#include "vorbelctl/commands/control.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
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
  } else if (!options.quiet) {
    // The bench echoes labels and knows no other unprintable replies, but a stranger may sit on the port.
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

}  // namespace

std::string check_command(std::string_view command) {
  constexpr std::size_t longest = 255;
  if (command.empty()) return "there is no command";
  if (command.size() > longest) {
    return "the command has " + std::to_string(command.size()) + " bytes; the bench reads no more than 255";
  }
  return "";
}

ScriptLine read_script_line(std::string_view line) {
  constexpr std::string_view prefix = "--at-ms";
  ScriptLine result;
  line = line.substr(0, line.find_last_not_of(" \r\n") + 1);
  if (line.empty() || line.front() == '#') return result;
  if (line.starts_with(prefix)) {
    line.remove_prefix(std::min(line.size(), prefix.size() + 1));
    const auto number = std::from_chars(line.data(), line.data() + line.size(), result.at_ms);
    const auto length = static_cast<std::size_t>(number.ptr - line.data());
    if (number.ec != std::errc() || length == line.size() || line[length] != ' ') {
      result.wrong = "--at-ms needs a number of milliseconds and a command";
      return result;
    }
    line.remove_prefix(length + 1);
  }
  result.command = line;
  result.wrong = check_command(line);
  return result;
}

int run_control(const Options& options) {
  const Socket socket = open_control(options.addresses);
  const auto& words = options.control.words;
  if (words.size() == 1 && words.front() == "-") return run_script(options, socket, std::cin);
  std::string command;
  for (const auto& word : words) command += (command.empty() ? "" : " ") + word;
  if (const std::string wrong = check_command(command); !wrong.empty()) {
    std::cerr << "vorbelctl: " << wrong << "\n";
    return wrong_usage;
  }
  return send_command(options, socket, command);
}

}  // namespace vorbelctl
