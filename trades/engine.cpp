#include "trades/engine.h"

#include "common/clocks.h"

namespace vorbeld {

std::uint64_t send_message(Engine& engine, std::span<const char> message) {
  const std::uint64_t sequence = append_message(engine.publisher, message);
  flush(engine.publisher);
  return sequence;
}

std::int64_t message_time_s() {
  return static_cast<std::int64_t>(wall_ms() / 1000);
}

}  // namespace vorbeld
