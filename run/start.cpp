#include "run/start.h"

#include <string>

#include "common/clocks.h"
#include "run/banner.h"
#include "run/bond_list.h"
#include "run/sockets.h"
#include "run/stop_signal.h"
#include "trades/session.h"

namespace vorbeld {
namespace {

void read_drop_burst(const std::string& text, FaultSettings& faults) {
  if (text.empty()) return;
  const std::size_t colon = text.find(':');
  faults.drop_burst_start = std::stoull(text.substr(0, colon));
  faults.drop_burst_length =
      colon == std::string::npos ? 1 : static_cast<std::uint32_t>(std::stoul(text.substr(colon + 1)));
}

void set_faults(const BenchOptions& options, FaultSettings& faults) {
  faults.drop_every = options.drop_every;
  read_drop_burst(options.drop_burst, faults);
  faults.duplicate_every = options.duplicate_every;
  faults.reorder_every = options.reorder_every;
}

bool open_retransmissions(const BenchOptions& options, MoldPublisher& publisher) {
  if (options.retransmission_port == 0) return true;
  publisher.retransmission_socket = open_retransmission_socket(options.retransmission_port);
  return publisher.retransmission_socket >= 0;
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

void start_timers(RunState& run) {
  const std::uint64_t now = monotonic_ms();
  run.timers.start_ms = now;
  run.timers.last_status_ms = now;
  run.flow.rate_ms = run.options.rate_ms;
  run.flow.next_trade_ms = now + run.options.rate_ms;
}

}  // namespace

bool start_run(RunState& run) {
  const BenchOptions& options = run.options;
  run.scenario = read_scenario(options.scenario);
  run.intake.high_yield_cusips = read_cusips(options.high_yield);
  start_publisher(run.publisher, options.session);
  open_feed(run.publisher, options.group, options.feed_port, options.interface);
  if (!open_retransmissions(options, run.publisher)) return false;
  set_faults(options, run.publisher.faults);
  run.publisher.quiet = options.quiet;
  run.engine.quiet = options.quiet;
  open_files(options, run.engine);
  read_bonds(options.bonds, run.intake.high_yield_cusips, run.engine.universe);
  if (!open_reports(options, run.intake)) return false;
  if (options.control_port != 0) run.control.socket = open_control_socket(options.control_port);
  print_banner(run);
  disseminate_control(run.engine, 'I');
  disseminate_control(run.engine, 'O');
  catch_stop_signals();
  run.generator.chance.engine.seed(options.seed);
  run.generator.periods = run.scenario.periods;
  run.intake.cancel_every = run.scenario.periods.cancel_every;
  start_timers(run);
  return true;
}

}  // namespace vorbeld
