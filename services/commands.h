// The commands of the control port: one row a command, from its text to its effect and reply. No sockets here.
#pragma once

#include <string>
#include <string_view>

#include "trades/amendment.h"
#include "trades/engine.h"
#include "trades/flow.h"

namespace vorbeld {

// What commands act on.
struct ControlTargets {
  Engine& engine;
  Flow& flow;
  PendingAmendments& pending;
};

struct CommandResult {
  std::string reply;   // without line feed
  bool echoed = true;  // whether the console shows the command and its reply
};

// Carries out one command line, already trimmed: the command, exact and case-sensitive, is the text before the first
// blank, its argument all behind it. A line that is no command gives "unknown command".
CommandResult run_command(std::string_view line, ControlTargets targets);

}  // namespace vorbeld
