// The truth file read alongside: records in their order, what is wrong with that order, and trades found again.
#include "vorbelctl/audit/truth.h"

#include <gtest/gtest.h>

#include <memory>

#include "sample_run.h"

namespace vorbelctl {
namespace {

using sample::altered;
using Lines = std::vector<std::string>;

std::string control_line(std::uint64_t sequence) {
  return R"({"seq":)" + std::to_string(sequence) + R"(,"cat":"C","type":")" + (sequence == 1 ? "I" : "O") +
         R"(","event":"control"})";
}

Lines control_lines(std::initializer_list<std::uint64_t> sequences) {
  Lines lines;
  for (const std::uint64_t sequence : sequences) lines.push_back(control_line(sequence));
  return lines;
}

// A truth file with these lines, opened; it may be written on.
struct OpenTruth {
  vorbeld::ScratchFolder folder;
  std::string path = folder.path / "truth.jsonl";
  std::ofstream out{path, std::ios::binary};
  Truth truth;

  explicit OpenTruth(const Lines& lines) {
    add(sample::joined(lines));
    open_truth(truth, path);
  }
  void add(const std::string& text) { out << text << std::flush; }
};

// The numbers that the entries have, those that cannot be used with "!", until there are no more.
std::string entries(Truth& truth, bool no_more = true) {
  std::string numbers;
  while (reach_entry(truth, no_more)) {
    numbers += std::to_string(truth.entry.sequence) + (truth.entry.wrong_key.empty() ? " " : "! ");
    truth.entry.there = false;
  }
  return numbers;
}

Lines found_in(const Truth& truth) {
  Lines lines;
  for (const Discrepancy& each : truth.found) lines.push_back(sample::discrepancy_line(each));
  return lines;
}

TEST(Truth, GivesItsRecordsInOrder) {
  OpenTruth open(sample::run().truth);
  EXPECT_EQ(entries(open.truth), "1 2 3 4 5 6 7 8 ");
  EXPECT_EQ(found_in(open.truth), Lines());
  EXPECT_EQ(open.truth.records, 8U);
  EXPECT_EQ(open.truth.last_known, 8U);
}

TEST(Truth, KeepsAnEntryUntilItIsTaken) {
  OpenTruth open(control_lines({1, 2}));
  EXPECT_TRUE(reach_entry(open.truth, false));
  EXPECT_TRUE(reach_entry(open.truth, false));
  EXPECT_EQ(open.truth.entry.sequence, 1U);
  EXPECT_EQ(open.truth.entry.line, control_line(1));
}

TEST(Truth, WaitsForRecordsThatAreStillWritten) {
  OpenTruth open(control_lines({1}));
  EXPECT_EQ(entries(open.truth, false), "1 ");
  open.add(control_line(2));
  EXPECT_EQ(entries(open.truth, false), "") << "the line has no end yet";
  open.add("\n" + control_line(3) + "\n");
  EXPECT_EQ(entries(open.truth, false), "2 3 ");
  EXPECT_EQ(open.truth.last_known, 1U) << "when it was opened";
}

TEST(Truth, IsThatOfTheLatestRun) {
  Lines lines = control_lines({1, 2, 3});
  for (const std::string& line : control_lines({1, 2})) lines.push_back(line);
  OpenTruth open(lines);
  EXPECT_EQ(entries(open.truth), "1 2 ");
  EXPECT_EQ(open.truth.last_known, 2U);
  EXPECT_EQ(found_in(open.truth), Lines());
}

TEST(Truth, MayBeginAnywhere) {
  OpenTruth open(control_lines({5, 6}));
  EXPECT_EQ(entries(open.truth), "5 6 ");
  EXPECT_EQ(found_in(open.truth), Lines());
}

TEST(Truth, CountsMarksAndPassesThem) {
  OpenTruth open(
      {control_line(1), control_line(2), R"({"mark":"m","seq":2})", R"({"mark":"n","seq":2})", control_line(3)});
  EXPECT_EQ(entries(open.truth), "1 2 3 ");
  EXPECT_EQ(open.truth.marks, 2U);
  EXPECT_EQ(found_in(open.truth), Lines());
}

