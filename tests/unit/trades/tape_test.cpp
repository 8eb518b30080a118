// Tape lines, byte for byte.
#include "trades/tape.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "tests/unit/trades/engine_fixture.h"

namespace vorbeld {
namespace {

// The tape line of `input`, its time stamp replaced by "now" when it is that of the call.
std::string tape_of(EngineBench& bench, const TradeInput& input) {
  if (!takes_lines(bench.engine.tape)) open_tape(bench);
  const std::uint64_t before = wall_ms();
  disseminate_trade(bench.engine, input);
  std::string line = last_tape(bench);
  const std::string key = "\"ts_ms\":";
  const std::size_t at = line.find(key) + key.size();
  const std::uint64_t stamp = std::stoull(line.substr(at));
  if (stamp < before || stamp > wall_ms()) return "wrong time: " + line;
  return line.replace(at, std::to_string(stamp).size(), "now");
}

bool contains(const std::string& line, const std::string& text) {
  return line.find(text) != std::string::npos;
}

TEST(Tape, HasEveryKeyInOrder) {
  EngineBench bench;
  TradeInput input = plain_trade();
  input.terms.side = 'B';
  input.terms.contra_party = 'C';
  input.exec_ms = noon_s * 1000 + 123;
  input.report_ms = noon_s * 1000 + 1000;
  EXPECT_EQ(tape_of(bench, input),
            R"({"seq":1,"ts_ms":now,"cusip":"037833DT4","symbol":"AAPL 3.85 43","price":96.250000,"quantity":25000,)"
            R"("cap":"0","side":"B","reporting_party":"D","contra_party":"C","exec_ts_ms":1719849600123,)"
            R"("report_lag_ms":877,"settle":20240703,"trade_id":"0000001","venue":"ATS1","where":"away"})");
}

TEST(Tape, HasOneLinePerTrade) {
  EngineBench bench;
  open_tape(bench);
  trade_at(bench, {100, 101, 102});
  EXPECT_EQ(tape_lines(bench).size(), 3U);
  EXPECT_TRUE(file_text(bench.folder.path / "tape").ends_with("}\n"));
}

TEST(Tape, ShowsTheCapOfACappedQuantity) {
  EngineBench bench;
  TradeInput input = plain_trade();
  input.terms.quantity = 7'000'000;
  EXPECT_TRUE(contains(tape_of(bench, input), R"("quantity":5000000,"cap":"5","side")"));
  input.cusip = ford_cusip;
  EXPECT_TRUE(contains(tape_of(bench, input), R"("quantity":1000000,"cap":"1","side")"));
}

TEST(Tape, RoundsQuantitiesToWholeUnits) {
  EngineBench bench;
  TradeInput input = plain_trade();
  input.terms.quantity = 2500.5;
  EXPECT_TRUE(contains(tape_of(bench, input), R"("quantity":2500,"cap":"0")"));
  input.terms.quantity = 2501.5;
  EXPECT_TRUE(contains(tape_of(bench, input), R"("quantity":2502,"cap":"0")"));
}

TEST(Tape, TakesTheExecutionTimeFromTheSecondsWhenThereAreNoMilliseconds) {
  EngineBench bench;
  TradeInput input = plain_trade();
  input.report_ms = 5;
  EXPECT_TRUE(contains(tape_of(bench, input), R"("exec_ts_ms":1719849600000,"report_lag_ms":5,)"));
}

TEST(Tape, HasNoLagWhenTheReportIsNotLater) {
  EngineBench bench;
  TradeInput input = plain_trade();
  input.exec_ms = noon_s * 1000;
  input.report_ms = noon_s * 1000 - 1;
  EXPECT_TRUE(contains(tape_of(bench, input), R"("report_lag_ms":0,)"));
  input.report_ms = noon_s * 1000;
  EXPECT_TRUE(contains(tape_of(bench, input), R"("report_lag_ms":0,)"));
  input.report_ms = noon_s * 1000 + 1;
  EXPECT_TRUE(contains(tape_of(bench, input), R"("report_lag_ms":1,)"));
}

TEST(Tape, EscapesSymbolVenueAndWhere) {
  EngineBench bench;
  apple_of(bench).symbol = R"(A"B)";
  TradeInput input = plain_trade();
  input.venue = R"(V\1)";
  input.where = "w\"\t\x01";
  const std::string line = tape_of(bench, input);
  EXPECT_TRUE(contains(line, R"("symbol":"A\"B",)"));
  EXPECT_TRUE(contains(line, R"("venue":"V\\1",)"));
  EXPECT_TRUE(contains(line, "\"where\":\"w\\\"\t\x01\"}"));
}

TEST(Tape, ShowsTheSettlementOfTheBody) {
  EngineBench bench;
  TradeInput input = plain_trade();
  input.terms.settle_s = 0;
  EXPECT_TRUE(contains(tape_of(bench, input), R"("settle":20240702,)"));
}

TEST(Tape, ShowsPartiesAndSideAsTheyAre) {
  EngineBench bench;
  TradeInput input = plain_trade();
  input.terms.side = '?';
  input.terms.reporting_party = 'T';
  input.terms.contra_party = 'A';
  EXPECT_TRUE(contains(tape_of(bench, input), R"("side":"?","reporting_party":"T","contra_party":"A",)"));
}

TEST(Tape, ShowsPricesWithSixDecimals) {
  EngineBench bench;
  EXPECT_TRUE(contains(tape_of(bench, plain_trade(-1.5)), R"("price":-1.500000,)"));
  EXPECT_TRUE(contains(tape_of(bench, plain_trade(-std::numeric_limits<double>::infinity())), R"("price":-inf,)"));
}

TEST(Tape, WithoutAFileChangesNothingElse) {
  EngineBench bench;
  open_truth(bench);
  EXPECT_EQ(disseminate_trade(bench.engine, plain_trade()), 1U);
  EXPECT_EQ(truth_lines(bench).size(), 1U);
  EXPECT_FALSE(std::filesystem::exists(bench.folder.path / "tape"));
}

TEST(Tape, ThatFailedTakesNoMoreLines) {
  EngineBench bench;
  open_truth(bench);
  open_lines(bench.engine.tape, "/dev/full");
  disseminate_trade(bench.engine, plain_trade());
  EXPECT_FALSE(takes_lines(bench.engine.tape));
  disseminate_trade(bench.engine, plain_trade());
  EXPECT_EQ(truth_lines(bench).size(), 2U);
}

TEST(Tape, IsWrittenBehindTheTruthRecord) {
  EngineBench bench;
  open_truth(bench);
  open_lines(bench.engine.tape, bench.folder.path / "truth");  // one file for both shows the order
  disseminate_trade(bench.engine, plain_trade());
  const auto lines = truth_lines(bench);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_TRUE(contains(lines[0], R"("event":"trade")")) << lines[0];
  EXPECT_TRUE(contains(lines[1], R"("venue":"ATS1")")) << lines[1];
}

}  // namespace
}  // namespace vorbeld
