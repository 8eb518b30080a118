#include "run/start.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "common/clocks.h"
#include "common/line_file.h"
#include "common/stop_signal.h"
#include "feed/faults.h"
#include "feed/publisher.h"
#include "run/configuration.h"
#include "run/status.h"
#include "trades/engine.h"
#include "trades/session.h"

namespace vorbeld {
namespace {

void reuse_address(int descriptor) {
  const int reuse = 1;
  setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);
}

bool bind_to(int descriptor, in_addr_t address, std::uint16_t port) {
  sockaddr_in local{};
  local.sin_family = AF_INET;
  local.sin_addr.s_addr = htonl(address);
  local.sin_port = htons(port);
  return bind(descriptor, reinterpret_cast<const sockaddr*>(&local), sizeof local) == 0;
}

int give_up(int descriptor, const char* what) {
  std::perror(what);
  close(descriptor);
  return -1;
}

int unblock(int descriptor) {
  fcntl(descriptor, F_SETFL, O_NONBLOCK);
  return descriptor;
}

void set_faults(const BenchOptions& options, FaultSettings& faults) {
  faults.drop_every = options.drop_every;
  read_drop_burst(options.drop_burst, faults);
  faults.duplicate_every = options.duplicate_every;
  faults.reorder_every = options.reorder_every;
}

bool open_retransmissions(const BenchOptions& options, RetransmissionServer& server) {
  if (options.retransmission_port == 0) return true;
  server.socket = open_retransmission_socket(options.retransmission_port);
  return server.socket >= 0;
}

void open_files(const BenchOptions& options, Engine& engine) {
  if (!options.tape_path.empty()) open_lines(engine.tape, options.tape_path);
  if (!options.truth_path.empty()) open_lines(engine.truth, options.truth_path);
}

bool open_reports(const BenchOptions& options, ReportIntake& intake) {
  if (options.report_port == 0) return true;
  intake.listener = open_report_listener(options.report_port);
  return intake.listener >= 0;
}

void start_timers(RunState& run, std::uint32_t rate_ms) {
  const std::uint64_t now = monotonic_ms();
  run.timers.start_ms = now;
  run.timers.last_status_ms = now;
  run.flow.rate_ms = rate_ms;
  run.flow.next_trade_ms = now + rate_ms;
}

}  // namespace

int open_retransmission_socket(std::uint16_t port) {
  const int descriptor = socket(AF_INET, SOCK_DGRAM, 0);
  reuse_address(descriptor);
  if (!bind_to(descriptor, INADDR_ANY, port)) return give_up(descriptor, "vorbeld: retransmission port");
  return unblock(descriptor);
}

int open_report_listener(std::uint16_t port) {
  constexpr int backlog = 8;
  const int descriptor = socket(AF_INET, SOCK_STREAM, 0);
  reuse_address(descriptor);
  if (!bind_to(descriptor, INADDR_ANY, port) || listen(descriptor, backlog) != 0) {
    return give_up(descriptor, "vorbeld: listen");
  }
  return unblock(descriptor);
}

int open_control_socket(std::uint16_t port) {
  const int descriptor = socket(AF_INET, SOCK_DGRAM, 0);
  if (!bind_to(descriptor, INADDR_LOOPBACK, port)) return give_up(descriptor, "vorbeld: control port");
  return unblock(descriptor);
}

bool start_run(RunState& run, const BenchOptions& options) {
  run.scenario = read_scenario(options.scenario);
  run.intake.high_yield_cusips = read_cusips(options.high_yield);
  start_publisher(run.publisher, options.session);
  open_feed(run.publisher, options.group, options.feed_port, options.interface);
  if (!open_retransmissions(options, run.retransmissions)) return false;
  set_faults(options, run.publisher.faults);
  run.engine.quiet = options.quiet;
  open_files(options, run.engine);
  run.stats_path = options.stats_path;
  read_bonds(options.bonds, run.intake.high_yield_cusips, run.engine.universe);
  if (!open_reports(options, run.intake)) return false;
  if (options.control_port != 0) run.control.socket = open_control_socket(options.control_port);
  print_banner(run, options);
  disseminate_control(run.engine, 'I');
  disseminate_control(run.engine, 'O');
  catch_stop_signals();
  run.generator.chance.engine.seed(options.seed);
  run.generator.periods = run.scenario.periods;
  run.intake.cancel_every = run.scenario.periods.cancel_every;
  start_timers(run, options.rate_ms);
  return true;
}

}  // namespace vorbeld
