// Truth records of trades and marks, byte for byte.
#include "trades/truth.h"

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

bool contains(const std::string& line, const std::string& text) {
  return line.find(text) != std::string::npos;
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

}  // namespace
}  // namespace vorbeld