TEST(Truth, SaysWhenAMarkHasAnotherNumberThanTheRecordBefore) {
  OpenTruth open({control_line(1), control_line(2), R"({"mark":"m","seq":3})", control_line(3)});
  EXPECT_EQ(entries(open.truth), "1 2 3 ");
  EXPECT_EQ(found_in(open.truth), Lines{"#2 mark.seq: order 2, truth 3"});
}

TEST(Truth, HasNoDiscrepancyOfItsOwnWhereRecordsAreMissing) {
  OpenTruth open(control_lines({1, 2, 5, 6}));
  EXPECT_EQ(entries(open.truth), "1 2 5 6 ");
  EXPECT_EQ(found_in(open.truth), Lines()) << "whoever misses the messages says so";
}

TEST(Truth, TakesAWrongNumberForTheOneThatItsPlaceGives) {
  OpenTruth open(control_lines({1, 2, 7, 4, 5}));
  EXPECT_EQ(entries(open.truth), "1 2 3 4 5 ");
  EXPECT_EQ(found_in(open.truth), Lines{"#3 seq: order 3, truth 7"});
}

TEST(Truth, LeavesOutARecordThatStandsThereTwice) {
  OpenTruth open(control_lines({1, 2, 2, 3, 4}));
  EXPECT_EQ(entries(open.truth), "1 2 3 4 ");
  EXPECT_EQ(found_in(open.truth), Lines{"#3 seq: order 3, truth 2"});
}

TEST(Truth, LeavesOutARecordFromElsewhere) {
  OpenTruth open(control_lines({1, 2, 9, 3, 4}));
  EXPECT_EQ(entries(open.truth), "1 2 3 4 ");
  EXPECT_EQ(found_in(open.truth), Lines{"#3 seq: order 3, truth 9"});
}

TEST(Truth, WaitsForTheRecordBehindOneThatIsOutOfOrder) {
  OpenTruth open(control_lines({1, 2, 7}));
  EXPECT_EQ(entries(open.truth, false), "1 2 ");
  open.add(control_line(4) + "\n");
  EXPECT_EQ(entries(open.truth, false), "3 4 ");
  EXPECT_EQ(found_in(open.truth), Lines{"#3 seq: order 3, truth 7"});
}

TEST(Truth, GivesARecordThatDoesNotReadWithTheKey) {
  Lines lines = sample::run().truth;
  lines[1] = altered(lines[1], "\"price\":98.250000", "\"price\":x");
  OpenTruth open(lines);
  EXPECT_EQ(entries(open.truth), "1 2! 3 4 5 6 7 8 ");
  EXPECT_EQ(open.truth.entry.wrong_key, "") << "of the last";
  EXPECT_EQ(found_in(open.truth), Lines());
}

TEST(Truth, TakesALineWithoutANumberForTheRecordThatIsMissing) {
  OpenTruth open({control_line(1), control_line(2), "rubbish", control_line(4)});
  EXPECT_EQ(entries(open.truth), "1 2 3! 4 ");
  EXPECT_EQ(found_in(open.truth), Lines());
}

TEST(Truth, SaysWhenALineIsNeitherRecordNorMark) {
  OpenTruth open({control_line(1), control_line(2), "rubbish", control_line(3)});
  EXPECT_EQ(entries(open.truth), "1 2 3 ");
  EXPECT_EQ(found_in(open.truth), Lines{"#3 truth.line: order records and marks, truth a line that is neither"});
}

TEST(Truth, TakesALineWithoutItsEndWhenNothingMoreComes) {
  OpenTruth open(control_lines({1}));
  open.add(control_line(2));
  EXPECT_EQ(entries(open.truth, true), "1 2 ");
}

TEST(Truth, OfAFileThatCannotBeReadIsRefused) {
  Truth truth;
  const vorbeld::ScratchFolder folder;
  EXPECT_THROW(open_truth(truth, folder.path / "none"), std::invalid_argument);
}

