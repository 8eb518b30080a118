// The load of control commands: sends one command again and again, each when the one before was answered, and measures
// every reply's latency. Each reply must be the expected one; with a window of 1 each command is a pass of the main
// loop of its own.
#include <CLI/CLI.hpp>
#include <array>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "bench/load.h"

namespace vorbeld {
namespace {

struct Settings {
  std::uint16_t port = 0;
  pid_t pid = 0;  // of the program under load
  std::string command;
  std::string expected;  // what each reply begins with
  std::uint64_t total = 1;
};

std::vector<std::uint64_t> run_commands(const Settings& settings) {
  const int descriptor = connect_udp(settings.port);
  std::array<char, 512> buffer;
  std::vector<std::uint64_t> latencies_ns;
  latencies_ns.reserve(settings.total);
  for (std::uint64_t i = 0; i < settings.total; ++i) {
    const std::uint64_t start = now_ns();
    send_all(descriptor, settings.command);
    const std::string_view reply(buffer.data(), receive_some(descriptor, buffer));
    latencies_ns.push_back(now_ns() - start);
    if (!reply.starts_with(settings.expected)) {
      give_up("command " + std::to_string(i + 1) + " \"" + settings.command + "\" was answered \"" +
              std::string(reply) + '"');
    }
  }
  return latencies_ns;
}

int run(int argc, char** argv) {
  Settings settings;
  CLI::App app("Sends a control command repeatedly and measures what that costs the program under load.");
  app.add_option("--port", settings.port, "control port on 127.0.0.1")->required();
  app.add_option("--pid", settings.pid, "process whose CPU time is measured")->required();
  app.add_option("--command", settings.command)->required();
  app.add_option("--expect", settings.expected, "what each reply begins with")->required();
  app.add_option("--total", settings.total, "how often it is sent")->capture_default_str();
  CLI11_PARSE(app, argc, argv);

  const Measurement measurement = start_measuring(settings.pid);
  const std::vector<std::uint64_t> latencies_ns = run_commands(settings);
  const Cost cost = cost_since(measurement);
  const Spread latency = spread_of(latencies_ns);
  std::printf(R"({"commands":%zu,"wall_ns":%llu,"cpu_ns":%llu,"p50_ns":%llu,"p99_ns":%llu,"p999_ns":%llu})"
              "\n",
              latencies_ns.size(), static_cast<unsigned long long>(cost.wall_ns),
              static_cast<unsigned long long>(cost.cpu_ns), static_cast<unsigned long long>(latency.p50),
              static_cast<unsigned long long>(latency.p99), static_cast<unsigned long long>(latency.p999));
  return 0;
}

}  // namespace
}  // namespace vorbeld

int main(int argc, char** argv) {
  return vorbeld::run(argc, argv);
}
