// The entry point: owns the run from its options to its last line.
#include <cstddef>
#include <cstdlib>
#include <optional>
#include <span>

#include "common/console.h"
#include "common/standard_streams.h"
#include "run/configuration.h"
#include "run/loop.h"
#include "run/run_state.h"
#include "run/start.h"
#include "run/status.h"

// Exit status 0 after an orderly stop, 1 when a port cannot be had, 2 for a mistake on the command line. A number that
// cannot be read ends the process by an exception that nothing catches.
int main(int argc, char** argv) {
  using namespace vorbeld;
  keep_standard_descriptors();
  fail_writes_without_signals();
  RunState run;
  open_console(run.console);
  const std::span<const char* const> arguments(argv, static_cast<std::size_t>(argc));
  const std::optional<BenchOptions> options =
      read_options(arguments.subspan(argc > 0 ? 1 : 0), std::getenv("VORBELD_SCENARIO"));
  if (!options) return 2;
  if (!start_run(run, *options)) return 1;
  run_loop(run);
  print_stopped(run);
  return 0;
}
