// Everything that a run is made of. The entry function owns the one record; each part of it belongs to the folder that
// declares it, and only this folder sees them together.
#pragma once

#include <cstdint>
#include <string>

#include "common/console.h"
#include "feed/publisher.h"
#include "run/configuration.h"
#include "services/control_port.h"
#include "services/report_intake.h"
#include "services/retransmission.h"
#include "trades/amendment.h"
#include "trades/engine.h"
#include "trades/generator.h"

namespace vorbeld {

// Milliseconds of the monotonic clock unless said otherwise.
struct Timers {
  std::uint64_t start_ms = 0;          // origin of the scenario timers
  std::uint64_t last_status_ms = 0;    // when the status line was last printed; the start at first
  std::uint64_t last_stats_ms = 0;     // when the statistics file was last written; 0: write it at once
  std::uint64_t resume_at_ms = 0;      // when the scheduled halt is lifted; 0: none pending
  std::string halted_cusip;            // the bond of the scheduled halt
  std::uint64_t stop_deadline_ms = 0;  // when the drain after a signal ends; 0: not stopping
  bool halt_fired = false;             // each of the scheduled events happens once
  bool idle_fired = false;
};

struct RunState {
  Console console;  // opened by the entry function; the rest prints to stderr, and tests to their own
  ScenarioSettings scenario;
  MoldPublisher publisher;
  Engine engine{publisher};
  Generator generator;
  Flow flow;
  PendingAmendments pending;
  ReportIntake intake;
  RetransmissionServer retransmissions;
  ControlPort control;
  Timers timers;
  std::string stats_path;     // statistics file; empty: none
  int spare_descriptor = -1;  // kept for that file, which must open when clients hold all others; -1: not yet
};

}  // namespace vorbeld
