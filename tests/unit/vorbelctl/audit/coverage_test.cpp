// How far audits went, of outcomes and files made up here.
#include "vorbelctl/audit/coverage.h"

#include <gtest/gtest.h>

#include <memory>

#include "sample_run.h"

namespace vorbelctl {
namespace {

// An audit of a recording that was judged to #500 while the truth goes to #900.
std::unique_ptr<Outcome> partial_outcome() {
  auto outcome = std::make_unique<Outcome>();
  outcome->origin = Origin::recording;
  outcome->where = "heard.jsonl";
  outcome->audit.from = 1;
  outcome->audit.last = 500;
  outcome->audit.counts.messages = 500;
  outcome->audit.truth_last = 900;
  return outcome;
}

// What is unfinished of that audit.
std::string unfinished(const Ends& ends, Origin origin = Origin::recording, std::uint64_t closed_by = 0) {
  const sample::Files files(sample::run());
  const auto outcome = partial_outcome();
  outcome->origin = origin;
  outcome->audit.reconciliation.rules.closed_by = closed_by;
  open_files(outcome->audit.reconciliation, files.truth, "");
  note_coverage(*outcome, ends);
  EXPECT_EQ(outcome->audit.truth_last, 900U);
  return outcome->unfinished;
}

TEST(TruthExtent, TellsHowFarTheRecordsGoAndWhereTheCloseIs) {
  const sample::Files files(sample::run());
  Reconciliation all;
  open_files(all, files.truth, "");
  const TruthExtent extent = read_extent(all.truth);
  EXPECT_EQ(extent.last, 8U);
  EXPECT_EQ(extent.closing, 8U);
}

TEST(TruthExtent, OfASessionThatRunsOnHasNoClose) {
  sample::SampleRun open = sample::run();
  open.truth.pop_back();
  const sample::Files files(open);
  Reconciliation all;
  open_files(all, files.truth, "");
  const TruthExtent extent = read_extent(all.truth);
  EXPECT_EQ(extent.last, 7U);
  EXPECT_EQ(extent.closing, 0U) << "that the session opened is no close";
}

TEST(DueNumber, IsTheCloseOrWhatIsAskedFor) {
  EXPECT_EQ(due_number({10, 8}, 0), 8U);
  EXPECT_EQ(due_number({10, 0}, 0), 0U);
  EXPECT_EQ(due_number({10, 8}, 5), 5U);
  EXPECT_EQ(due_number({10, 0}, 15), 10U);
}

TEST(Coverage, IsSaidWhereTheTruthGoesFurther) {
  const auto outcome = partial_outcome();
  EXPECT_EQ(coverage_sentence(*outcome), "judged #1 to #500; the truth goes to #900");
  outcome->audit.from = 50;
  outcome->origin = Origin::pcap;
  EXPECT_EQ(coverage_sentence(*outcome), "judged #50 to #500; the truth goes to #900");
}

TEST(Coverage, IsNotSaidWhereItIsNoNews) {
  auto outcome = partial_outcome();
  outcome->audit.truth_last = 500;
  EXPECT_EQ(coverage_sentence(*outcome), "") << "it is all there is";
  outcome = partial_outcome();
  outcome->audit.to = 500;
  EXPECT_EQ(coverage_sentence(*outcome), "") << "it is what was asked for";
  outcome = partial_outcome();
  outcome->origin = Origin::feed;
  EXPECT_EQ(coverage_sentence(*outcome), "") << "a feed goes on";
  outcome = partial_outcome();
  outcome->audit.missing.push_back({501, 900});
  EXPECT_EQ(coverage_sentence(*outcome), "") << "the rest is missing";
}

TEST(Coverage, ThatIsShortOfWhatWasAskedForIsUnfinished) {
  Ends ends;
  EXPECT_EQ(unfinished(ends), "");
  ends.to = 500;
  EXPECT_EQ(unfinished(ends), "");
  ends.to = 501;
  EXPECT_EQ(unfinished(ends), "#501 did not come: heard.jsonl goes to #500, the truth to #900");
  EXPECT_EQ(unfinished(ends, Origin::feed), "") << "who follows a feed knows himself";
}

TEST(Coverage, WithoutTheEndOfSessionThatWasAskedForIsUnfinished) {
  Ends ends;
  ends.end_of_session = true;
  EXPECT_EQ(unfinished(ends), "the end of session did not come: heard.jsonl goes to #500, the truth to #900");
  EXPECT_EQ(unfinished(ends, Origin::pcap, 501), unfinished(ends)) << "it stands behind what was judged";
  EXPECT_EQ(unfinished(ends, Origin::pcap, 500), "");
}

}  // namespace
}  // namespace vorbelctl
