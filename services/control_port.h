// The control port: a test harness steers the running bench with one text command a datagram, each answered with one
// line. Here stands one row a command, from its text to its effect and reply; every effect belongs to the operation it
// calls.
#pragma once

#include <string>
#include <string_view>

#include "services/retransmission.h"
#include "trades/amendment.h"
#include "trades/engine.h"
#include "trades/generator.h"

namespace vorbeld {

// What commands act on.
struct ControlTargets {
  Engine& engine;
  Flow& flow;
  PendingAmendments& pending;
  const RetransmissionServer& retransmissions;  // for its count of requests
};

struct CommandResult {
  std::string reply;   // without line feed
  bool echoed = true;  // whether the console shows the command and its reply
};

// Carries out one command line, already trimmed: the command, exact and case-sensitive, is the text before the first
// blank, its argument all behind it. A line that is not a command gives "unknown command".
CommandResult run_command(std::string_view line, ControlTargets targets);

struct ControlPort {
  int socket = -1;  // UDP on 127.0.0.1, non-blocking; -1: no control port
};

// Carries out the commands that wait, each completely before the next is read, until none is left or an empty datagram
// came. "stop" sets flow.stop_now; the commands behind it in the same pass are still served.
void serve_commands(const ControlPort& port, ControlTargets targets);

}  // namespace vorbeld
