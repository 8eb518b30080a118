// The book of a bond: a print more, and a print taken out again.
#include <benchmark/benchmark.h>

#include <memory>

#include "bench/micro_input.h"
#include "trades/amendment.h"
#include "trades/book.h"
#include "trades/trade.h"

namespace vorbeld {
namespace {

// A short history and one of a day's stress test. What a print or a cancel costs must be the same in both.
constexpr std::int64_t short_history = 1'000;
constexpr std::int64_t long_history = 1'000'000;

// Fixed rather than left to the clock: cancels use up trades, and half of the short history can be cancelled.
constexpr std::int64_t amendments = 500;

void sized_by_history(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(short_history)->Arg(long_history)->Iterations(amendments);
}

std::unique_ptr<Bench> bench_of(const benchmark::State& state) {
  return make_bench(static_cast<std::uint64_t>(state.range(0)));
}

// Checks the number of prints left in the book and shows it.
void show_prints(benchmark::State& state, const Bench& bench, std::int64_t expected) {
  const std::uint64_t prints = bench.engine.universe.bonds.front().prints;
  if (prints != static_cast<std::uint64_t>(expected)) state.SkipWithError("the book has a wrong number of prints");
  state.counters["check"] = static_cast<double>(prints);
}

// The book alone: the price of the day's state, and the print kept for later cancels. The records exist beforehand.
void book_update(benchmark::State& state) {
  const std::unique_ptr<Bench> bench = bench_of(state);
  Engine& engine = bench->engine;
  Bond bond = sample_bond();
  std::uint64_t id = 1;
  while (state.KeepRunning()) {
    const TradeRecord& record = trade(engine.trades, id);
    benchmark::DoNotOptimize(apply_print(bond, record.price, record.yield, record.exec_s));
    keep_print(bond, engine.trades, id);
    ++id;
  }
  if (bond.prints != id - 1) state.SkipWithError("the book has a wrong number of prints");
  state.counters["check"] = static_cast<double>(bond.prints);
}
BENCHMARK(book_update)->Arg(short_history)->Iterations(short_history);
BENCHMARK(book_update)->Arg(long_history)->Iterations(long_history);

// A whole trade: record, book, message, store, and a send that goes nowhere.
void whole_trade(benchmark::State& state) {
  const std::unique_ptr<Bench> bench = bench_of(state);
  std::int64_t number = state.range(0);
  while (state.KeepRunning()) disseminate_trade(bench->engine, sample_trade(static_cast<std::uint64_t>(number++)));
  show_prints(state, *bench, state.range(0) + amendments);
}
BENCHMARK(whole_trade)->Apply(sized_by_history);

// The newest trade each time, as the control port's "cancel" does.
void cancel_newest(benchmark::State& state) {
  const std::unique_ptr<Bench> bench = bench_of(state);
  while (state.KeepRunning()) cancel_trade(bench->engine, latest_amendable(bench->engine.trades));
  show_prints(state, *bench, state.range(0) - amendments);
}
BENCHMARK(cancel_newest)->Apply(sized_by_history);

// Trades all over the history, every one of which may have been the high, the low or the last.
void cancel_scattered(benchmark::State& state) {
  const std::unique_ptr<Bench> bench = bench_of(state);
  constexpr std::uint64_t stride = 7919;  // prime, hence no trade is met twice
  const auto history = static_cast<std::uint64_t>(state.range(0));
  std::uint64_t step = 0;
  while (state.KeepRunning()) cancel_trade(bench->engine, step++ * stride % history + 1);
  show_prints(state, *bench, state.range(0) - amendments);
}
BENCHMARK(cancel_scattered)->Apply(sized_by_history);

void correct_newest(benchmark::State& state) {
  const std::unique_ptr<Bench> bench = bench_of(state);
  while (state.KeepRunning()) correct_trade(bench->engine, latest_amendable(bench->engine.trades), 100.25, 500'000);
  show_prints(state, *bench, state.range(0));
}
BENCHMARK(correct_newest)->Apply(sized_by_history);

}  // namespace
}  // namespace vorbeld
