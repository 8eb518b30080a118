// The message encoders: the bytes of a trade, a cancel and a correction, and the dates in them.
#include <benchmark/benchmark.h>

#include <array>
#include <span>

#include "bench/micro_input.h"
#include "btds/local_time.h"
#include "btds/trade_block.h"
#include "trades/trade_index.h"
#include "trades/trade_messages.h"

namespace vorbeld {
namespace {

// As many different trades as a busy second has: more than a branch predictor remembers, less than the cache holds.
constexpr std::uint64_t trades = 1000;

constexpr std::int64_t now_s = 1'700'003'600;

// Checks that every byte was written, as it is in a message that may be sent, and shows the sum of them all.
void show_check(benchmark::State& state, std::span<const char> bytes) {
  for (const char byte : bytes) {
    if (byte < ' ' || byte > '~') state.SkipWithError("a byte of the message was left unwritten");
  }
  state.counters["check"] = static_cast<double>(byte_sum(bytes) % 1'000'000);
}

TradeBody encode_body(const TradeInput& input) {
  TradeBody body{};
  encode_trade_block(body, false, input.terms, 385.0 / input.terms.price);
  return body;
}

void trade_block(benchmark::State& state) {
  TradeBody body{};
  std::uint64_t number = 0;
  while (state.KeepRunning()) {
    const TradeInput input = sample_trade(number);
    encode_trade_block(body, false, input.terms, 385.0 / input.terms.price);
    benchmark::DoNotOptimize(body);
    number = (number + 1) % trades;
  }
  show_check(state, encode_body(sample_trade(trades - 1)));
}
BENCHMARK(trade_block);

void trade_message(benchmark::State& state) {
  const Bond bond = sample_bond();
  const TradeInput input = sample_trade(0);
  const TradeBody body = encode_body(input);
  std::uint64_t id = 0;
  while (state.KeepRunning()) {
    auto message = encode_trade(bond, id, input, body, '1', now_s);
    benchmark::DoNotOptimize(message);
    id = (id + 1) % trades;
  }
  show_check(state, encode_trade(bond, trades, input, body, '1', now_s));
}
BENCHMARK(trade_message);

// The record of a trade that was disseminated.
TradeRecord sample_record() {
  return trade(make_bench(1)->engine.trades, 1);
}

void cancel_message(benchmark::State& state) {
  const Bond bond = sample_bond();
  const TradeRecord record = sample_record();
  const DayPrices previous{true, 101.5, 3.8, 99.25, 3.9, 100.125, 3.85};
  std::uint64_t id = 0;
  while (state.KeepRunning()) {
    auto message = encode_cancel(bond, id, record, previous, now_s);
    benchmark::DoNotOptimize(message);
    id = (id + 1) % trades;
  }
  show_check(state, encode_cancel(bond, trades, record, previous, now_s));
}
BENCHMARK(cancel_message);

void correction_message(benchmark::State& state) {
  const Bond bond = sample_bond();
  const TradeRecord record = sample_record();
  const DayPrices previous{true, 101.5, 3.8, 99.25, 3.9, 100.125, 3.85};
  std::uint64_t id = 0;
  while (state.KeepRunning()) {
    auto message = encode_correction(bond, id, record, id + 1, record.body, previous, now_s);
    benchmark::DoNotOptimize(message);
    id = (id + 1) % trades;
  }
  show_check(state, encode_correction(bond, trades, record, trades + 1, record.body, previous, now_s));
}
BENCHMARK(correction_message);

// Execution times as trades have them: seconds apart, over the quarter of an hour that a generated trade may lie back.
void date_time(benchmark::State& state) {
  std::array<char, 14> text{};
  std::int64_t second = 0;
  while (state.KeepRunning()) {
    put_date_time(text, now_s + second);
    benchmark::DoNotOptimize(text);
    second = (second + 7) % 900;
  }
  put_date_time(text, now_s);
  show_check(state, text);
}
BENCHMARK(date_time);

}  // namespace
}  // namespace vorbeld
