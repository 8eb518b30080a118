// The message store: appending to a full ring, and walking through it as an answer to a receiver does.
#include <benchmark/benchmark.h>

#include <array>

#include "bench/micro_input.h"
#include "feed/message_store.h"
#include "feed/mold_packet.h"

namespace vorbeld {
namespace {

// The length of a trade message, which is nearly all that the store ever holds.
using Message = std::array<char, 147>;

// From the first eviction on every append is alike; a full store is also larger than any cache, as it is for the bench.
constexpr std::uint64_t full = most_stored_messages;

// Returns the sum of the messages' first bytes, by which they can be told from others.
std::uint64_t fill(MessageStore& store, std::uint64_t messages) {
  Message message{};
  std::uint64_t sum = 0;
  for (std::uint64_t i = 0; i < messages; ++i) {
    message[0] = static_cast<char>('a' + i % 26);
    sum += static_cast<unsigned char>(message[0]);
    store_message(store, message);
  }
  return sum;
}

void store_append(benchmark::State& state) {
  MessageStore store;
  fill(store, full);
  Message message{};
  while (state.KeepRunning()) benchmark::DoNotOptimize(store_message(store, message));
  if (stored_count(store) != full || store.appended != full + static_cast<std::uint64_t>(state.iterations())) {
    state.SkipWithError("the store kept a wrong number of messages");
  }
  state.counters["check"] = static_cast<double>(stored_count(store));
}
BENCHMARK(store_append);

// One block after the other from the oldest on, touching both of its ends like a copy into a packet.
void store_walk(benchmark::State& state) {
  MessageStore store;
  const std::uint64_t expected = fill(store, full);
  const std::uint64_t oldest = oldest_stored(store);
  std::uint64_t offset = 0;
  while (state.KeepRunning()) {
    const auto block = stored_block(store, oldest + offset);
    benchmark::DoNotOptimize(block.front() + block.back());
    offset = offset + 1 == full ? 0 : offset + 1;
  }
  std::uint64_t sum = 0;
  for (std::uint64_t i = 0; i < full; ++i) {
    sum += static_cast<unsigned char>(stored_block(store, oldest + i)[mold::block_prefix]);
  }
  if (sum != expected) state.SkipWithError("the store returned other messages than it was given");
  state.counters["check"] = static_cast<double>(sum);
}
BENCHMARK(store_walk);

}  // namespace
}  // namespace vorbeld
