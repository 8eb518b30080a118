// Scenario settings: market events and special trades that a run schedules by itself.
#pragma once

#include <cstdint>
#include <string_view>

#include "trades/generator.h"

namespace vorbeld {

struct ScenarioSettings {
  GeneratorPeriods periods;
  std::uint32_t halt_after_s = 0;   // when the first bond is halted, seconds after start; 0: never
  std::uint32_t halt_ms = 5000;     // for how long
  std::uint32_t close_after_s = 0;  // when the session is closed; 0: never
  std::uint32_t idle_after_s = 0;   // when the generator pauses; 0: never
  std::uint32_t idle_ms = 5000;     // for how long
  std::uint32_t idle_drop = 0;      // trades generated as the pause starts, their packets dropped
};

// Reads key=value settings between commas; a later one overrides an earlier. Pieces without "=" are skipped, unknown
// keys named on the console and skipped. A value that std::stoul cannot read throws what it throws, even under an
// unknown key; one wider than 32 bits is cut to its low bits.
ScenarioSettings read_scenario(std::string_view text);

}  // namespace vorbeld
