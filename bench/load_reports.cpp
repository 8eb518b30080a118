// The load of trade reports: some connections, each with a window of unanswered lines, until a total has been answered.
// With one connection and a window of 1 every reply's latency is measured as well. Checks every reply, and prints the
// sum of the trade ids so that the driver can tell that each report became a trade of its own.
#include <poll.h>
#include <sys/socket.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "bench/load.h"
#include "common/clocks.h"

namespace vorbeld {
namespace {

struct Settings {
  std::uint16_t port = 0;
  pid_t pid = 0;  // of the program under load
  std::size_t connections = 4;
  std::uint64_t window = 64;  // unanswered lines a connection
  std::uint64_t total = 200'000;
  std::uint64_t cusips = 4;  // different ones; the first four are those that the daemon knows from its start
};

struct Connection {
  int descriptor = -1;
  std::uint64_t unanswered = 0;
  std::string replies;  // received, not yet a whole line
};

struct Load {
  Settings settings;
  std::uint64_t sent = 0;
  std::uint64_t answered = 0;
  std::uint64_t id_sum = 0;    // of the trade ids answered
  std::uint64_t start_ms = 0;  // execution time of the first report, milliseconds since 1970; in the past for all
  std::vector<std::uint64_t> latencies_ns;
};

std::string cusip_of(std::uint64_t number) {
  static constexpr std::array<std::string_view, 4> known{"037833DT4", "594918BY9", "46647PAP1", "345370CS9"};
  if (number < known.size()) return std::string(known[number]);
  std::array<char, 10> text;
  std::snprintf(text.data(), text.size(), "N%08u", static_cast<unsigned>(number % 100'000'000));
  return {text.data(), 9};
}

// All lines have the same length, so that the floor's canned answers to them have too. Neighbouring reports are of
// different bonds, far apart in the order in which the daemon met them; prices go up and down between 90 and 100.
std::string report_line(const Load& load, std::uint64_t number) {
  constexpr std::uint64_t stride = 7919;  // prime, hence every bond gets its turn
  const std::uint64_t thousandths = number * stride % 10'000;
  std::array<char, 128> text;
  const int length = std::snprintf(
      text.data(), text.size(), "T|%s|NEW 5 30|9%llu.%03llu|%llu00000|%c|ATS1|%llu|20300102|away\n",
      cusip_of(number * stride % load.settings.cusips).c_str(), static_cast<unsigned long long>(thousandths / 1000),
      static_cast<unsigned long long>(thousandths % 1000), static_cast<unsigned long long>(number % 9 + 1),
      number % 2 == 0 ? 'B' : 'S', static_cast<unsigned long long>(load.start_ms + number));
  return {text.data(), static_cast<std::size_t>(length)};
}

void send_reports(Load& load, Connection& connection, std::uint64_t count) {
  std::string lines;
  for (std::uint64_t i = 0; i < count; ++i) lines += report_line(load, load.sent++);
  send_all(connection.descriptor, lines);
  connection.unanswered += count;
}

void count_reply(Load& load, std::string_view reply) {
  if (!reply.starts_with("A ")) give_up("a report was answered \"" + std::string(reply) + '"');
  load.id_sum += std::stoull(std::string(reply.substr(2)));
  ++load.answered;
}

void receive_replies(Load& load, Connection& connection) {
  std::array<char, 65536> buffer;
  connection.replies.append(buffer.data(), receive_some(connection.descriptor, buffer));
  std::size_t begin = 0;
  for (std::size_t end = connection.replies.find('\n'); end != std::string::npos;
       end = connection.replies.find('\n', begin)) {
    count_reply(load, std::string_view(connection.replies).substr(begin, end - begin));
    --connection.unanswered;
    begin = end + 1;
  }
  connection.replies.erase(0, begin);
}

// Refills a window once half of it is answered: lines sent one by one would make the batches that the program under
// load finds depend on who is scheduled when.
void run_windows(Load& load, std::vector<Connection>& connections) {
  std::vector<pollfd> readable;
  readable.reserve(connections.size());
  for (const Connection& connection : connections) readable.push_back({connection.descriptor, POLLIN, 0});
  while (load.answered < load.settings.total) {
    for (Connection& connection : connections) {
      if (connection.unanswered > load.settings.window / 2) continue;
      const std::uint64_t count =
          std::min(load.settings.window - connection.unanswered, load.settings.total - load.sent);
      if (count > 0) send_reports(load, connection, count);
    }
    wait_awake([&] { return poll(readable.data(), readable.size(), 0) > 0; });
    for (std::size_t i = 0; i < connections.size(); ++i) {
      if (readable[i].revents != 0) receive_replies(load, connections[i]);
    }
  }
}

void run_one_by_one(Load& load, Connection& connection) {
  load.latencies_ns.reserve(load.settings.total);
  while (load.answered < load.settings.total) {
    const std::string line = report_line(load, load.sent++);
    connection.unanswered = 1;
    const std::uint64_t start = now_ns();
    send_all(connection.descriptor, line);
    while (connection.unanswered > 0) receive_replies(load, connection);
    load.latencies_ns.push_back(now_ns() - start);
  }
}

void print(const Load& load, const Cost& cost) {
  const Spread latency = spread_of(load.latencies_ns);
  std::printf(
      R"({"reports":%llu,"id_sum":%llu,"wall_ns":%llu,"cpu_ns":%llu,"p50_ns":%llu,"p99_ns":%llu,"p999_ns":%llu})"
      "\n",
      static_cast<unsigned long long>(load.answered), static_cast<unsigned long long>(load.id_sum),
      static_cast<unsigned long long>(cost.wall_ns), static_cast<unsigned long long>(cost.cpu_ns),
      static_cast<unsigned long long>(latency.p50), static_cast<unsigned long long>(latency.p99),
      static_cast<unsigned long long>(latency.p999));
}

int run(int argc, char** argv) {
  constexpr std::uint64_t an_hour_ms = 3'600'000;  // one millisecond a report: enough for 3.6 million
  Load load;
  Settings& settings = load.settings;
  CLI::App app("Reports trades and measures what that costs the program under load.");
  app.add_option("--port", settings.port, "report port on 127.0.0.1")->required();
  app.add_option("--pid", settings.pid, "process whose CPU time is measured")->required();
  app.add_option("--connections", settings.connections)->capture_default_str()->check(CLI::PositiveNumber);
  app.add_option("--window", settings.window, "unanswered lines a connection")
      ->capture_default_str()
      ->check(CLI::PositiveNumber);
  app.add_option("--total", settings.total, "reports in all")->capture_default_str();
  app.add_option("--cusips", settings.cusips, "different bonds")->capture_default_str()->check(CLI::PositiveNumber);
  CLI11_PARSE(app, argc, argv);

  std::vector<Connection> connections(settings.connections);
  for (Connection& connection : connections) connection.descriptor = connect_tcp(settings.port);
  load.start_ms = wall_ms() - an_hour_ms;
  const Measurement measurement = start_measuring(settings.pid);
  if (settings.connections == 1 && settings.window == 1) {
    run_one_by_one(load, connections.front());
  } else {
    run_windows(load, connections);
  }
  print(load, cost_since(measurement));
  return 0;
}

}  // namespace
}  // namespace vorbeld

int main(int argc, char** argv) {
  return vorbeld::run(argc, argv);
}
