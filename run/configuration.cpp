#include "run/configuration.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "common/text.h"

namespace vorbeld {
namespace {

using Value = const std::string&;

std::uint16_t port(Value text) {
  return static_cast<std::uint16_t>(std::stoi(text));
}

std::uint32_t number(Value text) {
  return static_cast<std::uint32_t>(std::stoul(text));
}

void append_cancel_every(std::string& scenario, Value count) {
  if (!scenario.empty()) scenario += ',';
  scenario += "cancel_every=" + count;
}

struct Option {
  std::string_view name;
  void (*set)(BenchOptions&, Value);
};

constexpr std::array options_with_value{
    Option{"--mcast", [](BenchOptions& options, Value value) { options.group = value; }},
    Option{"--port", [](BenchOptions& options, Value value) { options.feed_port = port(value); }},
    Option{"--iface", [](BenchOptions& options, Value value) { options.interface = value; }},
    Option{"--session", [](BenchOptions& options, Value value) { options.session = value; }},
    Option{"--report-port", [](BenchOptions& options, Value value) { options.report_port = port(value); }},
    Option{"--retrans-port", [](BenchOptions& options, Value value) { options.retransmission_port = port(value); }},
    Option{"--control-port", [](BenchOptions& options, Value value) { options.control_port = port(value); }},
    Option{"--bonds", [](BenchOptions& options, Value value) { options.bonds = value; }},
    Option{"--hy", [](BenchOptions& options, Value value) { options.high_yield = value; }},
    Option{"--tape-out", [](BenchOptions& options, Value value) { options.tape_path = value; }},
    Option{"--truth-out", [](BenchOptions& options, Value value) { options.truth_path = value; }},
    Option{"--stats-out", [](BenchOptions& options, Value value) { options.stats_path = value; }},
    Option{"--rate-ms", [](BenchOptions& options, Value value) { options.rate_ms = number(value); }},
    Option{"--seed", [](BenchOptions& options, Value value) { options.seed = number(value); }},
    Option{"--drop-every", [](BenchOptions& options, Value value) { options.drop_every = number(value); }},
    Option{"--drop-burst", [](BenchOptions& options, Value value) { options.drop_burst = value; }},
    Option{"--dup-every", [](BenchOptions& options, Value value) { options.duplicate_every = number(value); }},
    Option{"--reorder-every", [](BenchOptions& options, Value value) { options.reorder_every = number(value); }},
    Option{"--scenario", [](BenchOptions& options, Value value) { options.scenario = value; }},
    Option{"--cancel-every", [](BenchOptions& options, Value value) { append_cancel_every(options.scenario, value); }},
};

}  // namespace

std::optional<BenchOptions> read_options(std::span<const char* const> arguments, const char* scenario) {
  BenchOptions options;
  if (scenario != nullptr) options.scenario = scenario;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string_view name = arguments[i];
    if (name == "--quiet") {
      options.quiet = true;
      continue;
    }
    const auto* const option = std::find_if(options_with_value.begin(), options_with_value.end(),
                                            [name](const Option& candidate) { return candidate.name == name; });
    if (option == options_with_value.end()) {
      std::fprintf(stderr, "unknown flag %s\n", arguments[i]);
      return std::nullopt;
    }
    if (i + 1 == arguments.size()) {
      std::fprintf(stderr, "%s needs a value\n", arguments[i]);
      return std::nullopt;
    }
    option->set(options, arguments[++i]);
  }
  return options;
}

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

namespace {

enum BondField : std::size_t { bond_cusip, bond_description, bond_symbol, bond_grade, bond_price, bond_coupon };

Bond read_bond(const std::vector<std::string_view>& fields, const CusipSet& high_yield) {
  Bond bond;
  bond.cusip = fields[bond_cusip];
  bond.description = fields[bond_description];
  bond.symbol = fields[bond_symbol];
  bond.short_name = fields[bond_description].substr(0, fields[bond_description].find(' '));  // the issuer
  bond.sub_product = "CORP";
  bond.high_yield = fields[bond_grade] == "HY" || high_yield.contains(fields[bond_cusip]);
  if (fields.size() > bond_price) bond.mid = std::stod(std::string(fields[bond_price]));
  if (fields.size() > bond_coupon) bond.coupon = std::stod(std::string(fields[bond_coupon]));
  return bond;
}

}  // namespace

CusipSet read_cusips(std::string_view text) {
  CusipSet cusips;
  std::vector<std::string_view> pieces;
  split(text, ',', pieces);
  for (const std::string_view piece : pieces) {
    if (!piece.empty()) cusips.emplace(piece);
  }
  return cusips;
}

void read_bonds(std::string_view text, const CusipSet& high_yield, Universe& universe) {
  std::vector<std::string_view> records;
  std::vector<std::string_view> fields;
  split(text, ',', records);
  for (const std::string_view record : records) {
    split(record, ':', fields);
    if (fields.size() > bond_grade) add_bond(universe, read_bond(fields, high_yield));
  }
}

void read_drop_burst(const std::string& text, FaultSettings& faults) {
  if (text.empty()) return;
  const std::size_t colon = text.find(':');
  faults.drop_burst_start = std::stoull(text.substr(0, colon));
  faults.drop_burst_length =
      colon == std::string::npos ? 1 : static_cast<std::uint32_t>(std::stoul(text.substr(colon + 1)));
}

}  // namespace vorbeld
