#include "run/scenario.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include "common/split.h"

namespace vorbeld {
namespace {

struct Setting {
  std::string_view key;
  std::uint32_t& (*field)(ScenarioSettings&);
};

using Settings = ScenarioSettings&;

constexpr std::array known_settings{
    Setting{"cancel_every", [](Settings all) -> std::uint32_t& { return all.periods.cancel_every; }},
    Setting{"correct_every", [](Settings all) -> std::uint32_t& { return all.periods.correct_every; }},
    Setting{"asof_every", [](Settings all) -> std::uint32_t& { return all.periods.asof_every; }},
    Setting{"reversal_every", [](Settings all) -> std::uint32_t& { return all.periods.reversal_every; }},
    Setting{"special_every", [](Settings all) -> std::uint32_t& { return all.periods.special_every; }},
    Setting{"late_every", [](Settings all) -> std::uint32_t& { return all.periods.late_every; }},
    Setting{"after_hours_every", [](Settings all) -> std::uint32_t& { return all.periods.after_hours_every; }},
    Setting{"wavg_every", [](Settings all) -> std::uint32_t& { return all.periods.wavg_every; }},
    Setting{"ats_every", [](Settings all) -> std::uint32_t& { return all.periods.ats_every; }},
    Setting{"halt_after_s", [](Settings all) -> std::uint32_t& { return all.halt_after_s; }},
    Setting{"halt_ms", [](Settings all) -> std::uint32_t& { return all.halt_ms; }},
    Setting{"close_after_s", [](Settings all) -> std::uint32_t& { return all.close_after_s; }},
    Setting{"idle_after_s", [](Settings all) -> std::uint32_t& { return all.idle_after_s; }},
    Setting{"idle_ms", [](Settings all) -> std::uint32_t& { return all.idle_ms; }},
    Setting{"idle_drop", [](Settings all) -> std::uint32_t& { return all.idle_drop; }},
};

void apply(Settings settings, std::string_view key, std::uint32_t value) {
  const auto* const known = std::find_if(known_settings.begin(), known_settings.end(),
                                         [key](const Setting& setting) { return setting.key == key; });
  if (known == known_settings.end()) {
    std::fprintf(stderr, "vorbeld: unknown scenario key %.*s\n", static_cast<int>(key.size()), key.data());
    return;
  }
  known->field(settings) = value;
}

}  // namespace

ScenarioSettings read_scenario(std::string_view text) {
  ScenarioSettings settings;
  std::vector<std::string_view> pieces;
  split(text, ',', pieces);
  for (const std::string_view piece : pieces) {
    const std::size_t equals = piece.find('=');
    if (equals == std::string_view::npos) continue;
    const auto value = static_cast<std::uint32_t>(std::stoul(std::string(piece.substr(equals + 1))));
    apply(settings, piece.substr(0, equals), value);
  }
  return settings;
}

}  // namespace vorbeld
