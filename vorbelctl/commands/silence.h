// What is said of the doors of a bench when nobody answers at them.
#pragma once

#include <string>

#include "vorbelctl/handler/sockets.h"

namespace vorbelctl {

// Where a bench could have been noticed, to be put behind "nobody answers": the control port, where there is one, and
// the feed.
std::string at_no_door(const Addresses& addresses);

// Why no message comes from the retransmission port, and what to do; `refused`: because the port is closed.
std::string no_retransmission(const Addresses& addresses, bool refused);

}  // namespace vorbelctl
