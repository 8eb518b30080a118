#include "run/loop.h"

#include <poll.h>

#include <vector>

#include "common/clocks.h"
#include "run/statistics.h"
#include "run/timers.h"

namespace vorbeld {
namespace {

void serve(RunState& run) {
  if (run.intake.listener >= 0) accept_reports(run.intake);
  serve_reports(run.intake, run.engine, run.pending);
  if (run.publisher.retransmission_socket >= 0) serve_retransmissions(run.retransmissions, run.publisher);
  if (run.control.socket >= 0) serve_commands(run.control, {run.engine, run.flow, run.pending});
}

// Returns when a report, a connection or a command waits, after 10 ms at the latest. Retransmission requests do not
// wake the loop; their socket is read in every pass.
void wait_for_work(const RunState& run, std::vector<pollfd>& descriptors) {
  constexpr int longest_ms = 10;
  descriptors.clear();
  if (run.intake.listener >= 0) descriptors.push_back({run.intake.listener, POLLIN, 0});
  for (const ReportConnection& connection : run.intake.open) descriptors.push_back({connection.descriptor, POLLIN, 0});
  if (run.control.socket >= 0) descriptors.push_back({run.control.socket, POLLIN, 0});
  poll(descriptors.data(), descriptors.size(), longest_ms);
}

}  // namespace

void run_loop(RunState& run) {
  std::vector<pollfd> descriptors;
  for (;;) {
    serve(run);  // before the timers, so that what a client sent first happens first
    if (run.flow.stop_now) return;
    const std::uint64_t now_ms = monotonic_ms();
    if (drain_is_over(run, now_ms)) return;
    fire_halt(run, now_ms);
    lift_halt(run, now_ms);
    fire_idle(run, now_ms);
    fire_close(run, now_ms);  // before the amendments: what is pending at the close never happens
    carry_out_amendments(run, now_ms);
    fire_trade(run, now_ms);
    send_heartbeat(run.publisher);
    write_statistics(run, now_ms);
    print_status(run, now_ms);
    wait_for_work(run, descriptors);
  }
}

}  // namespace vorbeld
