#include "vorbelctl/page/page.h"

#include <algorithm>

#include "vorbelctl/handler/wording.h"
#include "vorbelctl/page/charts.h"
#include "vorbelctl/page/style.h"
#include "vorbelctl/page/text.h"

namespace vorbelctl {
namespace {

using page::escaped;

constexpr std::size_t rows_at_once = 30;

std::string figure(const std::string& key, const std::string& label, std::uint64_t number, const std::string& meaning) {
  return "<div" + (meaning.empty() || number == 0 ? "" : " class=\"" + meaning + "\"") + "><dt>" + label +
         "</dt><dd data-key=\"" + key + "\">" + grouped(number) + "</dd></div>";
}

std::string heading(const AuditReport& report) {
  const std::string_view word = verdict_word(report);
  if (word == "equal") return "Equal";
  return word == "lost" ? "Messages lost" : "Different";
}

std::string source_sentence(const AuditReport& report) {
  switch (report.source) {
    case AuditSource::feed:
      return "the feed " + report.where;
    case AuditSource::offline:
      return "everything fetched from " + report.where;
    case AuditSource::pcap:
      return "the capture file " + report.where;
    case AuditSource::capture:
      return "a handler's account in " + report.where;
  }
  return "";
}

std::string verdict_part(const AuditReport& report) {
  const Audit& audit = report.audit;
  const std::string word(verdict_word(report));
  std::string html = "<header class=\"" + (word == "lost" ? "lost-messages" : word) + "\"><h1 data-key=\"verdict\">" +
                     heading(report) + "</h1><p class=\"sentence\">" + escaped(verdict_sentence(report)) + ".</p>";
  html += "<p class=\"context\">Session " + escaped(report.session) + ", " + escaped(source_sentence(report));
  if (audit.history.begin_ms != 0) {
    html += ", <span class=\"nowrap\">" + page::date_and_time(audit.history.begin_ms) + "</span> to " +
            page::time_of_day(audit.history.end_ms) + " feed local time (US Eastern)";
  }
  return html + ".</p></header>";
}

std::string figures_part(const AuditReport& report) {
  const Audit& audit = report.audit;
  const AuditCounts& counts = audit.counts;
  std::string html = "<dl class=\"figures\">" + figure("messages", "messages", counts.messages, "");
  if (audit.on_the_wire) {
    html += figure("lost", "lost on the wire", lost_on_wire(report), "lost");
    html += figure("recovered", "recovered", counts.recovered, "good");
  }
  html += figure("missing", "missing", missing_in_all(report), "lost");
  if (audit.on_the_wire) {
    html += figure("duplicates", "duplicates", report.totals.duplicates, "duplicate");
    html += figure("out_of_order", "out of order", counts.out_of_order, "disorder");
  }
  if (counts.fetched != 0) html += figure("fetched", "fetched", counts.fetched, "");
  html += figure("differences", "differences", audit.judge.findings.total, "lost");
  html += figure("trades", "trades", counts.trades, "");
  html += figure("cancels", "cancels", counts.cancels, "");
  html += figure("corrections", "corrections", counts.corrections, "");
  html += figure("halts", "halt messages", counts.halts, "");
  html += figure("bonds", "bonds", audit.judge.bonds.size(), "");
  return html + "</dl>";
}

// A table whose rows beyond the first ones are folded away.
std::string table(const std::string& head, const std::vector<std::string>& rows) {
  const auto block = [&](std::size_t begin, std::size_t end) {
    std::string html = "<div class=\"table\"><table><thead><tr>" + head + "</tr></thead><tbody>";
    for (std::size_t i = begin; i < end; ++i) html += "<tr>" + rows[i] + "</tr>";
    return html + "</tbody></table></div>";
  };
  const std::size_t shown = std::min(rows.size(), rows_at_once);
  std::string html = block(0, shown);
  if (shown == rows.size()) return html;
  return html + "<details><summary>" + grouped(rows.size() - shown) + " more</summary>" + block(shown, rows.size()) +
         "</details>";
}

std::string side_cell(Witness witness, const std::string& value) {
  return "<td class=\"value\"><small>" + std::string(witness_name(witness)) + "</small>" + escaped(value) + "</td>";
}

std::string differences_part(const AuditReport& report) {
  const Findings& findings = report.audit.judge.findings;
  if (findings.total == 0) return "";
  std::vector<std::string> rows;
  for (const Difference& difference : findings.listed) {
    rows.push_back("<td class=\"tight\">#" + std::to_string(difference.sequence) + "</td><td class=\"value\">" +
                   escaped(difference.field) + "</td>" + side_cell(difference.expecting, difference.expected) +
                   side_cell(difference.showing, difference.found));
  }
  std::string html = "<section id=\"differences\"><h2>Differences</h2><p class=\"note\">Both sides of each";
  if (findings.total > findings.listed.size()) {
    html += "; the first " + grouped(findings.listed.size()) + " of " + grouped(findings.total);
  }
  return html + ".</p><div class=\"card\">" +
         table("<th class=\"tight\">message</th><th>field</th><th>expected</th><th>found</th>", rows) +
         "</div></section>";
}

std::string timeline_part(const AuditReport& report) {
  return "<section id=\"timeline\"><h2>Timeline</h2><p class=\"note\">By the time at which messages were sent, feed "
         "local "
         "time. A lane below is coloured where something of its kind happened.</p><div class=\"card\">" +
         page::timeline(report.audit.history, report.audit.on_the_wire) + "</div></section>";
}

std::string price_text(const std::optional<Sale>& sale) {
  return sale ? page::fixed(sale->price, 3) : "none";
}

std::string bond_card(const AuditReport& report, const BondHistory& bond) {
  const auto& bonds = report.audit.judge.bonds;
  const auto state = bonds.find(bond.cusip);
  const Book book = state == bonds.end() ? Book() : state->second.book;
  std::string html = "<article class=\"card\" data-cusip=\"" + escaped(bond.cusip) + "\"><header><h3>" +
                     escaped(bond.symbol.empty() ? bond.cusip : bond.symbol) + "</h3><span class=\"quiet\">" +
                     escaped(bond.cusip) + (book.halted ? " · halted" : "") + "</span></header>";
  html += "<p>last <span data-key=\"last\">" + price_text(book.last) + "</span>, high <span data-key=\"high\">" +
          price_text(book.high) + "</span>, low <span data-key=\"low\">" + price_text(book.low) +
          "</span><br><span data-key=\"prints\">" + grouped(book.prints.size()) + "</span> prints, " +
          grouped(bond.cancels) + " cancelled, " + grouped(bond.corrections) + " corrected</p>";
  return html + page::price_chart(report.audit.history, bond) + "</article>";
}

std::string legend() {
  return "<p class=\"legend\"><span><svg><path class=\"last\" d=\"M0 6H20\"/></svg>last sale</span>"
         "<span><svg><rect class=\"range\" width=\"20\" height=\"12\"/></svg>range of last sales</span>"
         "<span><svg><use href=\"#cancel\" class=\"cancel\" x=\"10\" y=\"6\"/></svg>cancelled price</span>"
         "<span><svg><use href=\"#correction\" class=\"correction\" x=\"10\" y=\"6\"/></svg>corrected price</span>"
         "<span><svg><rect class=\"halted\" width=\"20\" height=\"12\"/></svg>halted</span></p>";
}

std::string bonds_part(const AuditReport& report) {
  std::vector<const BondHistory*> drawn;
  for (const BondHistory& bond : report.audit.history.bonds) {
    if (bond.prints + bond.cancels + bond.corrections != 0) drawn.push_back(&bond);
  }
  if (drawn.empty()) return "";
  std::stable_sort(drawn.begin(), drawn.end(), [](const auto* a, const auto* b) { return a->prints > b->prints; });
  std::string html =
      "<section id=\"bonds\"><h2>Prices</h2>" + page::chart_symbols() + legend() + "<div class=\"bonds\">";
  for (const BondHistory* const bond : drawn) html += bond_card(report, *bond);
  html += "</div>";
  const std::size_t others = report.audit.judge.bonds.size() - std::min(report.audit.judge.bonds.size(), drawn.size());
  if (others != 0) html += "<p class=\"note\">" + grouped(others) + " more not drawn.</p>";
  return html + "</section>";
}

std::string meaning_of(FaultKind kind) {
  switch (kind) {
    case FaultKind::lost:
    case FaultKind::tail:
      return "lost";
    case FaultKind::out_of_order:
      return "disorder";
    case FaultKind::duplicate:
      return "duplicate";
    case FaultKind::malformed_packet:
    case FaultKind::foreign_session:
    case FaultKind::behind:
      return "other";
  }
  return "";
}

std::string outcome(const Fault& fault) {
  std::string text;
  const auto add = [&](std::uint64_t number, const char* what) {
    if (number == 0) return;
    text += (text.empty() ? "" : ", ") + (fault.first == fault.last ? "" : grouped(number) + " ") + what;
  };
  add(fault.recovered, "recovered");
  add(fault.late, "came late");
  add(fault.missing, "missing");
  return text;
}

std::string fault_row(const Fault& fault) {
  const bool is_gap = fault.recovered + fault.late + fault.missing != 0;
  std::string numbers;
  if (fault.first != 0) numbers = "#" + std::to_string(fault.first);
  if (fault.last != fault.first) numbers += " to #" + std::to_string(fault.last);
  return "<td class=\"when\">" + page::time_of_day(fault.at_ms) + "</td><td class=\"kind " + meaning_of(fault.kind) +
         "\"><span>" + std::string(fault_name(fault.kind)) + "</span></td><td>" + numbers +
         "</td><td class=\"number\">" + (is_gap ? page::duration(fault.open_ms) : "") + "</td><td>" + outcome(fault) +
         "</td>";
}

std::string faults_part(const AuditReport& report) {
  const History& history = report.audit.history;
  if (!report.audit.on_the_wire) return "";
  std::string html = "<section id=\"faults\"><h2>Faults on the wire</h2>";
  if (history.faults.empty()) return html + "<p class=\"note\">None.</p></section>";
  std::vector<Fault> faults = history.faults;
  std::stable_sort(faults.begin(), faults.end(), [](const Fault& a, const Fault& b) { return a.at_ms < b.at_ms; });
  std::vector<std::string> rows(faults.size());
  std::transform(faults.begin(), faults.end(), rows.begin(), fault_row);
  html += "<p class=\"note\"><span data-key=\"faults\">" + grouped(history.faults_total) + "</span> in all";
  if (history.faults_total > rows.size()) html += ", of which the first " + grouped(rows.size());
  html += "; the longest gap stayed open for " + page::duration(history.longest_open_ms) + ".</p>";
  return html + "<div class=\"card\">" +
         table(
             "<th class=\"when\">when</th><th>what</th><th>messages</th><th class=\"number\">open for</th>"
             "<th>how it ended</th>",
             rows) +
         "</div></section>";
}

std::string footer(const AuditReport& report) {
  std::string html = "<footer>Messages #" + std::to_string(std::max<std::uint64_t>(report.audit.from, 1)) + " to #" +
                     std::to_string(report.audit.last) + ", compared with " + escaped(report.truth);
  if (!report.tape.empty()) html += " and " + escaped(report.tape);
  return html + ". The audit took " + page::duration(report.lasted_ms) + " and ended by " + escaped(report.ended_by) +
         ".</footer>";
}

}  // namespace

std::string report_page(const AuditReport& report) {
  std::string html =
      "<!doctype html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'; img-src "
      "data:\">"
      "<link rel=\"icon\" href=\"data:,\"><title>" +
      heading(report) + ": audit of " + escaped(report.session) + "</title><style>";
  html += page::style_sheet();
  html += "</style></head><body><main>";
  html += verdict_part(report) + figures_part(report) + differences_part(report) + timeline_part(report) +
          bonds_part(report) + faults_part(report) + footer(report);
  return html + "</main></body></html>\n";
}

}  // namespace vorbelctl
