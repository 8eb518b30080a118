#include <fmt/core.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <istream>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "common/clocks.h"
#include "vorbelctl/commands/commands.h"
#include "vorbelctl/commands/ending.h"
#include "vorbelctl/commands/script.h"
#include "vorbelctl/doors/control_port.h"
#include "vorbelctl/wording/fields.h"
#include "vorbelctl/wording/wording.h"

namespace vorbelctl {
namespace {

// A command on its way, and where it came from.
struct Sending {
  std::string command;
  int line = 0;             // of a script, from 1; 0: it stood on the command line
  std::uint64_t at_ms = 0;  // after the start of the script
};

std::string place_of(const Sending& sending) {
  return sending.line == 0 ? "" : fmt::format("line {}: ", sending.line);
}

void print_reply(const Options& options, const Sending& sending, const std::string& reply, std::uint64_t took_ms) {
  if (options.json) {
    FieldList fields{{"command", sending.command}, {"reply", reply}, {"took_ms", took_ms}};
    if (sending.line != 0) fields.insert(fields.begin(), {"line", static_cast<std::uint64_t>(sending.line)});
    if (auto stats = parse_stats(reply)) fields.insert(fields.end(), stats->begin(), stats->end());
    std::cout << json_line(fields) << std::endl;
  } else if (!options.quiet || reply != "ok") {
    // All replies of a bench are printable, but a stranger may sit on the port.
    std::cout << printable(reply) << std::endl;
  }
}

// "cancelled 2" where more was asked for: as many as that have happened, and the bench had no reason to give.
std::string judge_amendments(const std::string& reply, std::uint64_t asked) {
  for (const std::string_view done : {"cancelled ", "corrected "}) {
    if (reply == fmt::format("{}{}", done, asked)) return "";
    if (!reply.starts_with(done)) continue;
    return fmt::format("{} of {} {}: no other trade can be, or the session is closed", reply.substr(done.size()),
                       counted(asked, "trade"), done.substr(0, done.size() - 1));
  }
  return "that is no reply of a bench; does the port belong to another program?";
}

// The bench does not know the command. Where its name is that of a file, a script was meant.
std::string explain_unknown(const Options& options, const std::string& command) {
  const std::string name = command.substr(0, command.find(' '));
  std::error_code unreadable;
  if (std::filesystem::is_regular_file(name, unreadable)) {
    return fmt::format("the bench does not know \"{}\"; a script is sent with --script {}", name, name);
  }
  return fmt::format("the bench does not know \"{}\"; {} control --help lists its commands", name, options.program);
}

// Why the reply is not what was asked for; empty: it is.
std::string judge_reply(const Options& options, const std::string& command, const std::string& reply) {
  if (reply.starts_with("unknown cusip")) return "the bench has no bond with that CUSIP; nothing was sent on the feed";
  if (reply.starts_with("unknown ")) return explain_unknown(options, command);
  if (const auto asked = amendments_asked_for(command)) return judge_amendments(reply, *asked);
  const bool expected = command == "stats" ? parse_stats(reply).has_value() : reply == "ok";
  return expected ? "" : "that is no reply of a bench; does the port belong to another program?";
}

// Sends one command and returns the status that its reply stands for.
int send_command(const Options& options, const Socket& socket, const Sending& sending) {
  bool refused = false;
  const std::uint64_t sent_ms = vorbeld::monotonic_ms();
  const auto reply = ask_control(socket, sending.command, static_cast<int>(options.control.timeout_s * 1000), refused);
  if (!reply) {
    const std::string why = fmt::format(
        "{}nobody answers on the control port 127.0.0.1:{} ({}); start the bench with --control-port {}, or "
        "give its port with --control-port",
        place_of(sending), options.addresses.control_port, refused ? "the port is closed" : "no reply in time",
        options.addresses.control_port);
    return end_with(nobody_there, why, options.json);
  }
  print_reply(options, sending, *reply, vorbeld::monotonic_ms() - sent_ms);
  const std::string wrong = judge_reply(options, sending.command, *reply);
  if (wrong.empty()) return all_well;
  std::cerr << fmt::format("vorbelctl: {}{}\n", place_of(sending), wrong);
  return something_amiss;
}

void sleep_until(std::uint64_t moment_ms) {
  const std::uint64_t now_ms = vorbeld::monotonic_ms();
  if (moment_ms > now_ms) std::this_thread::sleep_for(std::chrono::milliseconds(moment_ms - now_ms));
}

// A script that is read piece by piece: each line that is typed, or else all of it.
struct Script {
  std::istream& input;
  bool raw = false;
  bool typed = false;
  int lines_read = 0;
};

// The next commands to send. `wrong` becomes true where a line is none.
std::vector<Sending> read_piece(const Options& options, Script& script, bool& wrong) {
  std::vector<Sending> piece;
  std::string text;
  while ((!script.typed || piece.empty()) && std::getline(script.input, text)) {
    ScriptLine line = read_script_line(text, script.raw);
    ++script.lines_read;
    if (!line.wrong.empty()) {
      end_with(wrong_usage, fmt::format("line {}: {}", script.lines_read, line.wrong), options.json);
      wrong = true;
      if (script.typed) break;
    } else if (!line.command.empty()) {
      piece.push_back({std::move(line.command), script.lines_read, line.at_ms});
    }
  }
  return piece;
}

// Nothing of a script is sent before all of it has been checked. Silence ends it, a refused command does not.
int run_script(const Options& options, const Socket& socket, Script script) {
  const std::uint64_t start_ms = vorbeld::monotonic_ms();
  int status = all_well;
  bool wrong = false;
  std::uint64_t sent = 0;
  while (true) {
    const auto piece = read_piece(options, script, wrong);
    if (wrong) return wrong_usage;
    if (piece.empty()) break;
    for (const Sending& sending : piece) {
      sleep_until(start_ms + sending.at_ms);
      const int outcome = send_command(options, socket, sending);
      if (outcome == nobody_there) return outcome;
      if (outcome != all_well) status = outcome;
      ++sent;
    }
  }
  if (sent == 0) return end_with(wrong_usage, "there is no command in the script", options.json);
  return status;
}

// "-": standard input.
int run_script_of(const Options& options, const Socket& socket, const std::string& path) {
  const bool raw = options.control.raw;
  if (path == "-") return run_script(options, socket, {std::cin, raw, isatty(STDIN_FILENO) == 1});
  std::ifstream file(path);
  std::error_code unreadable;
  if (!file || std::filesystem::is_directory(path, unreadable)) {
    return end_with(wrong_usage, fmt::format("cannot read the script {}", path), options.json);
  }
  return run_script(options, socket, {file, raw});
}

}  // namespace

int run_control(const Options& options) {
  const Socket socket = open_control(options.addresses);
  const auto& words = options.control.words;
  const bool raw = options.control.raw;
  if (!options.control.script.empty()) return run_script_of(options, socket, options.control.script);
  if (words.size() == 1 && words.front() == "-") return run_script_of(options, socket, words.front());
  std::string joined;
  for (const auto& word : words) joined += (joined.empty() ? "" : " ") + word;
  const std::string command(trimmed(joined));
  if (const std::string wrong = check_command(command, raw); !wrong.empty()) {
    return end_with(wrong_usage, wrong, options.json);
  }
  return send_command(options, socket, {command});
}

}  // namespace vorbelctl
