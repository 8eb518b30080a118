// Which bonds a loss on the feed has hit, as far as the feed itself shows it. A lost message names no bond; but what
// comes later of the bond may contradict what was heard of it, and a recovered message tells whose it is.
#pragma once

#include <cstdint>

#include "vorbelctl/handler/book.h"

namespace vorbelctl {

struct BondLoss {
  std::uint64_t recovered = 0;  // messages of the bond that came by retransmission
  bool lacks = false;           // at least one of its messages never came
};

// True when the message of this bond cannot follow on its day as it was before: high, low or, in a summary, the last
// sale have moved without a message. What is not known of the day contradicts nothing, so a late start shows no loss.
bool shows_loss(const Day& before, const Message& message);

}  // namespace vorbelctl
