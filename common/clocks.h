// The two clocks: one for every timer, one for time stamps in messages and files.
#pragma once

#include <cstdint>

namespace vorbeld {

// Milliseconds of the steady clock, truncated; the origin is arbitrary.
std::uint64_t monotonic_ms();

// Milliseconds since 1970-01-01 UTC of the real-time clock, truncated.
std::uint64_t wall_ms();

}  // namespace vorbeld
