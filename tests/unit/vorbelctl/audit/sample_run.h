// A short run as a bench leaves it: its messages, written out field by field, and the truth and tape lines that were
// written of them by hand. Everything agrees; a test alters one thing and looks at what comes of it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/unit/common/scratch.h"
#include "vorbelctl/audit/reconcile.h"

namespace vorbelctl::sample {

// A trade, a capped trade at a higher price, a cancel of the first, a correction of the second back to the first's
// terms, a halt and a summary between two control messages.
struct SampleRun {
  std::vector<std::string> messages;  // number n at n - 1
  std::vector<std::string> truth;     // line of message n at n - 1
  std::vector<std::string> tape;      // lines of the messages 2 and 3
};

SampleRun run();

// 1 July 2024 12:00:00, feed local time: when the first message was sent; UTC seconds.
inline constexpr std::int64_t noon_s = 1719849600;

// `text` with `from`, which must stand in it, replaced by `to` where it stands first.
std::string altered(std::string text, const std::string& from, const std::string& to);

// The bytes with those from `offset` on replaced by `bytes`.
std::string overwritten(std::string message, std::size_t offset, const std::string& bytes);

// The lines as the content of a file.
std::string joined(const std::vector<std::string>& lines);

// The run's files in a folder of their own.
struct Files {
  vorbeld::ScratchFolder folder;
  std::string truth = folder.path / "truth.jsonl";
  std::string tape = folder.path / "tape.jsonl";

  explicit Files(const SampleRun& run);
};

// "#3 price: truth 98.250000, message 98.260000 (2 follow)".
std::string discrepancy_line(const Discrepancy& discrepancy);

// All that are listed, in the order in which they were noted, but for those of the rules of a whole day: the run is too
// short to keep them, and they have tests of their own.
std::vector<std::string> discrepancy_lines(const Discrepancies& discrepancies);

// Further breaches of those rules, which are no follow-ups of anything else.
std::uint64_t follow_ups_of_the_days_rules(const Discrepancies& discrepancies);

// Reconciles message `sequence`, whose bytes must read; empty bytes: it never came.
std::optional<Reconciled> reconcile_bytes(Reconciliation& reconciliation, std::uint64_t sequence,
                                          const std::string& bytes, bool no_more = true);

// Everything reconciled: messages, of which empty ones never came, against truth and tape. Without tape lines there is
// no tape.
std::unique_ptr<Reconciliation> reconciled(const SampleRun& run);

// The discrepancies of the whole run.
std::vector<std::string> wrong_in(const SampleRun& run);

}  // namespace vorbelctl::sample
