#include "vorbelctl/audit/outcome.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>

#include "vorbelctl/audit/coverage.h"
#include "vorbelctl/audit/names.h"
#include "vorbelctl/handler/follow.h"
#include "vorbelctl/wording/wording.h"

namespace vorbelctl {
namespace {

constexpr std::size_t most_discrepancies_shown = 20;
constexpr std::size_t most_names_shown = 20;

std::string row(std::string_view name, std::uint64_t figure, const std::string& remark = "") {
  return fmt::format("  {:<18}{:>12}{}{}\n", name, grouped(figure), remark.empty() ? "" : "   ", remark);
}

std::string kinds_text(const AuditCounts& counts) {
  std::string text;
  for (const vorbeld::KindRow& kind : vorbeld::message_kinds) {
    const std::uint64_t count = count_of(counts, kind.kind);
    const bool is_summary = kind.kind == Kind::summary && count != 1;
    text += fmt::format("{}{}", text.empty() ? "" : ", ",
                        is_summary ? grouped(count) + " summaries" : counted(count, std::string(kind.name)));
  }
  return text;
}

std::string wire_rows(const Outcome& outcome) {
  const AuditCounts& counts = outcome.audit.counts;
  const ReceiverTotals& totals = outcome.totals;
  std::string text;
  if (outcome.audit.on_the_wire) {
    const std::string became = fmt::format("{} recovered, {} missing; longest gap {} ms", grouped(counts.recovered),
                                           grouped(counts.missing), grouped(outcome.audit.history.longest_open_ms));
    if (totals.dropped_here == 0) {
      text += row("lost on the wire", lost_on_wire(outcome), became);
    } else {
      text += row("lost here or there", lost_on_wire(outcome), became);
      text += row("dropped here", totals.dropped_here, "packets, for lack of room");
    }
    text += row("duplicates", totals.duplicates);
    if (totals.altered != 0) text += row("altered", totals.altered, "came again with other contents");
    text += row("out of order", counts.out_of_order);
    text += row("heartbeats", totals.heartbeats);
  }
  if (outcome.origin == Origin::recording) text += row("missing", counts.missing);
  if (counts.fetched + counts.unfetchable != 0) {
    text += row("fetched", counts.fetched,
                fmt::format("{}{} did not come", outcome.audit.on_the_wire ? "sent before the feed was joined; " : "",
                            grouped(counts.unfetchable)));
  }
  if (totals.malformed != 0) text += row("malformed packets", totals.malformed);
  if (totals.foreign != 0) text += row("foreign packets", totals.foreign, "of other sessions, ignored");
  return text;
}

std::string missing_lines(const Outcome& outcome) {
  return outcome.audit.missing.empty() ? "" : "\n" + missing_text(outcome.audit.missing) + "\n";
}

std::string side(Source source, const std::string& value) {
  return fmt::format("{} {}", source_name(source), value);
}

// Where there are more than can be shown, no field keeps the others from sight.
void leave_to_others(std::vector<const Discrepancy*>& list) {
  constexpr std::uint64_t most_of_a_field = 5;
  std::map<std::string_view, std::uint64_t> counts;
  for (const Discrepancy* const each : list) counts[each->field] = 0;
  if (list.size() > most_discrepancies_shown && counts.size() > 1) {
    std::erase_if(list, [&](const Discrepancy* each) { return ++counts[each->field] > most_of_a_field; });
  }
  list.resize(std::min(list.size(), most_discrepancies_shown));
}

std::string discrepancy_lines(const Discrepancies& discrepancies) {
  std::vector<const Discrepancy*> shown = in_order(discrepancies);
  if (shown.empty()) return "";
  leave_to_others(shown);
  std::size_t field_width = 0;
  std::size_t side_width = 0;
  for (const Discrepancy* const each : shown) {
    field_width = std::max(field_width, each->field.size());
    side_width = std::max(side_width, side(each->source, each->expected).size());
  }
  std::string text = "\n";
  for (const Discrepancy* const each : shown) {
    text += fmt::format("#{:<8}{:<{}}{:<{}}{}", each->sequence, each->field, field_width + 2,
                        side(each->source, each->expected), side_width + 2, side(each->place, each->received));
    if (each->follow_ups != 0) text += fmt::format("  ({} more follow from it)", grouped(each->follow_ups));
    text += "\n";
  }
  const std::uint64_t left = discrepancies.total - shown.size();
  return left == 0 ? text : text + fmt::format("... and {} more\n", grouped(left));
}

// What was compared is part of the verdict.
std::string compared_row(const Reconciliation& all) {
  std::string remark = "fields of messages; " + counted(all.days, "state") + " of a bond's day";
  if (all.books != 0) remark += fmt::format(", {} of them in books of the handler", grouped(all.books));
  return row("compared", all.fields, remark);
}

std::string uncompared_lines(const Reconciliation& all) {
  std::string text = all.uncompared.empty() ? "" : "\n";
  for (std::size_t i = 0; i < std::min(all.uncompared.size(), most_names_shown); ++i) {
    text += uncompared_text(all.uncompared[i]) + "\n";
  }
  if (all.uncompared.size() <= most_names_shown) return text;
  return text + fmt::format("... and {} more names not compared\n", all.uncompared.size() - most_names_shown);
}

// How often a situation was met, and with which number first.
std::string met_figures(const Outcome& outcome, const SituationRow& each) {
  if (!is_knowable(each, outcome.audit.on_the_wire)) return fmt::format("{:>22}", "not knowable here");
  const Met& met = met_of(outcome.audit.reconciliation.situations, each.situation);
  return fmt::format("{:>10}{:>12}", grouped(met.count), met.count == 0 ? "" : fmt::format("#{}", met.first));
}

std::string situation_lines(const Outcome& outcome) {
  std::string text = fmt::format("\nsituations met: {}\n", met_text(outcome));
  if (!outcome.lists_situations) return text;
  text += "\n";
  for (const SituationRow& each : all_situations()) {
    text += fmt::format("  {:<26}{}   {}\n", each.name, met_figures(outcome, each), each.says);
  }
  return text;
}

// "not met: gap-tail, idle"; empty: all that were required were.
std::string unmet_text(const Outcome& outcome) {
  std::string text;
  for (const Situation each : unmet_situations(outcome)) {
    text += fmt::format("{}{}", text.empty() ? "not met: " : ", ", situation_row(each).name);
  }
  return text;
}

}  // namespace

std::vector<Situation> unmet_situations(const Outcome& outcome) {
  std::vector<Situation> unmet;
  const Situations& situations = outcome.audit.reconciliation.situations;
  std::copy_if(outcome.required.begin(), outcome.required.end(), std::back_inserter(unmet),
               [&](Situation each) { return met_of(situations, each).count == 0; });
  return unmet;
}

std::string met_text(const Outcome& outcome) {
  const MetCount count = count_met(outcome.audit.reconciliation.situations, outcome.audit.on_the_wire);
  std::string text = fmt::format("{} of {}", count.met, count.known);
  if (count.known != situation_count) text += fmt::format("; {} are not knowable here", situation_count - count.known);
  return text;
}

bool is_equal(const Outcome& outcome) {
  return outcome.audit.reconciliation.discrepancies.total == 0 && missing_in_all(outcome) == 0;
}

bool compared_nothing(const Outcome& outcome) {
  const Reconciliation& all = outcome.audit.reconciliation;
  return outcome.origin == Origin::recording && all.fields == 0 && all.book_values == 0;
}

std::string only_numbers_text(const Outcome& outcome) {
  const std::vector<std::string>& names = outcome.audit.reconciliation.uncompared;
  std::string text = fmt::format(
      "there are sequence numbers in {} and nothing else that can be compared, so there is no verdict", outcome.where);
  for (std::size_t i = 0; i < std::min(names.size(), most_names_shown); ++i) text += "; " + uncompared_text(names[i]);
  return text;
}

std::uint64_t missing_in_all(const Outcome& outcome) {
  return outcome.audit.counts.missing + outcome.audit.counts.unfetchable;
}

std::uint64_t lost_on_wire(const Outcome& outcome) {
  return outcome.audit.counts.recovered + outcome.audit.counts.missing;
}

bool could_not_keep_up(const Outcome& outcome) {
  return outcome.totals.dropped_here != 0 && lost_on_wire(outcome) != 0 &&
         outcome.audit.reconciliation.discrepancies.total == 0;
}

std::string likely_text(const Outcome& outcome) {
  const Audit& audit = outcome.audit;
  if (!audit.likely.empty()) return audit.likely;
  return likely_reason(audit.reconciliation.discrepancies.fields, audit.counts.messages);
}

std::optional<Discrepancy> first_wrong(const Outcome& outcome) {
  std::optional<Discrepancy> first = outcome.audit.reconciliation.discrepancies.first;
  const auto& missing = outcome.audit.missing;
  if (!missing.empty() && (!first || missing.front().first < first->sequence)) {
    first = {missing.front().first,
             "seq",
             Source::order,
             std::to_string(missing.front().first),
             outcome.origin == Origin::recording ? Source::recording : Source::message,
             "missing"};
  }
  return first;
}

std::vector<const Discrepancy*> in_order(const Discrepancies& discrepancies) {
  std::vector<const Discrepancy*> list;
  list.reserve(discrepancies.listed.size());
  for (const Discrepancy& each : discrepancies.listed) list.push_back(&each);
  if (discrepancies.first && !discrepancies.first_is_listed) list.push_back(&*discrepancies.first);
  std::stable_sort(list.begin(), list.end(), [](const auto* a, const auto* b) { return a->sequence < b->sequence; });
  return list;
}

std::string_view verdict_word(const Outcome& outcome) {
  if (!outcome.audit.restart.empty()) return "began again";
  if (could_not_keep_up(outcome)) return "could not keep up";
  if (is_equal(outcome) && !outcome.unfinished.empty()) return "unfinished";
  if (outcome.audit.reconciliation.discrepancies.total != 0) return "different";
  if (missing_in_all(outcome) != 0) return "lost";
  return unmet_situations(outcome).empty() ? "equal" : "unmet";
}

namespace {

// The sentence on the messages alone.
std::string reconciled_sentence(const Outcome& outcome) {
  const std::string messages = counted(outcome.audit.counts.messages, "message");
  const std::uint64_t missing = missing_in_all(outcome);
  const Discrepancies& discrepancies = outcome.audit.reconciliation.discrepancies;
  if (is_equal(outcome)) {
    return fmt::format("{} equal to their truth records{}", messages, outcome.tape.empty() ? "" : " and the tape");
  }
  const Discrepancy first = *first_wrong(outcome);
  if (discrepancies.total == 0)
    return fmt::format("{} missing, the first #{}", counted(missing, "message"), first.sequence);
  const std::string found =
      discrepancies.total == 1 ? "1 discrepancy" : grouped(discrepancies.total) + " discrepancies";
  return fmt::format("{} in {}{}; first wrong: #{} {}", found, messages,
                     missing == 0 ? "" : ", " + counted(missing, "message") + " missing", first.sequence, first.field);
}

}  // namespace

std::string verdict_sentence(const Outcome& outcome) {
  std::string sentence;
  const std::uint64_t dropped = outcome.totals.dropped_here;
  const std::string own_loss = dropped == 0 ? "" : own_loss_text(dropped, outcome.feed_buffer);
  for (const std::string& before : {outcome.audit.restart, outcome.audit.second_sender, own_loss, outcome.unfinished,
                                    unmet_text(outcome), likely_text(outcome)}) {
    if (!before.empty()) sentence += before + "; ";
  }
  sentence += reconciled_sentence(outcome);
  const std::string coverage = coverage_sentence(outcome);
  return coverage.empty() ? sentence : sentence + "; " + coverage;
}

std::string_view origin_name(Origin origin) {
  switch (origin) {
    case Origin::feed:
      return "feed";
    case Origin::retransmission:
      return "retransmission";
    case Origin::pcap:
      return "pcap";
    case Origin::recording:
      return "recording";
  }
  return "";
}

std::string verdict_text(const Outcome& outcome) {
  const Audit& audit = outcome.audit;
  const Discrepancies& discrepancies = audit.reconciliation.discrepancies;
  const std::string numbers =
      audit.last == 0 ? "" : fmt::format("#{} to #{}", std::max<std::uint64_t>(audit.from, 1), audit.last);
  std::string text = fmt::format("{}: {}\n\n", verdict_word(outcome), verdict_sentence(outcome));
  text += row("messages", audit.counts.messages, numbers);
  text += fmt::format("{:35}{}\n", "", kinds_text(audit.counts));
  if (audit.counts.malformed != 0) text += row("malformed messages", audit.counts.malformed);
  text += wire_rows(outcome);
  text += compared_row(audit.reconciliation);
  text += row(
      "discrepancies", discrepancies.total,
      discrepancies.follow_ups == 0 ? "" : fmt::format("{} more follow from them", grouped(discrepancies.follow_ups)));
  return text + situation_lines(outcome) + missing_lines(outcome) + discrepancy_lines(discrepancies) +
         uncompared_lines(audit.reconciliation);
}

}  // namespace vorbelctl
