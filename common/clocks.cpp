#include "common/clocks.h"

#include <chrono>
#include <ctime>

namespace vorbeld {

std::uint64_t monotonic_ms() {
  const auto since_origin = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(std::chrono::nanoseconds(since_origin).count()) / 1'000'000;
}

std::uint64_t wall_ms() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1000 + static_cast<std::uint64_t>(now.tv_nsec) / 1'000'000;
}

}  // namespace vorbeld
