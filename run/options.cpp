#include "run/options.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

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

}  // namespace vorbeld
