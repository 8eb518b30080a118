// Port numbers for code that opens its ports by number, out of reach of the numbers that the system hands out.
#pragma once

#include <cstdint>

#include "tests/unit/common/loopback.h"

namespace vorbeld {

// A number that no other test has while this lives.
struct ClaimedPort {
  Descriptor lock;
  std::uint16_t number = 0;
};

// Claims a number to which neither TCP nor UDP is bound. Throws when none is left.
ClaimedPort claim_port();

}  // namespace vorbeld
