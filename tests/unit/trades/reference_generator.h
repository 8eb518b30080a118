// An independent reading of the trade generator: what each step draws, in which order, and what it makes of it.
#pragma once

#include <cstdint>
#include <optional>
#include <random>
#include <vector>

#include "trades/generator.h"

namespace vorbeld {

// What the reference knows of a bond; the mid walks with its own trades.
struct ReferenceBond {
  double mid;
  bool high_yield;
  bool halted = false;
};

// A trade that the generator must make. Times are relative to the moment of the step.
struct ReferenceTrade {
  std::size_t bond = 0;  // position of the one picked
  double price = 0;
  double quantity = 0;
  char side = 'S';
  char contra_party = 'D';
  char reporting_party = 'D';
  char ats = ' ';
  char remuneration = ' ';
  char as_of = ' ';
  char special = ' ';
  char sale_condition_3 = ' ';
  char sale_condition_4 = ' ';
  std::uint64_t executed_ago_s = 0;
  std::uint64_t reversed_ago_s = 0;  // 0: no reversed date
  char follow_up = '\0';             // 'C', 'O' or none
  std::uint64_t follow_up_in_ms = 0;
};

struct ReferenceGenerator {
  std::mt19937_64 random;
  std::vector<ReferenceBond> bonds;
  GeneratorPeriods periods;
  std::uint64_t count = 0;
};

// The next draw in [0, 1): one output of the engine over 2^64, the largest below 1 where that rounds to 1.
double next_draw(std::mt19937_64& random);

// One step; nothing when no bond was picked or the one picked is halted.
std::optional<ReferenceTrade> reference_step(ReferenceGenerator& generator);

}  // namespace vorbeld