// The truth of the sample run with its three trades indexed.
struct IndexedTruth : OpenTruth {
  IndexedTruth() : OpenTruth(sample::run().truth) {
    while (reach_entry(truth, true)) {
      if (truth.entry.record.row->kind == Kind::trade || truth.entry.record.row->kind == Kind::correction) {
        index_trade(truth, trade_number(cell(truth.entry.record, "trade_id").text), 20240701);
      }
      truth.entry.there = false;
    }
  }
};

TEST(TradeIndex, FindsTheRecordOfEveryTradeAgain) {
  IndexedTruth open;
  TruthEntry found;
  ASSERT_TRUE(find_trade(open.truth, 2, found));
  EXPECT_EQ(found.sequence, 3U);
  EXPECT_EQ(cell(found.record, "price").number, 101.5);
  ASSERT_TRUE(find_trade(open.truth, 3, found));
  EXPECT_EQ(found.record.row->kind, Kind::correction);
  ASSERT_TRUE(find_trade(open.truth, 1, found));
  EXPECT_EQ(cell(found.record, "trade_id").text, "0000001");
  EXPECT_FALSE(find_trade(open.truth, 0, found));
  EXPECT_FALSE(find_trade(open.truth, 4, found));
}

TEST(TradeIndex, KeepsWhatBecameOfATrade) {
  IndexedTruth open;
  IndexedTrade* const trade = indexed_trade(open.truth, 2);
  ASSERT_NE(trade, nullptr);
  EXPECT_EQ(trade->sent_date, 20240701U);
  EXPECT_FALSE(trade->amended);
  trade->amended = true;
  EXPECT_TRUE(indexed_trade(open.truth, 2)->amended);
  EXPECT_EQ(indexed_trade(open.truth, 0), nullptr);
  EXPECT_EQ(indexed_trade(open.truth, 4), nullptr);
}

TEST(TradeIndex, ExpectsTheNextNumberAlone) {
  const IndexedTruth open;
  EXPECT_TRUE(may_be_next(open.truth, 4));
  for (const std::uint64_t number : {0U, 3U, 5U}) EXPECT_FALSE(may_be_next(open.truth, number)) << number;
  for (const std::uint64_t number : {0U, 1U, 3U, 4U}) EXPECT_FALSE(may_be_lost(open.truth, number)) << number;
}

TEST(TradeIndex, KeepsPlacesForTradesWhoseRecordsAreLost) {
  OpenTruth open(control_lines({1, 2, 6}));
  EXPECT_EQ(entries(open.truth), "1 2 6 ");
  EXPECT_EQ(open.truth.unread, 3U);
  EXPECT_TRUE(may_be_lost(open.truth, 3));
  EXPECT_FALSE(may_be_lost(open.truth, 4));
  EXPECT_TRUE(may_be_next(open.truth, 4));
  EXPECT_FALSE(may_be_next(open.truth, 5));
  index_trade(open.truth, 4, 0);
  EXPECT_EQ(open.truth.trades.size(), 4U);
  EXPECT_TRUE(may_be_lost(open.truth, 2));
  EXPECT_FALSE(may_be_lost(open.truth, 4));
  TruthEntry found;
  EXPECT_FALSE(find_trade(open.truth, 2, found));
  EXPECT_EQ(open.truth.unread, 0U);
}

TEST(TradeIndex, DoesNotBelieveATradeIdThatIsNotDue) {
  OpenTruth open(control_lines({1}));
  entries(open.truth);
  index_trade(open.truth, 4000000000, 0);
  EXPECT_EQ(open.truth.trades.size(), 1U);
}

TEST(TradeIndex, FindsNothingWhereTheFileWasCut) {
  IndexedTruth open;
  open.out.close();
  vorbeld::write_file(open.path, "");
  TruthEntry found;
  EXPECT_FALSE(find_trade(open.truth, 1, found));
}

}  // namespace
}  // namespace vorbelctl
