#include "vorbelctl/audit/report.h"

#include <algorithm>

#include "vorbelctl/handler/wording.h"

namespace vorbelctl {
namespace {

constexpr std::size_t most_differences_shown = 20;
constexpr std::size_t name_width = 18;
constexpr std::size_t figure_width = 12;

std::string row(const std::string& name, std::uint64_t figure, const std::string& remark) {
  return "  " + padded(name, name_width) + padded_left(grouped(figure), figure_width) +
         (remark.empty() ? "" : "   " + remark) + "\n";
}

std::string kinds_text(const AuditReport& report) {
  const AuditCounts& counts = report.audit.counts;
  return counted(counts.trades, "trade") + ", " + counted(counts.cancels, "cancel") + ", " +
         counted(counts.corrections, "correction") + ", " + counted(counts.halts, "halt") + ", " +
         (counts.summaries == 1 ? "1 summary" : grouped(counts.summaries) + " summaries") + ", " +
         counted(counts.controls, "control");
}

std::string wire_rows(const AuditReport& report) {
  const AuditCounts& counts = report.audit.counts;
  const ReceiverTotals& totals = report.totals;
  std::string text;
  if (report.audit.on_the_wire) {
    text += row("lost on the wire", lost_on_wire(report),
                grouped(counts.recovered) + " recovered, " + grouped(counts.missing) + " missing; longest gap " +
                    grouped(report.audit.history.longest_open_ms) + " ms");
    text += row("duplicates", totals.duplicates, "");
    text += row("out of order", counts.out_of_order, "");
    text += row("heartbeats", totals.heartbeats, "");
  }
  if (counts.fetched + counts.unfetchable != 0) {
    text += row("fetched", counts.fetched,
                (report.audit.on_the_wire ? "sent before the feed was joined; " : "") + grouped(counts.unfetchable) +
                    " did not come");
  }
  if (totals.malformed != 0) text += row("malformed packets", totals.malformed, "");
  if (totals.foreign != 0) text += row("foreign packets", totals.foreign, "of other sessions, ignored");
  return text;
}

std::string missing_lines(const AuditReport& report) {
  return report.audit.missing.empty() ? "" : "\n" + missing_text(report.audit.missing) + "\n";
}

std::string difference_lines(const AuditReport& report) {
  const Findings& findings = report.audit.judge.findings;
  const std::size_t count = std::min(findings.listed.size(), most_differences_shown);
  if (count == 0) return "";
  std::size_t field_width = 0;
  std::size_t side_width = 0;
  const auto side = [](Witness witness, const std::string& value) {
    return std::string(witness_name(witness)) + " " + value;
  };
  for (std::size_t i = 0; i < count; ++i) {
    field_width = std::max(field_width, findings.listed[i].field.size());
    side_width = std::max(side_width, side(findings.listed[i].expecting, findings.listed[i].expected).size());
  }
  std::string text = "\n";
  for (std::size_t i = 0; i < count; ++i) {
    const Difference& difference = findings.listed[i];
    text += padded("#" + std::to_string(difference.sequence), 9) + padded(difference.field, field_width + 2) +
            padded(side(difference.expecting, difference.expected), side_width + 2) +
            side(difference.showing, difference.found) + "\n";
  }
  if (findings.total > count) text += "... and " + grouped(findings.total - count) + " more\n";
  return text;
}

}  // namespace

bool is_equal(const AuditReport& report) {
  return report.audit.judge.findings.total == 0 && missing_in_all(report) == 0;
}

std::uint64_t missing_in_all(const AuditReport& report) {
  return report.audit.counts.missing + report.audit.counts.unfetchable;
}

std::uint64_t lost_on_wire(const AuditReport& report) {
  return report.audit.counts.recovered + report.audit.counts.missing;
}

std::optional<Difference> first_wrong(const AuditReport& report) {
  std::optional<Difference> first = report.audit.judge.findings.first;
  const auto& missing = report.audit.missing;
  if (!missing.empty() && (!first || missing.front().first < first->sequence)) {
    first = {missing.front().first, "seq",    Witness::order, std::to_string(missing.front().first),
             Witness::message,      "missing"};
  }
  return first;
}

std::string_view verdict_word(const AuditReport& report) {
  if (report.audit.judge.findings.total != 0) return "different";
  return missing_in_all(report) != 0 ? "lost" : "equal";
}

std::string verdict_sentence(const AuditReport& report) {
  const std::string messages = counted(report.audit.counts.messages, "message");
  const std::string files = report.tape.empty() ? "truth records" : "truth records and the tape";
  const std::uint64_t differences = report.audit.judge.findings.total;
  const std::uint64_t missing = missing_in_all(report);
  if (is_equal(report)) return messages + " equal to their " + files;
  if (differences == 0)
    return counted(missing, "message") + " missing, the first #" + std::to_string(first_wrong(report)->sequence);
  return counted(differences, "difference") + " in " + messages +
         (missing == 0 ? "" : ", " + counted(missing, "message") + " missing") + "; first wrong: #" +
         std::to_string(first_wrong(report)->sequence) + " " + first_wrong(report)->field;
}

std::string_view source_name(AuditSource source) {
  switch (source) {
    case AuditSource::feed:
      return "feed";
    case AuditSource::offline:
      return "retransmission";
    case AuditSource::pcap:
      return "pcap";
    case AuditSource::capture:
      return "capture";
  }
  return "";
}

std::string verdict_text(const AuditReport& report) {
  const Audit& audit = report.audit;
  const std::string numbers = audit.last == 0 ? ""
                                              : "#" + std::to_string(std::max<std::uint64_t>(audit.from, 1)) + " to #" +
                                                    std::to_string(audit.last);
  std::string text = std::string(verdict_word(report)) + ": " + verdict_sentence(report) + "\n\n";
  text += row("messages", audit.counts.messages, numbers);
  text += "  " + std::string(name_width + figure_width + 3, ' ') + kinds_text(report) + "\n";
  if (audit.counts.malformed != 0) text += row("malformed messages", audit.counts.malformed, "");
  text += wire_rows(report);
  text += row("differences", audit.judge.findings.total, "");
  return text + missing_lines(report) + difference_lines(report);
}

}  // namespace vorbelctl
