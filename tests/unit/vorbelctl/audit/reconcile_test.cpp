// Whole messages against truth, tape and the messages before: nothing is said of a right run, one thing of one fault.
#include "vorbelctl/audit/reconcile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "sample_run.h"
#include "vorbelctl/audit/json_claims.h"

namespace vorbelctl {
namespace {

using sample::altered;
using sample::overwritten;
using sample::SampleRun;
using sample::wrong_in;
using Lines = std::vector<std::string>;

// The sample run with bytes of message `sequence` overwritten.
SampleRun with_message(std::uint64_t sequence, std::size_t offset, const std::string& bytes) {
  SampleRun run = sample::run();
  run.messages[sequence - 1] = overwritten(run.messages[sequence - 1], offset, bytes);
  return run;
}

SampleRun with_truth(std::uint64_t sequence, const std::string& from, const std::string& to) {
  SampleRun run = sample::run();
  run.truth[sequence - 1] = altered(run.truth[sequence - 1], from, to);
  return run;
}

SampleRun without_message(std::uint64_t sequence) {
  SampleRun run = sample::run();
  run.messages[sequence - 1].clear();
  return run;
}

Lines without_follow_ups(Lines lines) {
  for (std::string& line : lines) line.resize(std::min(line.find(" ("), line.size()));
  return lines;
}

TEST(Reconciliation, FindsNothingWrongWithARightRun) {
  const auto all = sample::reconciled(sample::run());
  EXPECT_EQ(sample::discrepancy_lines(all->discrepancies), Lines());
  EXPECT_EQ(all->truth.records, 8U);
  EXPECT_EQ(all->tape.lines, 2U);
  EXPECT_GT(all->fields, 150U);
  EXPECT_EQ(all->days, 5U);
  EXPECT_TRUE(all->uncompared.empty());
}

TEST(Reconciliation, DoesWithoutATape) {
  const sample::Files files(sample::run());
  Reconciliation all;
  open_files(all, files.truth, "");
  const auto messages = sample::run().messages;
  for (std::size_t i = 0; i < messages.size(); ++i) sample::reconcile_bytes(all, i + 1, messages[i]);
  reconcile_rest(all, messages.size());
  EXPECT_FALSE(all.has_tape);
  EXPECT_EQ(sample::discrepancy_lines(all.discrepancies), Lines());
}

TEST(Reconciliation, FindsNothingWrongWhereMessagesAreMissing) {
  for (std::uint64_t sequence = 1; sequence <= 8; ++sequence) {
    EXPECT_EQ(wrong_in(without_message(sequence)), Lines()) << sequence;
  }
}

TEST(Reconciliation, TellsWhatBecameOfANumber) {
  const sample::Files files(sample::run());
  Reconciliation all;
  open_files(all, files.truth, files.tape);
  const auto messages = sample::run().messages;
  std::vector<Reconciled> became;
  for (std::size_t i = 0; i < messages.size(); ++i) became.push_back(*sample::reconcile_bytes(all, i + 1, messages[i]));
  EXPECT_EQ(became[0].kind, Kind::control);
  EXPECT_EQ(became[0].type, 'I');
  EXPECT_EQ(became[0].sent_s, sample::noon_s);
  EXPECT_EQ(became[1].sequence, 2U);
  EXPECT_TRUE(became[1].recorded);
  EXPECT_EQ(became[1].cusip, "037833DT4");
  EXPECT_EQ(became[1].symbol, "AAPL 3.85 43");
  EXPECT_EQ(became[1].price, 98.25);
  EXPECT_TRUE(became[1].last_sale);
  EXPECT_EQ(became[1].taped_ms, 1719849600123U);
  EXPECT_EQ(became[3].kind, Kind::cancel);
  EXPECT_EQ(became[3].cusip, "037833DT4") << "its record does not name it";
  EXPECT_EQ(became[3].amended_price, 98.25);
  EXPECT_EQ(became[4].amended_price, 101.5);
  EXPECT_EQ(became[4].price, 98.25);
  EXPECT_EQ(became[5].action, 'H');
  EXPECT_EQ(became[6].kind, Kind::summary);
  EXPECT_EQ(became[7].type, 'C');
}

TEST(Reconciliation, WaitsForRecordAndTapeLine) {
  const SampleRun run = sample::run();
  const vorbeld::ScratchFolder folder;
  std::ofstream truth(folder.path / "truth");
  std::ofstream tape(folder.path / "tape");
  Reconciliation all;
  open_files(all, folder.path / "truth", folder.path / "tape");
  EXPECT_FALSE(sample::reconcile_bytes(all, 1, run.messages[0], false));
  truth << run.truth[0] << "\n" << std::flush;
  EXPECT_TRUE(sample::reconcile_bytes(all, 1, run.messages[0], false));
  truth << run.truth[1] << "\n" << std::flush;
  EXPECT_FALSE(sample::reconcile_bytes(all, 2, run.messages[1], false)) << "the tape line is not there";
  tape << run.tape[0] << "\n" << std::flush;
  EXPECT_TRUE(sample::reconcile_bytes(all, 2, run.messages[1], false));
  EXPECT_EQ(sample::discrepancy_lines(all.discrepancies), Lines());
}

TEST(Reconciliation, PassesRecordsBeforeTheFirstMessage) {
  const sample::Files files(sample::run());
  Reconciliation all;
  open_files(all, files.truth, files.tape);
  const auto messages = sample::run().messages;
  for (std::size_t i = 3; i < messages.size(); ++i) sample::reconcile_bytes(all, i + 1, messages[i]);
  EXPECT_EQ(sample::discrepancy_lines(all.discrepancies), Lines());
}

TEST(Reconciliation, SeesEveryFieldOfAMessage) {
  struct Case {
    std::uint64_t sequence;
    std::size_t offset;
    const char* bytes;
    const char* wrong;
  };
  for (const Case& each : {
           Case{2, 2, "0000009", "#2 trade_id: truth 0000001, message 0000009"},
           Case{2, 10, "20240701115958", "#2 sent_at: order 20240701120000, message 20240701115958"},
           Case{2, 24, "AAPM", "#2 symbol: truth AAPL 3.85 43, message AAPM 3.85 43"},
           Case{2, 38, "9", "#2 cusip: truth 037833DT4, message 937833DT4"},
           Case{3, 47, "FORD", "#3 short_name: earlier messages AAPL, message FORD"},
           Case{2, 59, "AGCY", "#2 sub_product: rule CORP, message AGCY"},
           Case{2, 64, "20240629", "#2 reversed_date: record -, message 20240629"},
           Case{2, 73, "00000100001.00", "#2 quantity: truth 100000.00, message 100001.00"},
           Case{2, 87, "0098.250001", "#2 price: truth 98.250000, message 98.250001"},
           Case{2, 98, "C", "#2 remuneration: truth M, message C"},
           Case{2, 99, "Y", "#2 special: truth \" \", message Y"},
           Case{2, 100, "B", "#2 side: truth S, message B"},
           Case{2, 101, "A", "#2 as_of: truth \" \", message A"},
           Case{2, 102, "20240701115958", "#2 executed_at: truth 20240701115959, message 20240701115958"},
           Case{2, 118, "Z", "#2 sale_condition_3: truth \" \", message Z"},
           Case{2, 119, "W", "#2 sale_condition_4: truth \" \", message W"},
           Case{2, 120, "20240703", "#2 settlement: truth 20240702, message 20240703"},
           Case{2, 128, " 000003.918576", "#2 yield: truth 3.918575, message 3.918576"},
           Case{2, 128, "              ", "#2 yield: truth 3.918575, message -"},
           Case{2, 142, "x", "#2 second_modifier: truth \" \", message x"},
           Case{2, 143, "T", "#2 reporting_party: truth D, message T"},
           Case{2, 144, "A", "#2 contra_party: truth C, message A"},
           Case{2, 145, "Y", "#2 ats: truth \" \", message Y"},
           Case{2, 146, "5", "#2 change: truth 7, message 5"},
           Case{4, 64, "20240630", "#4 original_date: earlier messages 20240701, message 20240630"},
           Case{4, 95, "0098.250001", "#4 original_price: truth 98.250000, message 98.250001"},
           Case{4, 154, "0101.500001", "#4 high: book 101.500000, message 101.500001"},
           Case{4, 165, "-000000.125001", "#4 high_yield: book -0.125000, message -0.125001"},
           Case{4, 229, "7", "#4 change: truth 3, message 7"},
           Case{5, 2, "0000004", "#5 trade_id: truth 0000003, message 0000004"},
           Case{5, 228, "0098.250001", "#5 high: truth 98.250000, message 98.250001"},
           Case{5, 303, "3", "#5 change: truth 7, message 3"},
           Case{6, 94, "R", "#6 action: truth H, message R"},
           Case{6, 95, "20240701120004", "#6 action_at: truth 20240701120003, message 20240701120004"},
           Case{6, 109, "T.2", "#6 reason: truth T.1, message T.2"},
           Case{7, 115, "0098.250001", "#7 close: truth 98.250000, message 98.250001"},
           Case{7, 126, " 000003.918576", "#7 close_yield: book 3.918575, message 3.918576"},
           Case{8, 1, "X", "#8 type: truth C, message X"},
           Case{8, 10, "20240701120002", "#8 sent_at: order 20240701120004, message 20240701120002"},
       }) {
    EXPECT_EQ(without_follow_ups(wrong_in(with_message(each.sequence, each.offset, each.bytes))), Lines{each.wrong});
  }
}

TEST(Reconciliation, LetsClocksRepeatASecond) {
  EXPECT_EQ(wrong_in(with_message(8, 10, "20240701120003")), Lines());
}

TEST(Reconciliation, SeesWhereTheRecordIsWrong) {
  struct Case {
    std::uint64_t sequence;
    const char* from;
    const char* to;
    const char* wrong;
  };
  for (const Case& each : {
           Case{3, "\"side\":\"B\"", "\"side\":\"S\"", "#3 side: truth S, message B (2 follow)"},
           Case{8, "control", "halt", "#8 event: record control, truth halt"},
           Case{8, "\"type\":\"C\"", "\"type\":\"X\"", "#8 type: truth X, message C"},
           Case{5, "0000003", "0000004", "#5 trade_id: order 0000003, truth 0000004"},
           Case{2, "\"capped\":false", "\"capped\":true", "#2 capped: record false, truth true"},
           Case{4, "\"change\":\"3\"", "\"change\":\"7\"", "#4 change: book 3, truth 7"},
           Case{2, "\"prints\":1", "\"prints\":2", "#2 summary.prints: book 1, truth 2"},
           Case{2, "\"traded\":true", "\"traded\":false", "#2 summary.traded: book true, truth false"},
           Case{3, "\"high\":101.500000", "\"high\":101.500001", "#3 summary.high: book 101.500000, truth 101.500001"},
           Case{4, "\"seq\":4", "\"seq\":9", "#4 seq: order 4, truth 9"},
           Case{4, "\"change\":\"3\"", "\"change\":\"33\"",
                "#4 truth.change: truth a record that reads, truth one that does not"},
       }) {
    const Lines found = wrong_in(with_truth(each.sequence, each.from, each.to));
    ASSERT_FALSE(found.empty()) << each.wrong;
    EXPECT_EQ(found.front(), each.wrong);
  }
}

TEST(Reconciliation, SaysWhenAMessageHasNoRecord) {
  SampleRun run = sample::run();
  run.truth.pop_back();
  EXPECT_EQ(wrong_in(run), Lines{"#8 seq: truth no record, message 8"});
}

TEST(Reconciliation, SaysOnceThatARecordIsMissing) {
  SampleRun run = sample::run();
  run.truth.erase(run.truth.begin() + 2);
  run.tape.pop_back();
  EXPECT_EQ(wrong_in(run).front(), "#3 seq: truth no record, message 3");
}

TEST(Reconciliation, SaysWhenATradeHasNoTapeLine) {
  SampleRun run = sample::run();
  run.tape.pop_back();
  EXPECT_EQ(wrong_in(run), Lines{"#3 tape.seq: truth 3, tape no line"});
}

TEST(Reconciliation, SaysWhenTheTapeHasATradeTooMany) {
  SampleRun run = sample::run();
  run.tape.push_back(altered(altered(run.tape[1], "\"seq\":3", "\"seq\":6"), "0000002", "0000004"));
  EXPECT_EQ(wrong_in(run), Lines{"#6 tape.seq: truth no such trade, tape 6"});
}

TEST(Reconciliation, SaysWhenAMessageIsOfAnotherKindThanItsRecord) {
  SampleRun run = sample::run();
  run.messages[7] = altered(run.messages[5], "120003", "120005");
  EXPECT_EQ(wrong_in(run), Lines{"#8 event: truth control, message halt"});
}

TEST(Reconciliation, TakesTheTradeWhoseTermsTheMessageHasForTheOneThatIsMeant) {
  const auto run = with_truth(5, "\"orig_trade_id\":\"0000002\"", "\"orig_trade_id\":\"0000001\"");
  EXPECT_EQ(without_follow_ups(wrong_in(run)), Lines{"#5 original_id: truth 0000001, message 0000002"});
}

TEST(Reconciliation, SaysWhenATradeIsAmendedTwice) {
  sample::SampleRun run = sample::run();
  run.messages.resize(4);
  run.truth.resize(4);
  run.messages.push_back(altered(run.messages[3], "120002", "120003"));
  run.truth.push_back(altered(run.truth[3], "\"seq\":4", "\"seq\":5"));
  const Lines found = wrong_in(run);
  ASSERT_FALSE(found.empty());
  EXPECT_EQ(without_follow_ups({found[0]}), Lines{"#5 original_id: order a trade not yet amended, truth 0000001"});
}

TEST(Reconciliation, SaysWhenNoSuchTradeWasSentBefore) {
  SampleRun run = with_truth(4, "0000001", "0000009");
  run.messages[3] = overwritten(run.messages[3], 72, "0000009");
  EXPECT_EQ(wrong_in(run).front(), "#4 original_id: order a trade sent before, truth 0000009");
}

TEST(Reconciliation, TakesAWrongIdInAMessageForOneFault) {
  EXPECT_EQ(wrong_in(with_message(4, 72, "0000002")), Lines{"#4 original_id: truth 0000001, message 0000002"});
}

TEST(Reconciliation, LetsNoMessageBeSentAfterItWasWrittenDown) {
  SampleRun run = with_message(2, 10, "20240701120001");
  EXPECT_EQ(wrong_in(run), Lines{"#2 sent_at: order 20240701120000, message 20240701120001"});
}

// A handler's line of a message of the run: nothing else was received.
Lines wrong_in_claims(std::uint64_t sequence, const std::string& json) {
  const SampleRun run = sample::run();
  const sample::Files files(run);
  Reconciliation all;
  open_files(all, files.truth, files.tape);
  for (std::uint64_t before = 1; before < sequence; ++before) {
    sample::reconcile_bytes(all, before, run.messages[before - 1]);
  }
  Claims claims;
  EXPECT_TRUE(read_claims(json, claims)) << json;
  Received received;
  received.by = Source::recording;
  received.claims = &claims;
  reconcile(all, sequence, &received, true);
  Lines found = sample::discrepancy_lines(all.discrepancies);
  for (const std::string& name : all.uncompared) found.push_back("not compared: " + name);
  return found;
}

TEST(ReconciledClaims, NeedOnlySayPartOfTheMessage) {
  EXPECT_EQ(wrong_in_claims(2, "{}"), Lines());
  EXPECT_EQ(wrong_in_claims(2, R"({"price":98.25,"side":"S","yield":"3.918575","trade_id":1,"special":false})"),
            Lines());
  EXPECT_EQ(wrong_in_claims(1, R"({"trade_id":null,"type":"I"})"), Lines());
}

TEST(ReconciledClaims, AreHeldAgainstTheRecord) {
  EXPECT_EQ(wrong_in_claims(2, R"({"price":98.26,"side":"S"})"), Lines{"#2 price: truth 98.250000, recording 98.26"});
  EXPECT_EQ(wrong_in_claims(2, R"({"yield":null})"), Lines{"#2 yield: truth 3.918575, recording -"});
  EXPECT_EQ(wrong_in_claims(2, R"({"special":true})"), Lines{"#2 special: truth \" \", recording true"});
  EXPECT_EQ(wrong_in_claims(2, R"({"change":"5"})"), Lines{"#2 change: truth 7, recording 5"});
  EXPECT_EQ(wrong_in_claims(4, R"({"high":98.25})"), Lines{"#4 high: book 101.500000, recording 98.25"});
  EXPECT_EQ(wrong_in_claims(4, R"({"original_price":98.25,"last":101.5,"cusip":"037833DT4"})"), Lines());
}

TEST(ReconciledClaims, ThatNothingCanBeComparedWithAreNamed) {
  EXPECT_EQ(wrong_in_claims(2, R"({"colour":"red","original_price":null,"close":3})"),
            (Lines{"not compared: colour", "not compared: close"}));
}

TEST(Uncompared, AreNamedOnceAndNoMoreThanSoMany) {
  Reconciliation all;
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < 300; ++i) note_uncompared(all, 3, std::to_string(i));
  }
  EXPECT_EQ(all.uncompared.size(), most_names_uncompared);
  EXPECT_EQ(all.uncompared[1], "1");
  EXPECT_EQ(all.discrepancies.total, 0U);
}

TEST(Uncompared, AreDiscrepanciesWhereThatIsAskedFor) {
  Reconciliation all;
  all.strict = true;
  for (const char* const name : {"px", "recv_ns", "px"}) note_uncompared(all, 3, name);
  ASSERT_EQ(all.discrepancies.listed.size(), 2U);
  EXPECT_EQ(sample::discrepancy_line(all.discrepancies.listed[0]),
            "#3 px: rule a name that can be compared: price, recording px");
  EXPECT_EQ(sample::discrepancy_line(all.discrepancies.listed[1]),
            "#3 recv_ns: rule a name that can be compared, recording recv_ns");
}

}  // namespace
}  // namespace vorbelctl
