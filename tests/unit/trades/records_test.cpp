// Truth records of trades and marks, and tape lines, byte for byte.
#include "trades/records.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "tests/unit/trades/engine_fixture.h"

namespace vorbeld {
namespace {

std::string truth_of(EngineBench& bench, const TradeInput& input) {
  if (!takes_lines(bench.engine.truth)) open_truth(bench);
  disseminate_trade(bench.engine, input);
  return last_truth(bench);
}

TEST(TradeTruth, HasEveryKeyInOrder) {
  EngineBench bench;
  TradeInput input = plain_trade();
  input.terms.side = 'B';
  input.terms.contra_party = 'C';
  input.terms.remuneration = 'M';
  EXPECT_EQ(truth_of(bench, input),
            R"({"seq":1,"cat":"T","type":"M","event":"trade","cusip":"037833DT4","symbol":"AAPL 3.85 43",)"
            R"("trade_id":"0000001","qty":25000.00,"capped":false,"qty_ind":"A","price":96.250000,"yield":4.000000,)"
            R"("side":"B","as_of":" ","special":" ","sale3":" ","sale4":" ","exec":"20240701120000",)"
            R"("settle":"20240703","remuneration":"M","rpt":"D","contra":"C","ats":" ","change":"7",)"
            R"("summary":{"traded":true,"high":96.250000,"low":96.250000,"last":96.250000,"prints":1}})");
}

TEST(TradeTruth, TakesItsIndicatorsFromTheBody) {
  EngineBench bench;
  TradeInput input = plain_trade(43.5, ford_cusip);
  input.terms.quantity = 2'500'000.5;
  input.terms.as_of = 'A';
  input.terms.special = 'Y';
  input.terms.sale_condition_3 = 'Z';
  input.terms.sale_condition_4 = 'W';
  input.terms.reporting_party = 'T';
  input.terms.ats = 'Y';
  EXPECT_EQ(truth_of(bench, input),
            R"({"seq":1,"cat":"T","type":"M","event":"trade","cusip":"345370CS9","symbol":"F 4.35 26",)"
            R"("trade_id":"0000001","qty":1000000.00,"capped":true,"qty_ind":"E","price":43.500000,"yield":10.000000,)"
            R"("side":"S","as_of":"A","special":"Y","sale3":"Z","sale4":"W","exec":"20240701120000",)"
            R"("settle":"20240703","remuneration":" ","rpt":"T","contra":"D","ats":"Y","change":"0",)"
            R"("summary":{"traded":false,"high":0.000000,"low":0.000000,"last":0.000000,"prints":0}})");
}

TEST(TradeTruth, ShowsTheCapOfACappedQuantity) {
  EngineBench bench;
  TradeInput input = plain_trade();
  input.terms.quantity = 7'000'000;
  EXPECT_TRUE(contains(truth_of(bench, input), R"("qty":5000000.00,"capped":true,"qty_ind":"E",)"));
}

TEST(TradeTruth, ShowsAMissingYieldAsNull) {
  EngineBench bench;
  TradeInput input = plain_trade();
  input.terms.yield_wanted = false;
  EXPECT_TRUE(contains(truth_of(bench, input), R"("price":96.250000,"yield":null,"side":"S",)"));
}

TEST(TradeTruth, ShowsTheYieldOfAPriceThatIsNotPositiveAsZero) {
  EngineBench bench;
  EXPECT_TRUE(contains(truth_of(bench, plain_trade(-2)), R"("price":-2.000000,"yield":0.000000,)"));
  EXPECT_TRUE(contains(last_truth(bench), R"("summary":{"traded":true,"high":-2.000000,"low":-2.000000,)"));
}

TEST(TradeTruth, EscapesTheSymbolOnly) {
  EngineBench bench;
  apple_of(bench).symbol = R"(A "B" \ C)";
  EXPECT_TRUE(contains(truth_of(bench, plain_trade()), R"("symbol":"A \"B\" \\ C",)"));
  disseminate_trade(bench.engine, plain_trade(100, R"(X"Y\)"));
  EXPECT_TRUE(contains(last_truth(bench), R"("cusip":"X"Y\",)"));
}

TEST(TradeTruth, ShowsTheBookAfterTheTrade) {
  EngineBench bench;
  open_truth(bench);
  trade_at(bench, {100, 102, 99});
  EXPECT_TRUE(contains(
      last_truth(bench),
      R"("change":"3","summary":{"traded":true,"high":102.000000,"low":99.000000,"last":99.000000,"prints":3}})"));
}

TEST(TradeTruth, CutsNumbersAndSpellsNonFiniteOnes) {
  EngineBench bench;
  EXPECT_TRUE(contains(truth_of(bench, plain_trade(1e26)), R"("price":100000000000000004764729344.000,)"));
  EXPECT_TRUE(contains(truth_of(bench, plain_trade(std::numeric_limits<double>::quiet_NaN())), R"("price":nan,)"));
  EXPECT_TRUE(contains(truth_of(bench, plain_trade(std::numeric_limits<double>::infinity())), R"("price":inf,)"));
}

TEST(TradeTruth, IsWrittenUnderTheSequenceNumberOfItsMessage) {
  EngineBench bench;
  send_message(bench.feed, "another message");
  EXPECT_TRUE(truth_of(bench, plain_trade()).starts_with(R"({"seq":2,"cat":"T","type":"M",)"));
}

TEST(Truth, WithoutAFileChangesNothingElse) {
  EngineBench bench;
  open_tape(bench);
  EXPECT_EQ(disseminate_trade(bench.engine, plain_trade()), 1U);
  EXPECT_EQ(tape_lines(bench).size(), 1U);
  EXPECT_FALSE(std::filesystem::exists(bench.folder.path / "truth"));
  EXPECT_EQ(sent_packets(bench.feed).size(), 1U);
}

TEST(Truth, ThatFailedTakesNoMoreLines) {
  EngineBench bench;
  open_lines(bench.engine.truth, "/dev/full");
  EXPECT_EQ(disseminate_trade(bench.engine, plain_trade()), 1U);
  EXPECT_FALSE(takes_lines(bench.engine.truth));
  EXPECT_EQ(disseminate_trade(bench.engine, plain_trade()), 2U);
  EXPECT_EQ(sent_packets(bench.feed).size(), 2U);
}

TEST(Mark, NamesLabelAndSequenceNumber) {
  EngineBench bench;
  open_truth(bench);
  write_mark(bench.engine, "before fault", 41);
  EXPECT_EQ(file_text(bench.folder.path / "truth"), "{\"mark\":\"before fault\",\"seq\":41}\n");
}

TEST(Mark, EscapesItsLabel) {
  EngineBench bench;
  open_truth(bench);
  write_mark(bench.engine, "a \"b\" \\ \t\x01", 0);
  EXPECT_EQ(last_truth(bench), "{\"mark\":\"a \\\"b\\\" \\\\ \t\x01\",\"seq\":0}");
}

TEST(Mark, IsLostWithoutAFile) {
  EngineBench bench;
  write_mark(bench.engine, "lost", 1);
  EXPECT_EQ(truth_lines(bench).size(), 0U);
}

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
