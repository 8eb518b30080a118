// An audit under way: what a receiver tells becomes messages reconciled, numbers missing and figures.
#include "vorbelctl/audit/audit.h"

#include <gtest/gtest.h>

#include <fstream>

#include "sample_run.h"

namespace vorbelctl {
namespace {

using Lines = std::vector<std::string>;

Event message_event(std::uint64_t sequence, const std::string& bytes, Via via = Via::live) {
  Event event;
  event.kind = EventKind::message;
  event.at_ms = 5000;
  event.first = event.last = sequence;
  event.via = via;
  event.text = bytes;
  return event;
}

Event event_of(EventKind kind, std::uint64_t first, std::uint64_t last = 0) {
  Event event;
  event.kind = kind;
  event.at_ms = 5000;
  event.first = first;
  event.last = last == 0 ? first : last;
  return event;
}

// What makes a wall clock a little behind noon of the times of the events.
constexpr std::int64_t behind_noon_ms = (sample::noon_s + 10) * 1000 - 5000;

// An audit of the sample run.
struct SampleAudit {
  sample::SampleRun run = sample::run();
  sample::Files files{run};
  Audit audit;

  SampleAudit() {
    open_files(audit.reconciliation, files.truth, files.tape);
    audit.clock_offset_ms = behind_noon_ms;
  }
};

void tell(SampleAudit& sample, const Event& event) {
  note_events(sample.audit, {event});
}

// Messages `first` to `last` came.
void tell_messages(SampleAudit& sample, std::uint64_t first, std::uint64_t last, Via via = Via::live) {
  for (std::uint64_t i = first; i <= last; ++i) tell(sample, message_event(i, sample.run.messages[i - 1], via));
}

Lines found_by(SampleAudit& sample) {
  advance(sample.audit, true);
  return sample::discrepancy_lines(sample.audit.reconciliation.discrepancies);
}

TEST(Audit, CountsWhatItReconciles) {
  SampleAudit sample;
  tell(sample, event_of(EventKind::joined, 1));
  tell_messages(sample, 1, 8);
  EXPECT_EQ(found_by(sample), Lines());
  const Audit& audit = sample.audit;
  EXPECT_EQ(audit.from, 1U);
  EXPECT_EQ(audit.joined, 1U);
  EXPECT_EQ(audit.last, 8U);
  EXPECT_EQ(audit.counts.messages, 8U);
  EXPECT_EQ(count_of(audit.counts, Kind::trade), 2U);
  EXPECT_EQ(count_of(audit.counts, Kind::cancel), 1U);
  EXPECT_EQ(count_of(audit.counts, Kind::correction), 1U);
  EXPECT_EQ(count_of(audit.counts, Kind::halt), 1U);
  EXPECT_EQ(count_of(audit.counts, Kind::summary), 1U);
  EXPECT_EQ(count_of(audit.counts, Kind::control), 2U);
  EXPECT_EQ(audit.counts.malformed, 0U);
  EXPECT_EQ(audit.history.trades, 2U);
  EXPECT_TRUE(audit.pending.empty());
}

TEST(Audit, CountsWhatTheRunPutItsReceiverThrough) {
  SampleAudit sample;
  tell_messages(sample, 1, 1);
  tell(sample, event_of(EventKind::gap, 2, 6));
  tell_messages(sample, 2, 3, Via::recovered);
  tell(sample, event_of(EventKind::missing, 4));
  tell_messages(sample, 5, 5, Via::recovered);
  tell(sample, event_of(EventKind::missing, 6));
  tell(sample, event_of(EventKind::gap_closed, 2, 6));
  tell_messages(sample, 7, 8);
  found_by(sample);
  sample.audit.history.idles_met = {3, 7};
  note_rest(sample.audit);
  const Situations& situations = sample.audit.reconciliation.situations;
  EXPECT_EQ(met_of(situations, Situation::trade).count, 2U);
  EXPECT_EQ(met_of(situations, Situation::correction_only).count, 1U);
  EXPECT_EQ(met_of(situations, Situation::cancel).count, 0U) << "it never came";
  EXPECT_EQ(met_of(situations, Situation::halt).count, 0U) << "nor did this one";
  EXPECT_EQ(met_of(situations, Situation::gap_across_halt).first, 6U) << "but it was lost";
  EXPECT_EQ(met_of(situations, Situation::gap_burst).first, 2U);
  EXPECT_EQ(met_of(situations, Situation::idle).count, 3U);
  EXPECT_EQ(met_of(situations, Situation::idle).first, 7U);
}

TEST(Audit, SaysWhichFieldOfAMessageDoesNotRead) {
  SampleAudit sample;
  sample.run.messages[1][90] = 'x';
  tell_messages(sample, 1, 8);
  const Lines found = found_by(sample);
  ASSERT_EQ(found.size(), 1U) << found[1];
  EXPECT_EQ(found[0].substr(0, 55), "#2 price: truth a message that reads, message TM0000001");
  EXPECT_EQ(sample.audit.counts.malformed, 1U);
  EXPECT_EQ(sample.audit.counts.messages, 8U);
  EXPECT_EQ(count_of(sample.audit.counts, Kind::trade), 1U);
}

TEST(Audit, ListsWhatNeverCame) {
  SampleAudit sample;
  tell_messages(sample, 1, 2);
  tell(sample, event_of(EventKind::gap, 3, 4));
  tell(sample, event_of(EventKind::missing, 3, 4));
  tell_messages(sample, 5, 7);
  tell(sample, event_of(EventKind::missing, 8));
  EXPECT_EQ(found_by(sample), Lines());
  EXPECT_EQ(sample.audit.counts.missing, 3U);
  EXPECT_EQ(sample.audit.counts.messages, 5U);
  EXPECT_EQ(sample.audit.last, 8U);
  ASSERT_EQ(sample.audit.missing.size(), 2U);
  EXPECT_EQ(sample.audit.missing[0].first, 3U);
  EXPECT_EQ(sample.audit.missing[0].last, 4U);
  EXPECT_EQ(sample.audit.history.trades, 2U) << "prices go on by the record";
}

TEST(Audit, GoesOnWithTheBooksWhereMessagesAreMissing) {
  SampleAudit sample;
  tell_messages(sample, 1, 1);
  tell(sample, event_of(EventKind::missing, 2, 7));
  tell_messages(sample, 8, 8);
  EXPECT_EQ(found_by(sample), Lines());
  EXPECT_EQ(sample.audit.reconciliation.bonds.begin()->second.book.prints.live, 1U);
}

TEST(Audit, SurvivesARangeBeyondAllRecords) {
  SampleAudit sample;
  tell_messages(sample, 1, 8);
  tell(sample, event_of(EventKind::missing, 9, 1000000000000));
  EXPECT_EQ(found_by(sample), Lines());
  EXPECT_EQ(sample.audit.counts.missing, 999999999992U);
  EXPECT_EQ(sample.audit.last, 1000000000000U);
}

TEST(Audit, TellsHowMessagesThatWereMissedCameAfterAll) {
  SampleAudit sample;
  tell_messages(sample, 1, 2);
  tell_messages(sample, 3, 4, Via::recovered);
  tell_messages(sample, 5, 5, Via::late);
  tell_messages(sample, 6, 8);
  EXPECT_EQ(found_by(sample), Lines());
  EXPECT_EQ(sample.audit.counts.recovered, 2U);
  EXPECT_EQ(sample.audit.counts.out_of_order, 1U);
  EXPECT_EQ(sample.audit.counts.fetched, 0U);
}

TEST(Audit, DoesNotBlameTheFeedForWhatWasSentBeforeItWasJoined) {
  SampleAudit sample;
  tell(sample, event_of(EventKind::joined, 1));
  tell(sample, event_of(EventKind::gap, 1, 4));
  tell_messages(sample, 1, 3, Via::recovered);
  tell(sample, event_of(EventKind::missing, 4));
  tell(sample, event_of(EventKind::gap_closed, 1, 4));
  tell_messages(sample, 5, 8);
  EXPECT_EQ(found_by(sample), Lines());
  EXPECT_EQ(sample.audit.joined, 5U);
  EXPECT_EQ(sample.audit.counts.fetched, 3U);
  EXPECT_EQ(sample.audit.counts.unfetchable, 1U);
  EXPECT_EQ(sample.audit.counts.recovered, 0U);
  EXPECT_EQ(sample.audit.counts.missing, 0U);
  EXPECT_EQ(sample.audit.history.faults_total, 0U);
}

TEST(Audit, IsJoinedByAHeartbeatToo) {
  SampleAudit sample;
  tell(sample, event_of(EventKind::heartbeat, 3));
  EXPECT_EQ(sample.audit.joined, 3U);
  tell(sample, event_of(EventKind::end_of_session, 9));
  EXPECT_EQ(sample.audit.joined, 3U);
}

TEST(Audit, SaysNothingOfAWireWhereThereIsNone) {
  SampleAudit sample;
  sample.audit.on_the_wire = false;
  tell_messages(sample, 1, 7, Via::recovered);
  tell(sample, event_of(EventKind::missing, 8));
  tell(sample, event_of(EventKind::duplicate, 3));
  EXPECT_EQ(found_by(sample), Lines());
  EXPECT_EQ(sample.audit.counts.fetched, 7U);
  EXPECT_EQ(sample.audit.counts.unfetchable, 1U);
  EXPECT_EQ(sample.audit.history.faults_total, 0U);
}

TEST(Audit, LetsNoMessageBeSentAfterItWasHere) {
  SampleAudit sample;
  sample.audit.clock_offset_ms =
      (sample::noon_s - 90) * 1000 - 5000;  // a minute's difference between clocks is allowed
  tell_messages(sample, 1, 1);
  const Lines found = found_by(sample);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].substr(0, 12), "#1 sent_at: ");
}

