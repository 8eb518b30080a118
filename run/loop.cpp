#include "run/loop.h"

#include <poll.h>

#include <cmath>
#include <cstdio>
#include <vector>

#include "common/clocks.h"
#include "common/console.h"
#include "common/stop_signal.h"
#include "feed/publisher.h"
#include "run/status.h"
#include "trades/amendment.h"
#include "trades/bonds.h"
#include "trades/engine.h"
#include "trades/generator.h"
#include "trades/session.h"
#include "trades/trade_index.h"

namespace vorbeld {
namespace {

// True when an event scheduled `after_s` seconds after start is due; 0: never.
bool reached(const Timers& timers, std::uint64_t now_ms, std::uint32_t after_s) {
  const double elapsed_s = static_cast<double>(now_ms - timers.start_ms) / 1000.0;
  return after_s != 0 && elapsed_s >= after_s;
}

void correct_by_chance(RunState& run, std::uint64_t trade_id) {
  const TradeRecord* const record = find_trade(run.engine.trades, trade_id);
  if (record == nullptr) return;
  const double quantity = draw(run.generator.chance) >= 0.5 ? 2 * record->quantity : record->quantity;
  const double factor = 1 + 0.004 * (draw(run.generator.chance) - 0.5);
  const double price = std::round(factor * record->price * 1000) / 1000;
  correct_trade(run.engine, trade_id, price, quantity);
}

void serve(RunState& run) {
  if (run.intake.listener >= 0) accept_reports(run.intake);
  serve_reports(run.intake, run.engine, run.pending);
  if (run.retransmissions.socket >= 0) {
    serve_retransmissions(run.retransmissions, run.publisher.store, run.engine.quiet);
  }
  if (run.control.socket >= 0) {
    serve_commands(run.control, {run.engine, run.flow, run.pending, run.retransmissions});
  }
}

// Returns when a report, a connection or a command waits, or the console takes lines again, after 10 ms at the latest.
// Retransmission requests do not wake the loop; their socket is read in every pass. A connection that cannot be
// accepted for want of descriptors does not either: it would each time, until a client leaves.
void wait_for_work(const RunState& run, std::vector<pollfd>& descriptors) {
  constexpr int longest_ms = 10;
  descriptors.clear();
  if (run.intake.listener >= 0 && !run.intake.starved) descriptors.push_back({run.intake.listener, POLLIN, 0});
  for (const ReportConnection& connection : run.intake.open) descriptors.push_back({connection.descriptor, POLLIN, 0});
  if (run.control.socket >= 0) descriptors.push_back({run.control.socket, POLLIN, 0});
  if (awaits_room(run.console)) descriptors.push_back({run.console.descriptor, POLLOUT, 0});
  poll(descriptors.data(), descriptors.size(), longest_ms);
}

}  // namespace

bool drain_is_over(RunState& run, std::uint64_t now_ms) {
  constexpr std::uint64_t drain_ms = 1500;
  if (stop_requested() && run.timers.stop_deadline_ms == 0) {
    run.timers.stop_deadline_ms = now_ms + drain_ms;
    std::fputs("[vorbeld] stopping: the flow ends, retransmissions served for another 1.5 s\n", stderr);
    run.flow.paused = true;
  }
  return run.timers.stop_deadline_ms != 0 && now_ms >= run.timers.stop_deadline_ms;
}

void fire_halt(RunState& run, std::uint64_t now_ms) {
  auto& bonds = run.engine.universe.bonds;
  if (run.timers.halt_fired || bonds.empty() || !reached(run.timers, now_ms, run.scenario.halt_after_s)) return;
  disseminate_halt(run.engine, bonds.front(), 'H', "T.1");
  run.timers.halted_cusip = bonds.front().cusip;
  run.timers.halt_fired = true;
  run.timers.resume_at_ms = now_ms + run.scenario.halt_ms;
}

void lift_halt(RunState& run, std::uint64_t now_ms) {
  if (run.timers.resume_at_ms == 0 || now_ms < run.timers.resume_at_ms) return;
  Bond* const bond = find_bond(run.engine.universe, run.timers.halted_cusip);
  if (bond != nullptr) disseminate_halt(run.engine, *bond, 'R', "T.2");
  run.timers.resume_at_ms = 0;
}

void fire_idle(RunState& run, std::uint64_t now_ms) {
  if (run.timers.idle_fired || !reached(run.timers, now_ms, run.scenario.idle_after_s)) return;
  const std::uint32_t lost = run.scenario.idle_drop;
  run.flow.idle_until_ms = now_ms + run.scenario.idle_ms;
  if (lost != 0) {
    run.publisher.faults.armed_drops = lost;
    for (std::uint32_t i = 0; i < lost; ++i) generate_trade(run.generator, run.engine, run.pending);
  }
  std::fprintf(stderr, "bench: idle for %u ms (heartbeats only%s)\n", run.scenario.idle_ms,
               lost != 0 ? ", the prints just before it lost" : "");
  run.timers.idle_fired = true;
}

void fire_close(RunState& run, std::uint64_t now_ms) {
  if (session_closed(run.engine) || !reached(run.timers, now_ms, run.scenario.close_after_s)) return;
  close_session(run.engine);
  run.pending.clear();
}

void carry_out_amendments(RunState& run, std::uint64_t now_ms) {
  while (!run.pending.empty() && run.pending.front().due_ms <= now_ms) {
    const PendingAmendment amendment = run.pending.front();
    run.pending.pop_front();
    switch (amendment.kind) {
      case Amendment::cancel:
        cancel_trade(run.engine, amendment.trade_id);
        break;
      case Amendment::correction:
        correct_by_chance(run, amendment.trade_id);
        break;
    }
  }
}

void fire_trade(RunState& run, std::uint64_t now_ms) {
  Flow& flow = run.flow;
  if (flow.rate_ms == 0 || flow.paused || session_closed(run.engine)) return;
  if (now_ms < flow.idle_until_ms || now_ms < flow.next_trade_ms) return;
  generate_trade(run.generator, run.engine, run.pending);
  const double gap_ms = flow.rate_ms * (0.3 + 1.4 * draw(run.generator.chance));
  flow.next_trade_ms = now_ms + static_cast<std::uint64_t>(gap_ms);
  flow.idle_until_ms = 0;
}

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
    flush_console(run.console);
    wait_for_work(run, descriptors);
  }
}

}  // namespace vorbeld
