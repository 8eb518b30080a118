// The trade generator: one synthetic trade a step, random but plausible, shaped by the scenario's periods. A run with
// the same seed, bonds and scenario makes the same sequence of choices, so the order of the draws is part of what the
// bench promises; each is written where it is drawn.
#pragma once

#include <cstdint>
#include <random>

#include "trades/amendment.h"
#include "trades/engine.h"

namespace vorbeld {

// The run's only source of randomness, shared by the generator, the gaps between its trades and the due corrections.
struct Chance {
  std::mt19937_64 engine;
  std::uniform_real_distribution<double> uniform{0.0, 1.0};
};

// The next number in [0, 1); one output of the engine.
inline double draw(Chance& chance) {
  return chance.uniform(chance.engine);
}

// Each takes effect on every generated trade whose number is a multiple; 0 switches it off.
struct GeneratorPeriods {
  std::uint32_t cancel_every = 0;   // cancelled 1.5 to 3 s later
  std::uint32_t correct_every = 0;  // corrected 1.5 to 3 s later, unless it is to be cancelled
  std::uint32_t asof_every = 0;
  std::uint32_t reversal_every = 0;  // unless it is an as-of trade
  std::uint32_t special_every = 0;
  std::uint32_t late_every = 0;
  std::uint32_t after_hours_every = 0;  // unless it is late
  std::uint32_t wavg_every = 0;
  std::uint32_t ats_every = 0;
};

struct Generator {
  Chance chance;
  GeneratorPeriods periods;
  std::uint64_t generated = 0;  // trades made since start, those refused after the close included
};

// The pace of the generated trades, as the control port and the main loop steer it.
struct Flow {
  std::uint32_t rate_ms = 0;        // mean gap between generated trades; 0: none are generated
  std::uint64_t next_trade_ms = 0;  // monotonic; when the generator fires next
  std::uint64_t idle_until_ms = 0;  // monotonic; no generated trades before; 0: not idle
  bool paused = false;              // by the control port, or while the run is stopping
  bool stop_now = false;            // the control port ends the run, without the drain that a signal gets
};

// Makes and disseminates one trade of a bond picked by chance, and may schedule its cancel or correction. Nothing is
// drawn when there is no bond; a halted bond costs the pick and makes no trade.
void generate_trade(Generator& generator, Engine& engine, PendingAmendments& pending);

}  // namespace vorbeld