TEST(Audit, KeepsMessagesWhoseRecordsAreStillToBeWritten) {
  const sample::SampleRun run = sample::run();
  const vorbeld::ScratchFolder folder;
  std::ofstream truth(folder.path / "truth");
  Audit audit;
  audit.clock_offset_ms = behind_noon_ms;
  open_files(audit.reconciliation, folder.path / "truth", "");
  note_events(audit, {message_event(1, run.messages[0]), message_event(2, run.messages[1])});
  advance(audit, false);
  EXPECT_EQ(audit.pending.size(), 2U);
  truth << run.truth[0] << "\n" << std::flush;
  advance(audit, false);
  EXPECT_EQ(audit.pending.size(), 1U);
  EXPECT_EQ(audit.counts.messages, 1U);
  truth << run.truth[1] << "\n" << std::flush;
  advance(audit, false);
  EXPECT_TRUE(audit.pending.empty());
  EXPECT_EQ(sample::discrepancy_lines(audit.reconciliation.discrepancies), std::vector<std::string>());
}

TEST(Audit, WaitsForTheRecordsOfWhatIsMissingToo) {
  const sample::SampleRun run = sample::run();
  const vorbeld::ScratchFolder folder;
  std::ofstream truth(folder.path / "truth");
  Audit audit;
  open_files(audit.reconciliation, folder.path / "truth", "");
  note_events(audit, {event_of(EventKind::missing, 1, 2)});
  truth << run.truth[0] << "\n" << std::flush;
  advance(audit, false);
  EXPECT_EQ(audit.pending.size(), 1U);
  truth << run.truth[1] << "\n" << std::flush;
  advance(audit, false);
  EXPECT_TRUE(audit.pending.empty());
}

