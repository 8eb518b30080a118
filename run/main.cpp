// The entry point: owns the run from its options to its last line.
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <span>
#include <utility>

#include "run/loop.h"
#include "run/options.h"
#include "run/start.h"

// Exit status 0 after an orderly stop, 1 when a port cannot be had, 2 for a mistake on the command line. A number that
// cannot be read ends the process by an exception that nothing catches.
int main(int argc, char** argv) {
  using namespace vorbeld;
  const std::span<const char* const> arguments(argv, static_cast<std::size_t>(argc));
  std::optional<BenchOptions> options =
      read_options(arguments.subspan(argc > 0 ? 1 : 0), std::getenv("VORBELD_SCENARIO"));
  if (!options) return 2;
  RunState run;
  run.options = std::move(*options);
  if (!start_run(run)) return 1;
  run_loop(run);
  std::fprintf(stderr, "[vorbeld] stopped: seq %llu reports %llu\n",
               static_cast<unsigned long long>(run.publisher.next_sequence - 1),
               static_cast<unsigned long long>(run.engine.counters.reports));
  return 0;
}
