// The control port: a test harness steers the running bench with one text command a datagram, each answered with one
// line. Reads, parses and answers; every effect belongs to the operation it calls.
#pragma once

#include "services/commands.h"

namespace vorbeld {

struct ControlPort {
  int socket = -1;  // UDP on 127.0.0.1, non-blocking; -1: no control port
};

// Carries out the commands that wait, each completely before the next is read, until none is left or an empty datagram
// came. "stop" sets flow.stop_now; the commands behind it in the same pass are still served.
void serve_commands(const ControlPort& port, ControlTargets targets);

}  // namespace vorbeld