TEST(Audit, JudgesNoMoreAtOnceThanItIsAskedTo) {
  const vorbeld::ScratchFolder folder;
  const auto& run = sample::run();
  vorbeld::write_file(folder.path / "truth", run.truth[0] + "\n" + run.truth[1] + "\n");
  Audit audit;
  open_files(audit.reconciliation, folder.path / "truth", "");
  note_events(audit, {message_event(1, run.messages[0]), message_event(2, run.messages[1])});
  advance(audit, false, 1);
  EXPECT_EQ(audit.counts.messages, 1U);
  EXPECT_FALSE(audit.judged_all);
  advance(audit, false, 1);
  EXPECT_EQ(audit.counts.messages, 2U);
  EXPECT_TRUE(audit.judged_all);
}

TEST(Audit, DoesNotWaitForRecordsOfMoreMessagesThanItKeeps) {
  const vorbeld::ScratchFolder folder;
  vorbeld::write_file(folder.path / "truth", "");
  Audit audit;
  open_files(audit.reconciliation, folder.path / "truth", "");
  const std::string control = sample::run().messages[0];
  for (std::uint64_t i = 1; i <= most_pending + 3; ++i) note_events(audit, {message_event(i, control)});
  advance(audit, false);
  EXPECT_EQ(audit.pending.size(), most_pending);
  EXPECT_EQ(audit.reconciliation.discrepancies.total, 3U);
}

}  // namespace
}  // namespace vorbelctl
