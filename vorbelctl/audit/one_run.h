// Whether files and messages are of one run of a bench, told by their first trades. A wrong feed or a wrong handler is
// of the run all the same: it has something in common with the truth, be it at other numbers. Only where hardly
// anything agrees is it another run, and then no comparison would mean anything.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "vorbelctl/audit/reconcile.h"

namespace vorbelctl {

// What tells one trade from another, as far as it is said.
struct TradeTerms {
  std::uint64_t sequence = 0;
  std::optional<std::string> cusip;
  std::optional<double> price;
  std::optional<double> quantity;
  std::optional<std::string> executed_at;  // YYYYMMDDHHMMSS, feed local time
};

inline constexpr std::size_t most_sampled = 20;

// The first trades, each list by ascending number.
struct RunSample {
  std::vector<TradeTerms> received;
  std::vector<TradeTerms> recorded;
  std::int64_t sent_s = 0;  // UTC; when the first of the messages was sent; 0: not known
  bool is_judged = false;
};

enum class Kinship : std::uint8_t {
  unknown,  // there is too little to tell
  one_run,
  repeated,  // the same trades at other times, as of another run with the same seed; or the times are wrong
  another_run
};

Kinship kinship_of(const RunSample& sample);

// "#3 is 037833DT4 at 98.250000 and 594918BY9 at 99.100000": the first trade, as received and as recorded; empty: none
// is in both.
std::string first_trades(const RunSample& sample);

// Takes the message, and its record where the truth has just brought it, into the sample, if they are trades.
void take_sample(RunSample& sample, std::uint64_t sequence, const Received& received, const Truth& truth);

// The files as they were opened.
struct RunBeginnings {
  RunExtent truth;
  RunExtent tape;
};

// To be called before anything is read.
RunBeginnings beginnings_of(const Reconciliation& reconciliation);

// What to say where a truth file has no record.
std::string no_record_in(const std::string& truth);

// Looks at the first lines of both files, which stay where they are read. Throws std::invalid_argument when one is
// another kind of file, or when they are clearly of two runs. `truth` and `tape`: their names.
void check_written(Reconciliation& reconciliation, const RunBeginnings& beginnings, const std::string& truth,
                   const std::string& tape);

}  // namespace vorbelctl
