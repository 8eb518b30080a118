#include "vorbelctl/audit/coverage.h"

#include <fmt/format.h>

#include <algorithm>

namespace vorbelctl {
namespace {

bool closes(const TruthRecord& record) {
  constexpr std::string_view closing_types = "CXJZ";
  return record.row->kind == Kind::control && closing_types.find(record.type) != closing_types.npos;
}

// The last number of which it is known what became of it.
std::uint64_t last_settled(const Audit& audit) {
  return audit.missing.empty() ? audit.last : std::max(audit.last, audit.missing.back().last);
}

std::string number_or_none(std::uint64_t number) {
  return number == 0 ? "no message" : fmt::format("#{}", number);
}

// Several things may have been asked for; the first that did not come is named.
std::string unmet(const Audit& audit, const Ends& ends) {
  if (ends.to > last_settled(audit)) return fmt::format("#{} did not come", ends.to);
  const std::uint64_t closed_by = audit.reconciliation.rules.closed_by;
  const bool closed = closed_by != 0 && closed_by <= last_settled(audit);
  return ends.end_of_session && !closed ? "the end of session did not come" : "";
}

}  // namespace

TruthExtent read_extent(Truth& truth) {
  TruthExtent extent;
  truth.unused_at = reached_at(truth);
  while (reach_entry(truth, true)) {
    const bool reads = truth.entry.wrong_key.empty();
    if (reads && closes(truth.entry.record)) extent.closing = truth.entry.sequence;
    truth.entry.there = false;
  }
  extent.last = truth.previous;
  return extent;
}

std::uint64_t due_number(const TruthExtent& extent, std::uint64_t to) {
  return to == 0 ? extent.closing : std::min(extent.last, to);
}

void note_coverage(Outcome& outcome, const Ends& ends) {
  Audit& audit = outcome.audit;
  audit.truth_last = std::max(audit.truth_last, read_extent(audit.reconciliation.truth).last);
  // Whoever follows the feed knows himself how far it came.
  if (outcome.origin == Origin::feed || !audit.restart.empty()) return;
  const std::string lacking = unmet(audit, ends);
  if (lacking.empty()) return;
  outcome.unfinished = fmt::format("{}: {} goes to {}, the truth to {}", lacking, outcome.where,
                                   number_or_none(audit.last), number_or_none(audit.truth_last));
}

std::string coverage_sentence(const Outcome& outcome) {
  const Audit& audit = outcome.audit;
  const bool of_a_file = outcome.origin == Origin::pcap || outcome.origin == Origin::recording;
  const bool is_news = of_a_file && audit.to == 0 && outcome.unfinished.empty() && audit.restart.empty();
  if (!is_news || audit.counts.messages == 0 || audit.truth_last <= last_settled(audit)) return "";
  return fmt::format("judged #{} to #{}; the truth goes to #{}", std::max<std::uint64_t>(audit.from, 1), audit.last,
                     audit.truth_last);
}

}  // namespace vorbelctl
