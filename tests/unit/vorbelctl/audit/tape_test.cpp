// The tape read alongside: each trade's line, lines of no trade, and every key compared with the truth record.
#include "vorbelctl/audit/tape.h"

#include <gtest/gtest.h>

#include <fstream>

#include "sample_run.h"

namespace vorbelctl {
namespace {

using sample::altered;
using Lines = std::vector<std::string>;

struct OpenTape {
  vorbeld::ScratchFolder folder;
  std::string path = folder.path / "tape.jsonl";
  std::ofstream out{path, std::ios::binary};
  Tape tape;

  explicit OpenTape(const Lines& lines) {
    add(sample::joined(lines));
    open_tape(tape, path);
  }
  void add(const std::string& text) { out << text << std::flush; }
};

Lines lines_of(const std::vector<Discrepancy>& found) {
  Lines lines;
  for (const Discrepancy& each : found) lines.push_back(sample::discrepancy_line(each));
  return lines;
}

// What is wrong with a line beside the record of the sample run's first trade.
Lines wrong_in(const std::string& tape_line, const std::string& truth_line = sample::run().truth[1]) {
  OpenTape open({tape_line});
  TruthRecord record;
  EXPECT_EQ(read_truth(truth_line, record), "");
  EXPECT_EQ(reach_line(open.tape, 2, "0000001", true), Presence::there);
  std::vector<Discrepancy> found;
  compare_line(open.tape, 2, record, found);
  return lines_of(found);
}

// The same when the sample's line is altered.
Lines wrong_when(const std::string& from, const std::string& to) {
  return wrong_in(altered(sample::run().tape[0], from, to));
}

TEST(Tape, HasALineForEveryTrade) {
  OpenTape open(sample::run().tape);
  EXPECT_EQ(reach_line(open.tape, 2, "0000001", false), Presence::there);
  EXPECT_EQ(reach_line(open.tape, 2, "0000001", false), Presence::there) << "until it is taken";
  open.tape.there = false;
  EXPECT_EQ(reach_line(open.tape, 3, "0000002", false), Presence::there);
  EXPECT_EQ(open.tape.lines, 2U);
  EXPECT_TRUE(open.tape.found.empty());
}

TEST(Tape, MayStillBeWritten) {
  OpenTape open({});
  EXPECT_EQ(reach_line(open.tape, 2, "0000001", false), Presence::not_yet);
  open.add(sample::run().tape[0]);
  EXPECT_EQ(reach_line(open.tape, 2, "0000001", false), Presence::not_yet);
  open.add("\n");
  EXPECT_EQ(reach_line(open.tape, 2, "0000001", false), Presence::there);
  open.tape.there = false;
  EXPECT_EQ(reach_line(open.tape, 3, "0000002", true), Presence::absent);
}

TEST(Tape, LacksALineWhereALaterTradesStands) {
  OpenTape open({sample::run().tape[1]});
  EXPECT_EQ(reach_line(open.tape, 2, "0000001", false), Presence::absent);
  EXPECT_EQ(reach_line(open.tape, 3, "0000002", false), Presence::there);
}

TEST(Tape, IsThatOfTheLatestRun) {
  Lines lines = sample::run().tape;
  lines.push_back(altered(sample::run().tape[0], "1719849600123", "1719849700123"));
  OpenTape open(lines);
  ASSERT_EQ(reach_line(open.tape, 2, "0000001", false), Presence::there);
  EXPECT_EQ(open.tape.line.written_ms, 1719849700123U);
}

TEST(Tape, NotesLinesOfNoTrade) {
  const Lines lines = sample::run().tape;
  OpenTape open({lines[0], altered(lines[0], "0000001", "0000009"), lines[1]});
  EXPECT_EQ(reach_line(open.tape, 2, "0000001", false), Presence::there);
  open.tape.there = false;
  EXPECT_EQ(reach_line(open.tape, 3, "0000002", false), Presence::there);
  EXPECT_EQ(lines_of(open.tape.found), Lines{"#2 tape.seq: truth no such trade, tape 2"});
}

TEST(Tape, TakesALineThatDoesNotReadForTheOneThatIsDue) {
  EXPECT_EQ(wrong_in("rubbish"), Lines{"#2 tape.line: truth a line that reads, tape one that does not"});
  EXPECT_EQ(wrong_when("\"price\":98.250000", "\"price\":x"),
            Lines{"#2 tape.price: truth a line that reads, tape one that does not"});
}

TEST(Tape, TakesALineThatNamesTheTradeUnderAnotherNumberForIt) {
  EXPECT_EQ(wrong_when("\"seq\":2", "\"seq\":9"), Lines{"#2 tape.seq: truth 2, tape 9"});
  EXPECT_EQ(wrong_when("\"seq\":2", "\"seq\":1"), Lines{"#2 tape.seq: truth 2, tape 1"});
}

TEST(Tape, NotesWhatIsLeftWhenAllTradesAreCompared) {
  OpenTape open(sample::run().tape);
  pass_rest(open.tape, 2);
  EXPECT_EQ(lines_of(open.tape.found), Lines{"#2 tape.seq: truth no such trade, tape 2"});
  pass_rest(open.tape, 8);
  EXPECT_EQ(lines_of(open.tape.found).back(), "#3 tape.seq: truth no such trade, tape 3");
  open.add("rubbish\n");
  pass_rest(open.tape, 8);
  EXPECT_EQ(lines_of(open.tape.found).back(), "#8 tape.line: truth no more trades, tape a line that does not read");
}

TEST(TapeComparison, SaysNothingOfWhatIsTheSame) {
  EXPECT_EQ(wrong_in(sample::run().tape[0]), Lines());
  EXPECT_EQ(wrong_in(altered(sample::run().tape[0], "98.250000", "98.25")), Lines());
}

TEST(TapeComparison, SeesEveryKey) {
  struct Case {
    const char* from;
    const char* to;
    const char* wrong;
  };
  for (const Case& each : {
           Case{"037833DT4", "037833DT5", "#2 tape.cusip: truth 037833DT4, tape 037833DT5"},
           Case{"3.85 43", "3.85 44", "#2 tape.symbol: truth AAPL 3.85 43, tape AAPL 3.85 44"},
           Case{"98.250000", "98.250001", "#2 tape.price: truth 98.250000, tape 98.250001"},
           Case{"100000,", "100001,", "#2 tape.quantity: truth 100000.00, tape 100001"},
           Case{"\"cap\":\"0\"", "\"cap\":\"1\"", "#2 tape.cap: truth 0, tape 1"},
           Case{"\"side\":\"S\"", "\"side\":\"B\"", "#2 tape.side: truth S, tape B"},
           Case{"\"reporting_party\":\"D\"", "\"reporting_party\":\"T\"", "#2 tape.reporting_party: truth D, tape T"},
           Case{"\"contra_party\":\"C\"", "\"contra_party\":\"A\"", "#2 tape.contra_party: truth C, tape A"},
           Case{"\"settle\":20240702", "\"settle\":20240703", "#2 tape.settle: truth 20240702, tape 20240703"},
           Case{"0000001", "0000002", "#2 tape.trade_id: truth 0000001, tape 0000002"},
           Case{"\"away\"", "\"book\"", "#2 tape.where: truth not book, tape SYN book"},
       }) {
    EXPECT_EQ(wrong_when(each.from, each.to), Lines{each.wrong});
  }
}

TEST(TapeComparison, RoundsTheQuantityToWholeUnits) {
  const std::string truth = altered(sample::run().truth[1], "\"qty\":100000.00", "\"qty\":100000.50");
  EXPECT_EQ(wrong_in(sample::run().tape[0], truth), Lines());
  EXPECT_EQ(wrong_in(altered(sample::run().tape[0], "100000,", "100001,"), truth), Lines());
  EXPECT_EQ(wrong_in(altered(sample::run().tape[0], "100000,", "100002,"), truth).size(), 1U);
}

TEST(TapeComparison, TakesNumbersThatAreNoneForTheSame) {
  const auto wrong = [](const std::string& recorded, const std::string& taped) {
    return wrong_in(altered(sample::run().tape[0], "98.250000", taped),
                    altered(sample::run().truth[1], "\"price\":98.250000", "\"price\":" + recorded))
        .size();
  };
  EXPECT_EQ(wrong("nan", "nan"), 0U);
  EXPECT_EQ(wrong("nan", "-nan"), 0U);
  EXPECT_EQ(wrong("inf", "inf"), 0U);
  EXPECT_EQ(wrong("inf", "-inf"), 1U);
  EXPECT_EQ(wrong("nan", "98.250000"), 1U);
  EXPECT_EQ(wrong("98.250000", "inf"), 1U);
}

TEST(TapeComparison, WantsTheCapThatTheQuantityWentOver) {
  const auto wrong = [](const std::string& quantity, const std::string& cap) {
    const std::string truth = altered(altered(sample::run().truth[1], "\"qty\":100000.00", "\"qty\":" + quantity),
                                      "\"capped\":false", "\"capped\":true");
    const std::string tape =
        altered(altered(sample::run().tape[0], "100000,", quantity + ","), "\"cap\":\"0\"", "\"cap\":\"" + cap + "\"");
    return wrong_in(tape, truth);
  };
  EXPECT_EQ(wrong("1000000.00", "1"), Lines());
  EXPECT_EQ(wrong("5000000.00", "5"), Lines());
  EXPECT_EQ(wrong("5000000.00", "1"), Lines{"#2 tape.cap: truth 5, tape 1"});
  EXPECT_EQ(wrong("1000000.00", "0"), Lines{"#2 tape.cap: truth 1, tape 0"});
}

TEST(TapeComparison, ComparesTheExecutionByTheSecond) {
  EXPECT_EQ(wrong_when("\"exec_ts_ms\":1719849599000", "\"exec_ts_ms\":1719849599123"), Lines());
  EXPECT_EQ(wrong_when("\"exec_ts_ms\":1719849599000", "\"exec_ts_ms\":1719849598999"),
            Lines{"#2 tape.exec_ts_ms: truth 20240701115959, tape 20240701115958"});
}

TEST(TapeComparison, WantsALagThatFitsTheTimes) {
  const std::string wanted = "#2 tape.report_lag_ms: record the time from exec_ts_ms to shortly before ts_ms, tape ";
  EXPECT_EQ(wrong_when("\"report_lag_ms\":1000", "\"report_lag_ms\":1123"), Lines());
  EXPECT_EQ(wrong_when("\"report_lag_ms\":1000", "\"report_lag_ms\":0"), Lines());
  EXPECT_EQ(wrong_when("\"report_lag_ms\":1000", "\"report_lag_ms\":1124"), Lines{wanted + "1124"});
}

TEST(TapeComparison, WantsALineNotToLieForLongAfterItsStamp) {
  const std::string early = altered(sample::run().tape[0], "1719849600123", "1719849660123");
  EXPECT_EQ(wrong_in(altered(early, "\"report_lag_ms\":1000", "\"report_lag_ms\":1123")), Lines());
  EXPECT_EQ(wrong_in(altered(early, "\"report_lag_ms\":1000", "\"report_lag_ms\":1122")).size(), 1U);
}

TEST(TapeComparison, TakesAReportFromTheFutureForOneWithoutALag) {
  const std::string line = altered(sample::run().tape[0], "1719849600123", "1719849598000");
  EXPECT_EQ(wrong_in(altered(line, "\"report_lag_ms\":1000", "\"report_lag_ms\":0")), Lines());
  EXPECT_EQ(wrong_in(line).size(), 1U);
}

TEST(TapeComparison, KnowsWhereATradeOfASystemCameFrom) {
  const std::string on_system = altered(sample::run().truth[1], "\"ats\":\" \"", "\"ats\":\"Y\"");
  const std::string line = sample::run().tape[0];
  EXPECT_EQ(wrong_in(line, on_system), Lines()) << "made by the generator";
  EXPECT_EQ(wrong_in(altered(line, "\"away\"", "\"book\""), on_system), Lines());
  EXPECT_EQ(wrong_in(altered(line, "SYN", "ATS1"), on_system), Lines{"#2 tape.where: truth book, tape ATS1 away"});
}

TEST(TapeComparison, WantsTheClockToGoForward) {
  const Lines lines = sample::run().tape;
  OpenTape open({lines[0], altered(altered(lines[1], "1719849601200", "1719849600122"), "\"report_lag_ms\":3601500",
                                   "\"report_lag_ms\":3600000")});
  const Lines truth = sample::run().truth;
  TruthRecord record;
  std::vector<Discrepancy> found;
  read_truth(truth[1], record);
  reach_line(open.tape, 2, "0000001", true);
  EXPECT_EQ(compare_line(open.tape, 2, record, found), 1719849600123U);
  read_truth(truth[2], record);
  reach_line(open.tape, 3, "0000002", true);
  EXPECT_EQ(compare_line(open.tape, 3, record, found), std::nullopt) << "its time is not believed";
  EXPECT_EQ(lines_of(found), Lines{"#3 tape.ts_ms: order not before 1719849600123, tape 1719849600122"});
}

}  // namespace
}  // namespace vorbelctl
