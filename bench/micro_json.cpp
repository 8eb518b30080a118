// The JSON lines of a trade: its truth record as text, and its tape line as written.
#include <benchmark/benchmark.h>

#include <memory>

#include "bench/micro_input.h"
#include "common/line_file.h"
#include "trades/records.h"

namespace vorbeld {
namespace {

// One bond's trades of a few minutes: their records, 144 bytes each, stay in the second-level cache as those of a
// running bench do, where a record is written just before its lines.
constexpr std::uint64_t trade_count = 1000;

void put_truth_line(TextLine& line, const Bond& bond, std::uint64_t trade_id, const TradeRecord& record) {
  start_truth(line, trade_id + 2, Kind::trade, type_of(Kind::trade));
  append_trade_members(line, bond, trade_id, record);
  append_summary_member(line, bond);
}

void truth_line(benchmark::State& state) {
  const std::unique_ptr<Bench> bench = make_bench(trade_count);
  const Bond& bond = bench->engine.universe.bonds.front();
  TextLine line;
  std::uint64_t id = 1;
  while (state.KeepRunning()) {
    put_truth_line(line, bond, id, trade(bench->engine.trades, id));
    benchmark::DoNotOptimize(line.room.data());
    id = id % trade_count + 1;
  }
  put_truth_line(line, bond, trade_count, trade(bench->engine.trades, trade_count));
  if (!text(line).starts_with("{\"seq\":1002,\"cat\":\"T\",") || !text(line).ends_with(",\"prints\":1000}")) {
    state.SkipWithError("the line is not that of the last trade");
  }
  state.counters["check"] = static_cast<double>(line.size);
}
BENCHMARK(truth_line);

// Includes the write of the line, to a file that keeps nothing.
void tape_line(benchmark::State& state) {
  const std::unique_ptr<Bench> bench = make_bench(trade_count);
  Engine& engine = bench->engine;
  open_lines(engine.tape, "/dev/null");
  const Bond& bond = engine.universe.bonds.front();
  const TradeInput input = sample_trade(0);
  std::uint64_t id = 1;
  while (state.KeepRunning()) {
    write_tape(engine, id + 2, id, bond, input, trade(engine.trades, id));
    id = id % trade_count + 1;
  }
  if (!takes_lines(engine.tape)) state.SkipWithError("the tape took no lines");
  state.counters["check"] = static_cast<double>(engine.line.size);
}
BENCHMARK(tape_line);

}  // namespace
}  // namespace vorbeld
