// Halts: a bond stops trading and resumes.
#pragma once

#include <string_view>

#include "trades/engine.h"

namespace vorbeld {

// Sends an A/H message: the halt (action 'H') or its end ('R') of a bond, sets or clears its halted flag and writes the
// truth record and the console line. The reason is cut to four characters on the wire only. Neither halting a halted
// bond nor resuming a trading one is refused.
void disseminate_halt(Engine& engine, Bond& bond, char action, std::string_view reason);

}  // namespace vorbeld
