// What a handler wrote down of the sample run, line by line, and what is said of handlers that are wrong.
#include "vorbelctl/audit/recording.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

#include "sample_run.h"

namespace vorbelctl {
namespace {

using Lines = std::vector<std::string>;

// A recording that says little, but of every message.
Lines recorded_lines() {
  return {
      R"({"event":"control","seq":1,"via":"live","type":"I"})",
      R"({"event":"trade","seq":2,"price":98.25,"book":{"high":98.25,"prints":1}})",
      R"({"event":"trade","seq":3,"price":101.5,"book":{"high":101.5,"prints":2}})",
      R"({"event":"cancel","seq":4,"original_id":"0000001","book":{"high":101.5,"prints":1}})",
      R"({"event":"correction","seq":5,"price":98.25,"book":{"high":98.25,"prints":1}})",
      R"({"event":"halt","seq":6,"reason":"T.1","book":{"halted":true}})",
      R"({"event":"summary","seq":7,"close":98.25})",
      R"({"event":"control","seq":8,"type":"C"})",
  };
}

std::unique_ptr<Audit> audited(const Lines& lines, std::uint64_t from = 0, std::uint64_t to = 0) {
  const sample::Files files(sample::run());
  const std::string recording = files.folder.path / "recording.jsonl";
  vorbeld::write_file(recording, sample::joined(lines));
  auto audit = std::make_unique<Audit>();
  audit->from = from;
  audit->to = to;
  open_files(audit->reconciliation, files.truth, files.tape);
  reconcile_recording(*audit, open_input(recording));
  return audit;
}

Lines wrong_in_recording(const Lines& lines) {
  return sample::discrepancy_lines(audited(lines)->reconciliation.discrepancies);
}

Lines with_line(std::size_t number, const std::string& line) {
  Lines lines = recorded_lines();
  lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(number) - 1, line);
  return lines;
}

std::string missing_in(const Audit& audit) {
  std::string text;
  for (const Range& range : audit.missing) text += std::to_string(range.first) + "-" + std::to_string(range.last) + " ";
  return text;
}

TEST(Recording, OfEverythingIsEqual) {
  const auto audit = audited(recorded_lines());
  EXPECT_EQ(sample::discrepancy_lines(audit->reconciliation.discrepancies), Lines());
  EXPECT_EQ(audit->counts.messages, 8U);
  EXPECT_EQ(count_of(audit->counts, Kind::trade), 2U);
  EXPECT_EQ(count_of(audit->counts, Kind::control), 2U);
  EXPECT_EQ(audit->counts.missing, 0U);
  EXPECT_EQ(audit->last, 8U);
  EXPECT_EQ(missing_in(*audit), "");
  EXPECT_FALSE(audit->on_the_wire);
}

TEST(Recording, MayHoldSequenceNumbersAlone) {
  Lines lines;
  for (int i = 1; i <= 8; ++i) lines.push_back("{\"seq\":" + std::to_string(i) + "}");
  EXPECT_EQ(wrong_in_recording(lines), Lines());
}

TEST(Recording, MayHoldOtherEventsAndEmptyLines) {
  EXPECT_EQ(wrong_in_recording(with_line(3, R"({"event":"heartbeat","seq":77})")), Lines());
  EXPECT_EQ(wrong_in_recording(with_line(3, R"({"event":"gap","seq":"x"})")), Lines());
  EXPECT_EQ(wrong_in_recording(with_line(3, "")), Lines());
  EXPECT_EQ(wrong_in_recording(with_line(1, R"({"started":true})")), Lines());
}

TEST(Recording, IsHeldAgainstTheRecords) {
  Lines lines = recorded_lines();
  lines[2] = R"({"event":"trade","seq":3,"price":101.25,"book":{"high":101.25}})";
  EXPECT_EQ(wrong_in_recording(lines), Lines{"#3 price: truth 101.500000, recording 101.25 (1 follow)"});
}

TEST(Recording, IsOfTheKindThatTheRecordIsOf) {
  Lines lines = recorded_lines();
  lines[5] = R"({"event":"trade","seq":6,"price":98.25})";
  EXPECT_EQ(wrong_in_recording(lines), Lines{"#6 event: truth halt, recording trade"});
}

TEST(Recording, MayStateBooksByThemselves) {
  EXPECT_EQ(wrong_in_recording(with_line(4, R"({"book":{"cusip":"037833DT4","high":101.5,"prints":2}})")), Lines());
  EXPECT_EQ(wrong_in_recording(with_line(4, R"({"book":{"cusip":"037833DT4","prints":3}})")),
            Lines{"#3 book.prints: book 2, recording 3"});
}

TEST(Recording, ThatLeavesMessagesOutMissesThem) {
  Lines lines = recorded_lines();
  lines.erase(lines.begin() + 2, lines.begin() + 4);
  const auto audit = audited(lines);
  EXPECT_EQ(sample::discrepancy_lines(audit->reconciliation.discrepancies), Lines())
      << "the books go on without the handler";
  EXPECT_EQ(audit->counts.missing, 2U);
  EXPECT_EQ(missing_in(*audit), "3-4 ");
}

TEST(Recording, DoesNotBlameTheHandlersBookForWhatItMissed) {
  Lines lines = recorded_lines();
  lines.erase(lines.begin() + 1);
  lines[1] = R"({"event":"trade","seq":3,"price":101.5,"book":{"low":101.5,"prints":1}})";
  const auto audit = audited(lines);
  EXPECT_EQ(sample::discrepancy_lines(audit->reconciliation.discrepancies), Lines());
  const Discrepancies& discrepancies = audit->reconciliation.discrepancies;
  EXPECT_EQ(discrepancies.follow_ups - sample::follow_ups_of_the_days_rules(discrepancies), 2U);
  EXPECT_EQ(missing_in(*audit), "2-2 ");
}

TEST(Recording, ThatEndsEarlyMissesTheRest) {
  Lines lines = recorded_lines();
  lines.resize(5);
  const auto audit = audited(lines);
  EXPECT_EQ(missing_in(*audit), "6-8 ");
  EXPECT_EQ(audit->counts.missing, 3U);
  EXPECT_EQ(audit->last, 5U);
}

TEST(Recording, OfNothingMissesEverything) {
  const auto audit = audited({});
  EXPECT_EQ(missing_in(*audit), "1-8 ");
  EXPECT_EQ(audit->counts.messages, 0U);
}

TEST(Recording, MayBeginLateWhenItIsAskedFrom) {
  Lines lines = recorded_lines();
  lines.erase(lines.begin(), lines.begin() + 3);
  EXPECT_EQ(audited(lines, 4)->counts.missing, 0U);
  EXPECT_EQ(missing_in(*audited(lines)), "1-3 ");
}

TEST(Recording, LeavesOutWhatCameBeforeTheStart) {
  Lines lines = recorded_lines();
  lines[1] = R"({"event":"trade","seq":2,"price":1,"book":{"high":1}})";
  lines.insert(lines.begin(), {"rubbish", R"({"book":{"cusip":"037833DT4","prints":7}})"});
  const auto audit = audited(lines, 4);
  EXPECT_EQ(sample::discrepancy_lines(audit->reconciliation.discrepancies), Lines()) << "books are those of the truth";
  EXPECT_EQ(audit->counts.messages, 5U);
  EXPECT_EQ(missing_in(*audit), "");
}

TEST(Recording, LeavesOutWhatComesBehindTheEnd) {
  Lines lines = recorded_lines();
  lines[5] = R"({"event":"trade","seq":6,"price":1})";
  lines.insert(lines.begin() + 6, {"rubbish", R"({"book":{"cusip":"037833DT4","prints":7}})"});
  const auto audit = audited(lines, 0, 5);
  EXPECT_EQ(sample::discrepancy_lines(audit->reconciliation.discrepancies), Lines());
  EXPECT_EQ(audit->counts.messages, 5U);
  EXPECT_EQ(audit->last, 5U);
  EXPECT_EQ(audit->truth_last, 8U);
}

TEST(Recording, MissesWhatIsAskedForBehindItsLastMessage) {
  Lines lines = recorded_lines();
  lines.resize(4);
  EXPECT_EQ(missing_in(*audited(lines, 0, 6)), "5-6 ");
  EXPECT_EQ(missing_in(*audited(lines, 0, 4)), "");
}

TEST(Recording, OfASessionThatRunsOnMayEndAnywhere) {
  sample::SampleRun open = sample::run();
  open.truth.pop_back();  // the close
  const sample::Files files(open);
  const std::string recording = files.folder.path / "recording.jsonl";
  Lines lines = recorded_lines();
  lines.resize(5);
  vorbeld::write_file(recording, sample::joined(lines));
  Audit audit;
  open_files(audit.reconciliation, files.truth, files.tape);
  reconcile_recording(audit, open_input(recording));
  EXPECT_EQ(missing_in(audit), "");
  EXPECT_EQ(audit.last, 5U);
  EXPECT_EQ(audit.truth_last, 7U);
}

TEST(Recording, SaysWhatComesTwice) {
  EXPECT_EQ(wrong_in_recording(with_line(4, R"({"event":"trade","seq":3})")),
            Lines{"#3 seq: order once, recording again, after #3"});
}

TEST(Recording, SaysWhatComesTooLate) {
  Lines lines = recorded_lines();
  std::swap(lines[1], lines[2]);
  const auto audit = audited(lines);
  const Lines found = sample::discrepancy_lines(audit->reconciliation.discrepancies);
  EXPECT_EQ(found, Lines{"#2 seq: order before #3, recording after #3"});
  EXPECT_EQ(audit->counts.out_of_order, 1U);
  EXPECT_EQ(audit->counts.missing, 0U);
}

TEST(Recording, CountsANumberThatCameLateAndAgainOnce) {
  Lines lines = recorded_lines();
  lines.erase(lines.begin() + 2, lines.begin() + 5);                  // 3 to 5
  lines.insert(lines.begin() + 3, {R"({"seq":4})", R"({"seq":4})"});  // after 6
  const auto audit = audited(lines);
  EXPECT_EQ(sample::discrepancy_lines(audit->reconciliation.discrepancies),
            (Lines{"#4 seq: order before #6, recording after #6", "#4 seq: order once, recording again, after #6"}));
  EXPECT_EQ(missing_in(*audit), "3-3 5-5 ");
}

TEST(Recording, SaysWhichLineIsNoObject) {
  EXPECT_EQ(wrong_in_recording(with_line(4, "rubbish")), Lines{"#4 line: order a JSON object, recording line 4"});
  EXPECT_EQ(wrong_in_recording(with_line(4, "[1]")), Lines{"#4 line: order a JSON object, recording line 4"});
}

TEST(Recording, SaysWhatIsNoSequenceNumber) {
  for (const char* const sequence : {"\"3\"", "-3", "3.5", "null", "18446744073709551615", "1e3"}) {
    Lines lines = recorded_lines();
    lines[2] = std::string(R"({"event":"trade","seq":)") + sequence + "}";
    const Lines found = wrong_in_recording(lines);
    ASSERT_EQ(found.size(), 1U) << sequence;
    EXPECT_EQ(found[0].substr(0, 43), "#3 seq: order a sequence number, recording ");
  }
}

TEST(Recording, SaysWhatTheBenchNeverSent) {
  EXPECT_EQ(wrong_in_recording(with_line(9, R"({"event":"control","seq":9})")),
            Lines{"#9 seq: truth no record, recording 9"});
}

TEST(Recording, NamesWhatCannotBeCompared) {
  const auto audit = audited(with_line(1, R"({"event":"control","seq":1,"colour":"red"})"));
  EXPECT_EQ(audit->reconciliation.uncompared, Lines{"colour"});
}

}  // namespace
}  // namespace vorbelctl
