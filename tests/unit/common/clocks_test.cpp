// The two clocks against the system's own.
#include "common/clocks.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <ctime>

namespace vorbeld {
namespace {

std::uint64_t steady_ns() {
  return static_cast<std::uint64_t>(
      std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count());
}

std::uint64_t real_ns() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000 + static_cast<std::uint64_t>(now.tv_nsec);
}

TEST(Clocks, MonotonicIsTheSteadyClockInWholeMilliseconds) {
  for (int i = 0; i < 1000; ++i) {
    const std::uint64_t before = steady_ns() / 1'000'000;
    const std::uint64_t read = monotonic_ms();
    const std::uint64_t after = steady_ns() / 1'000'000;
    ASSERT_LE(before, read);
    ASSERT_LE(read, after);
  }
}

TEST(Clocks, WallIsTheRealTimeClockInWholeMilliseconds) {
  for (int i = 0; i < 1000; ++i) {
    const std::uint64_t before = real_ns() / 1'000'000;
    const std::uint64_t read = wall_ms();
    const std::uint64_t after = real_ns() / 1'000'000;
    ASSERT_LE(before, read);
    ASSERT_LE(read, after);
  }
}

}  // namespace
}  // namespace vorbeld
