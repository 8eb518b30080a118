// Start-up: from the options to a run that is on the wire; the service sockets are opened here.
#pragma once

#include <cstdint>

#include "run/configuration.h"
#include "run/run_state.h"

namespace vorbeld {

// Each returns the descriptor, or -1 when the port cannot be had; the system's reason is printed then.
int open_retransmission_socket(std::uint16_t port);  // UDP on all addresses
int open_report_listener(std::uint16_t port);        // TCP on all addresses, backlog 8
int open_control_socket(std::uint16_t port);         // UDP on 127.0.0.1

// Reads what the options hold, opens files and sockets, prints the banner, announces the day on the feed and starts the
// timers, in an order that observers can see. False when the retransmission port or the report port cannot be had; the
// reason is printed then. What the run needs of the options is in its state afterwards.
bool start_run(RunState& run, const BenchOptions& options);

}  // namespace vorbeld
