// The pace of the generated trades, as the control port and the main loop steer it.
#pragma once

#include <cstdint>

namespace vorbeld {

struct Flow {
  std::uint32_t rate_ms = 0;        // mean gap between generated trades; 0: none are generated
  std::uint64_t next_trade_ms = 0;  // monotonic; when the generator fires next
  std::uint64_t idle_until_ms = 0;  // monotonic; no generated trades before; 0: not idle
  bool paused = false;              // by the control port, or while the run is stopping
  bool stop_now = false;            // the control port ends the run, without the drain that a signal gets
};

}  // namespace vorbeld
