// A run that is started from its options: ports of its own, the feed to a socket of the test.
#pragma once

#include <unistd.h>

#include <stdexcept>
#include <string>

#include "run/run_state.h"
#include "run/start.h"
#include "tests/unit/common/console.h"
#include "tests/unit/common/loopback.h"
#include "tests/unit/common/scratch.h"

namespace vorbeld {

// No service port is set; tests that need one claim it.
struct StartBench {
  ScratchFolder folder;
  UdpSocket receiver = open_udp();
  BenchOptions options;
  RunState run;

  StartBench() {
    options.group = "127.0.0.1";
    options.feed_port = receiver.port;
    options.report_port = 0;
    options.retransmission_port = 0;
  }
  StartBench(const StartBench&) = delete;
  StartBench& operator=(const StartBench&) = delete;
  StartBench(StartBench&&) = delete;
  StartBench& operator=(StartBench&&) = delete;
  ~StartBench() {
    for (const int descriptor :
         {run.publisher.feed_socket, run.retransmissions.socket, run.intake.listener, run.control.socket}) {
      if (descriptor >= 0) close(descriptor);
    }
  }
};

// Starts the run, which must succeed, and returns what it prints.
inline std::string start(StartBench& bench) {
  bool started = false;
  std::string console = console_of([&] { started = start_run(bench.run, bench.options); });
  if (!started) throw std::runtime_error("not started: " + console);
  return console;
}

// Tries to start the run, which must fail, and returns what it prints.
inline std::string fail_to_start(StartBench& bench) {
  bool started = true;
  std::string console = console_of([&] { started = start_run(bench.run, bench.options); });
  if (started) throw std::runtime_error("started");
  return console;
}

}  // namespace vorbeld
