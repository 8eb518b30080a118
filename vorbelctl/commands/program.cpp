#include "vorbelctl/commands/program.h"

#include <fmt/core.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

#include "common/text.h"

namespace vorbelctl {
namespace {

bool is_program(const std::string& path) {
  std::error_code unreadable;
  return access(path.c_str(), X_OK) == 0 && std::filesystem::is_regular_file(path, unreadable);
}

// The path that the shell finds for a name; empty: none.
std::string find_on_path(const std::string& name) {
  const char* const path = std::getenv("PATH");
  std::vector<std::string_view> folders;
  vorbeld::split(path == nullptr ? "" : path, ':', folders);
  for (const auto folder : folders) {
    std::string found = fmt::format("{}/{}", folder.empty() ? "." : folder, name);
    if (is_program(found)) return found;
  }
  return "";
}

// As a word that a shell takes as it is.
std::string as_word(const std::string& text) {
  constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-+=:,./@%^";
  if (!text.empty() && text.find_first_not_of(plain) == std::string::npos) return text;
  std::string word = "'";
  for (const char c : text) word += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return word + "'";
}

}  // namespace

std::string runnable(const std::string& name) {
  if (!find_on_path(name).empty()) return name;
  for (const char* const folder : {"/usr/sbin/", "/sbin/"}) {
    if (is_program(folder + name)) return folder + name;
  }
  return "";
}

std::string own_name(const std::string& argument_0) {
  const std::size_t slash = argument_0.rfind('/');
  if (slash == std::string::npos) return argument_0;
  const std::string name = argument_0.substr(slash + 1);
  std::error_code unreadable;
  const std::string found = find_on_path(name);
  if (!found.empty() && std::filesystem::equivalent(found, argument_0, unreadable)) return name;
  return as_word(argument_0);
}

std::string bench_command(const std::string& own, const Addresses& addresses) {
  constexpr std::string_view daemon = "vorbeld";
  const std::size_t slash = own.rfind('/');
  const bool quoted = own.find('\'') != std::string::npos;
  std::string command = slash == std::string::npos || quoted ? "" : own.substr(0, slash + 1) + std::string(daemon);
  if (!is_program(command)) command = runnable(std::string(daemon));
  if (command.empty()) return "";
  const Addresses usual;
  const auto add = [&](std::string_view option, const auto& value, const auto& default_value) {
    if (value != default_value) command += fmt::format(" {} {}", option, value);
  };
  add("--mcast", addresses.group, usual.group);
  add("--port", addresses.feed_port, usual.feed_port);
  add("--iface", addresses.interface, usual.interface);
  add("--session", as_word(addresses.session), usual.session);
  add("--report-port", addresses.report_port, usual.report_port);
  add("--retrans-port", addresses.retrans_port, usual.retrans_port);
  add("--control-port", addresses.control_port, std::uint16_t{0});  // the daemon's own default
  return command + " --rate-ms 500";
}

std::string runnable_commands(const std::string& line) {
  std::vector<std::string_view> commands;
  vorbeld::split(line, ';', commands);
  std::string kept;
  for (std::string_view command : commands) {
    command.remove_prefix(std::min(command.size(), command.find_first_not_of(' ')));
    const std::string word(command.substr(0, command.find(' ')));
    const std::string found = word.find('/') == std::string::npos ? runnable(word) : word;
    if (found.empty()) continue;
    kept += fmt::format("{}{}{}", kept.empty() ? "" : "; ", found, command.substr(word.size()));
  }
  return kept;
}

}  // namespace vorbelctl
