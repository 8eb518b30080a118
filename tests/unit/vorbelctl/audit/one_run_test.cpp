// What tells runs apart, and what is merely wrong in one.
#include "vorbelctl/audit/one_run.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

#include "sample_run.h"

namespace vorbelctl {
namespace {

// Trades of four bonds, none like another; those of another `run` differ in everything.
std::vector<TradeTerms> trades(std::size_t count, int run = 0) {
  std::vector<TradeTerms> list;
  for (std::size_t i = 0; i < count; ++i) {
    const auto number = static_cast<double>(i) + 1000.0 * run;
    const std::size_t bond = (i + static_cast<std::size_t>(run) * (i / 3 + 1)) % 4;
    list.push_back({i + 3, "BOND" + std::to_string(bond), 98 + 0.013 * number, 1000 * (number + 1),
                    std::to_string(20240701120000 + i + 500000 * static_cast<std::uint64_t>(run))});
  }
  return list;
}

// Received trades that were altered, against those that were recorded.
Kinship kinship_when(const std::function<void(TradeTerms&)>& alter, std::size_t count = most_sampled) {
  RunSample sample;
  sample.recorded = trades(count);
  sample.received = trades(count);
  for (TradeTerms& each : sample.received) alter(each);
  return kinship_of(sample);
}

TEST(Kinship, IsOfOneRunWhereEverythingAgrees) {
  EXPECT_EQ(kinship_when([](TradeTerms& /*trade*/) {}), Kinship::one_run);
}

TEST(Kinship, IsOfAnotherRunWhereNothingDoes) {
  RunSample sample;
  sample.recorded = trades(most_sampled);
  sample.received = trades(most_sampled, 1);
  EXPECT_EQ(kinship_of(sample), Kinship::another_run);
  EXPECT_EQ(first_trades(sample), "#3 is BOND1 at 111.000000 and BOND0 at 98.000000");
}

TEST(Kinship, IsOfOneRunWhateverSingleFieldIsWrong) {
  EXPECT_EQ(kinship_when([](TradeTerms& trade) { trade.price = 1.5; }), Kinship::one_run);
  EXPECT_EQ(kinship_when([](TradeTerms& trade) { trade.quantity = 0; }), Kinship::one_run);
  EXPECT_EQ(kinship_when([](TradeTerms& trade) { trade.cusip = "X"; }), Kinship::one_run);
}

TEST(Kinship, IsOfOneRunWhereOneFieldAloneIsRight) {
  const auto wrong = [](TradeTerms& trade) {
    trade.price = 1.5;
    trade.quantity = 0;
    trade.cusip = "X";
  };
  EXPECT_EQ(kinship_when(wrong), Kinship::one_run);
  EXPECT_EQ(kinship_when([](TradeTerms& trade) {
              trade.price = 1.5;
              trade.quantity = 0;
              trade.executed_at = "never";
            }),
            Kinship::one_run)
      << "the bonds are those of the run";
}

TEST(Kinship, IsOfOneRunAtOtherNumbers) {
  for (const int shift : {-2, -1, 1, 5}) {
    const auto moved = [&](TradeTerms& trade) { trade.sequence += static_cast<std::uint64_t>(shift); };
    EXPECT_EQ(kinship_when(moved), Kinship::one_run) << shift;
  }
}

TEST(Kinship, IsARepetitionWhereTheTimesAloneDiffer) {
  EXPECT_EQ(kinship_when([](TradeTerms& trade) { trade.executed_at = "20240702" + trade.executed_at->substr(8); }),
            Kinship::repeated);
}

TEST(Kinship, IsUnknownOfTooLittle) {
  const auto wrong = [](TradeTerms& trade) { trade = {trade.sequence, "X", 1.5, 0, "never"}; };
  EXPECT_EQ(kinship_when(wrong, 4), Kinship::unknown);
  EXPECT_EQ(kinship_when(wrong, 5), Kinship::another_run);
  EXPECT_EQ(kinship_when([](TradeTerms& trade) {
              trade = {trade.sequence, "X", 1.5, {}, {}};
            }),
            Kinship::unknown)
      << "a price alone may be read wrong";
  EXPECT_EQ(kinship_of({}), Kinship::unknown);
}

// Why the files of a run are refused when each is put in the other's place or altered.
std::string refusal(const std::vector<std::string>& truth, const std::vector<std::string>& tape) {
  sample::SampleRun run = sample::run();
  run.truth = truth;
  run.tape = tape;
  const sample::Files files(run);
  Reconciliation all;
  open_files(all, files.truth, tape.empty() ? "" : files.tape);
  const RunBeginnings beginnings = beginnings_of(all);
  try {
    check_written(all, beginnings, "truth.jsonl", "tape.jsonl");
  } catch (const std::invalid_argument& wrong) {
    return wrong.what();
  }
  EXPECT_EQ(next_line(all.truth.file, true).has_value(), !truth.empty()) << "the files stay where they are read";
  return "";
}

TEST(Written, FilesOfOneRunArePassed) {
  EXPECT_EQ(refusal(sample::run().truth, sample::run().tape), "");
  EXPECT_EQ(refusal(sample::run().truth, {}), "");
}

TEST(Written, FilesOfTheOtherKindAreNamed) {
  EXPECT_EQ(refusal(sample::run().tape, {}), "truth.jsonl is a tape and no truth file");
  EXPECT_EQ(refusal(sample::run().truth, sample::run().truth), "tape.jsonl is a truth file and no tape");
}

TEST(Written, FilesWithoutRecordsAreNoTruthFiles) {
  EXPECT_EQ(refusal({"rubbish", "{}"}, {}), no_record_in("truth.jsonl"));
  EXPECT_EQ(refusal({}, {}), "") << "the bench may not have begun";
}

}  // namespace
}  // namespace vorbelctl
