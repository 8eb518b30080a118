// What the micro-benchmarks feed the daemon's operations with, and the sums by which they prove that these did their
// work. Everything is computed from a trade's number alone, so every run and every machine measures the same bytes.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "feed/publisher.h"
#include "trades/engine.h"
#include "trades/trade_index.h"

namespace vorbeld {

// An investment-grade bond with names as wide as usual.
Bond sample_bond();

// Trade `number` of the sample bond: prices between 90 and 110 in no order, seven in ten under the cap, executed one
// second after the trade before it.
TradeInput sample_trade(std::uint64_t number);

// An engine with an empty book whose messages reach no wire: its feed has no socket, so a send costs one refused system
// call. Quiet, and without files.
struct Bench {
  MoldPublisher publisher;
  Engine engine{publisher};
};

// One with `trades` trades of the sample bond disseminated.
std::unique_ptr<Bench> make_bench(std::uint64_t trades);

// A sum over bytes that depends on each and on their order; chain calls to sum several texts.
inline constexpr std::uint64_t empty_sum = 14695981039346656037ULL;
std::uint64_t byte_sum(std::span<const char> bytes, std::uint64_t sum = empty_sum);

}  // namespace vorbeld
