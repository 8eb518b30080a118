#include "vorbelctl/page/page.h"

#include <algorithm>

#include "vorbelctl/page/charts.h"
#include "vorbelctl/page/style.h"
#include "vorbelctl/page/text.h"
#include "vorbelctl/wording/wording.h"

namespace vorbelctl {
namespace {

using page::escaped;

constexpr std::size_t many_rows = 30;
constexpr std::size_t few_rows = 10;  // of a table that stands before the figures

std::string figure(const std::string& key, const std::string& label, std::uint64_t number, const std::string& meaning) {
  return "<div" + (meaning.empty() || number == 0 ? "" : " class=\"" + meaning + "\"") + "><dt>" + label +
         "</dt><dd data-key=\"" + key + "\">" + grouped(number) + "</dd></div>";
}

std::string heading(const Outcome& outcome) {
  const std::string_view word = verdict_word(outcome);
  if (word == "equal") return "Equal";
  if (word == "unfinished") return "Unfinished";
  if (word == "began again") return "The feed began again";
  if (word == "unmet") return "Equal, but not put to the test";
  if (word == "could not keep up") return "Could not keep up";
  return word == "lost" ? "Messages lost" : "Different";
}

std::string origin_sentence(const Outcome& outcome) {
  switch (outcome.origin) {
    case Origin::feed:
      return "the feed " + outcome.where;
    case Origin::retransmission:
      return "everything fetched from " + outcome.where;
    case Origin::pcap:
      return "the capture file " + outcome.where;
    case Origin::recording:
      return "a handler's account in " + outcome.where;
  }
  return "";
}

std::string verdict_part(const Outcome& outcome) {
  const Audit& audit = outcome.audit;
  const std::string_view word = verdict_word(outcome);
  const bool lacks = word == "lost" || word == "unfinished" || word == "unmet" || word == "could not keep up";
  const std::string look = word == "equal" ? "equal" : lacks ? "lost-messages" : "different";
  std::string html = "<header class=\"" + look + "\"><h1 data-key=\"verdict\">" + heading(outcome) +
                     "</h1><p class=\"sentence\">" + escaped(verdict_sentence(outcome)) + ".</p>";
  html += "<p class=\"context\">Session " + escaped(outcome.session) + ", " + escaped(origin_sentence(outcome));
  if (audit.history.begin_ms != 0) {
    html += ", <span class=\"nowrap\">" + page::date_and_time(audit.history.begin_ms) + "</span> to " +
            page::time_of_day(audit.history.end_ms) + " feed local time (US Eastern)";
  }
  html += ".</p>";
  for (const std::string& note : audit.notes) html += "<p class=\"context\">Note: " + escaped(note) + ".</p>";
  return html + "</header>";
}

std::string figures_part(const Outcome& outcome) {
  const Audit& audit = outcome.audit;
  const AuditCounts& counts = audit.counts;
  std::string html = "<dl class=\"figures\">" + figure("messages", "messages", counts.messages, "");
  if (audit.on_the_wire) {
    html += figure("lost", outcome.totals.dropped_here == 0 ? "lost on the wire" : "lost here or there",
                   lost_on_wire(outcome), "lost");
    html += figure("recovered", "recovered", counts.recovered, "good");
  }
  html += figure("missing", "missing", missing_in_all(outcome), "lost");
  if (audit.on_the_wire) {
    html += figure("duplicates", "duplicates", outcome.totals.duplicates, "duplicate");
    html += figure("out_of_order", "out of order", counts.out_of_order, "disorder");
  }
  if (counts.fetched != 0) html += figure("fetched", "fetched", counts.fetched, "");
  html += figure("discrepancies", "discrepancies", audit.reconciliation.discrepancies.total, "lost");
  html += figure("trades", "trades", count_of(counts, Kind::trade), "");
  html += figure("cancels", "cancels", count_of(counts, Kind::cancel), "");
  html += figure("corrections", "corrections", count_of(counts, Kind::correction), "");
  html += figure("halts", "halt messages", count_of(counts, Kind::halt), "");
  html += figure("bonds", "bonds", audit.reconciliation.bonds.size(), "");
  return html + "</dl>";
}

// A table whose rows beyond the first ones are folded away.
std::string table(const std::string& head, const std::vector<std::string>& rows, std::size_t rows_at_once) {
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

std::string side_cell(Source source, const std::string& value) {
  return "<td class=\"value\"><small>" + std::string(source_name(source)) + "</small>" + escaped(value) + "</td>";
}

std::string discrepancies_part(const Outcome& outcome) {
  const Discrepancies& discrepancies = outcome.audit.reconciliation.discrepancies;
  if (discrepancies.total == 0) return "";
  std::vector<std::string> rows;
  for (const Discrepancy* const each : in_order(discrepancies)) {
    rows.push_back("<td class=\"tight\">#" + std::to_string(each->sequence) + "</td><td class=\"value\">" +
                   escaped(each->field) + "</td>" + side_cell(each->source, each->expected) +
                   side_cell(each->place, each->received));
  }
  std::string html = "<section id=\"discrepancies\"><h2>Discrepancies</h2><p class=\"note\">Both sides of each";
  if (discrepancies.total > discrepancies.listed.size()) {
    html += "; the first " + grouped(discrepancies.listed.size()) + " of " + grouped(discrepancies.total);
  }
  return html + ".</p><div class=\"card\">" +
         table("<th class=\"tight\">message</th><th>field</th><th>expected</th><th>found</th>", rows, many_rows) +
         "</div></section>";
}

std::string timeline_part(const Outcome& outcome) {
  return "<section id=\"timeline\"><h2>Timeline</h2><p class=\"note\">By the time at which messages were sent, feed "
         "local "
         "time. A lane below is coloured where something of its kind happened; a mark is a halt, a resume, a control "
         "message or what the control port wrote as one.</p><div class=\"card\">" +
         page::timeline(outcome.audit.history, outcome.audit.on_the_wire) + "</div></section>";
}

std::string price_text(const std::optional<Sale>& sale) {
  return sale ? page::fixed(sale->price, 3) : "none";
}

std::string bond_card(const Outcome& outcome, const BondHistory& bond) {
  const auto& bonds = outcome.audit.reconciliation.bonds;
  const auto state = bonds.find(bond.cusip);
  const Book book = state == bonds.end() ? Book() : state->second.book;
  std::string html = "<article class=\"card\" data-cusip=\"" + escaped(bond.cusip) + "\"><header><h3>" +
                     escaped(bond.symbol.empty() ? bond.cusip : bond.symbol) + "</h3><span class=\"quiet\">" +
                     escaped(bond.cusip) + (book.halted ? " · halted" : "") + "</span></header>";
  html += "<p>last <span data-key=\"last\">" + price_text(book.day.last) + "</span>, high <span data-key=\"high\">" +
          price_text(book.day.high) + "</span>, low <span data-key=\"low\">" + price_text(book.day.low) +
          "</span><br><span data-key=\"prints\">" + grouped(book.prints.live) + "</span> prints, " +
          grouped(bond.cancels) + " cancelled, " + grouped(bond.corrections) + " corrected</p>";
  return html + page::price_chart(outcome.audit.history, bond) + "</article>";
}

std::string legend() {
  return "<p class=\"legend\"><span><svg><path class=\"last\" d=\"M0 6H20\"/></svg>last sale</span>"
         "<span><svg><rect class=\"range\" width=\"20\" height=\"12\"/></svg>range of last sales</span>"
         "<span><svg><use href=\"#cancel\" class=\"cancel\" x=\"10\" y=\"6\"/></svg>cancelled price</span>"
         "<span><svg><use href=\"#correction\" class=\"correction\" x=\"10\" y=\"6\"/></svg>corrected price</span>"
         "<span><svg><rect class=\"halted\" width=\"20\" height=\"12\"/></svg>halted</span></p>";
}

std::string bonds_part(const Outcome& outcome) {
  std::vector<const BondHistory*> drawn;
  for (const BondHistory& bond : outcome.audit.history.bonds) {
    if (bond.prints + bond.cancels + bond.corrections != 0) drawn.push_back(&bond);
  }
  if (drawn.empty()) return "";
  std::stable_sort(drawn.begin(), drawn.end(), [](const auto* a, const auto* b) { return a->prints > b->prints; });
  std::string html =
      "<section id=\"bonds\"><h2>Prices</h2>" + page::chart_symbols() + legend() + "<div class=\"bonds\">";
  for (const BondHistory* const bond : drawn) html += bond_card(outcome, *bond);
  html += "</div>";
  const std::size_t others =
      outcome.audit.reconciliation.bonds.size() - std::min(outcome.audit.reconciliation.bonds.size(), drawn.size());
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
    case FaultKind::altered:
    case FaultKind::second_sender:
    case FaultKind::began_again:
    case FaultKind::behind:
      return "other";
  }
  return "";
}

std::string end_of_fault(const Fault& fault) {
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
  return "<td class=\"when\">" + page::moment_of_day(fault.at_ms) + "</td><td class=\"kind " + meaning_of(fault.kind) +
         "\"><span>" + std::string(fault_name(fault.kind)) + "</span></td><td>" + numbers +
         "</td><td class=\"number\">" + (is_gap ? page::duration(fault.open_ms) : "") + "</td><td>" +
         end_of_fault(fault) + "</td>";
}

bool is_lost(const Outcome& outcome) {
  return verdict_word(outcome) == "lost";
}

// By time; where messages are lost, the faults that lost them come first.
std::vector<Fault> sorted_faults(const Outcome& outcome) {
  std::vector<Fault> faults = outcome.audit.history.faults;
  std::stable_sort(faults.begin(), faults.end(), [](const Fault& a, const Fault& b) { return a.at_ms < b.at_ms; });
  if (is_lost(outcome)) {
    std::stable_partition(faults.begin(), faults.end(), [](const Fault& fault) { return fault.missing != 0; });
  }
  return faults;
}

std::string faults_part(const Outcome& outcome) {
  const History& history = outcome.audit.history;
  if (!outcome.audit.on_the_wire) return "";
  std::string html = "<section id=\"faults\"><h2>Faults on the wire</h2>";
  if (history.faults.empty()) return html + "<p class=\"note\">None.</p></section>";
  const std::vector<Fault> faults = sorted_faults(outcome);
  std::vector<std::string> rows(faults.size());
  std::transform(faults.begin(), faults.end(), rows.begin(), fault_row);
  html += "<p class=\"note\"><span data-key=\"faults\">" + grouped(history.faults_total) + "</span> in all";
  if (history.faults_total > rows.size()) html += ", of which the first " + grouped(rows.size());
  html += "; the longest gap stayed open for " + page::duration(history.longest_open_ms) +
          (is_lost(outcome) ? ". Those that lost messages come first.</p>" : ".</p>");
  return html + "<div class=\"card\">" +
         table(
             "<th class=\"when\">when</th><th>what</th><th>messages</th><th class=\"number\">open for</th>"
             "<th>how it ended</th>",
             rows, is_lost(outcome) ? few_rows : many_rows) +
         "</div></section>";
}

std::string situation_row_of(const Outcome& outcome, const SituationRow& row) {
  const std::string name = "<td class=\"value\">" + std::string(row.name) + "</td>";
  const std::string says = "<td>" + std::string(row.says) + "</td>";
  if (!is_knowable(row, outcome.audit.on_the_wire)) {
    return name + "<td class=\"number quiet\" colspan=\"2\">not knowable here</td>" + says;
  }
  const Met& met = met_of(outcome.audit.reconciliation.situations, row.situation);
  const std::string first = met.count == 0 ? "" : "#" + std::to_string(met.first);
  return name + "<td class=\"number" + (met.count == 0 ? " quiet" : "") + "\">" + grouped(met.count) +
         "</td><td class=\"number\">" + first + "</td>" + says;
}

std::string situations_part(const Outcome& outcome) {
  std::vector<std::string> rows;
  for (const SituationRow& row : all_situations()) rows.push_back(situation_row_of(outcome, row));
  return "<section id=\"situations\"><h2>Situations</h2><p class=\"note\">What the run put its receiver through: "
         "<span data-key=\"situations\">" +
         met_text(outcome) + "</span>.</p><div class=\"card\">" +
         table("<th>situation</th><th class=\"number\">met</th><th class=\"number\">first</th><th>what it is</th>",
               rows, many_rows) +
         "</div></section>";
}

std::string footer(const Outcome& outcome) {
  std::string html = "<footer>Messages #" + std::to_string(std::max<std::uint64_t>(outcome.audit.from, 1)) + " to #" +
                     std::to_string(outcome.audit.last) + ", compared with " + escaped(outcome.truth);
  if (!outcome.tape.empty()) html += " and " + escaped(outcome.tape);
  return html + ". The audit took " + page::duration(outcome.lasted_ms) + " and ended by " + escaped(outcome.ended_by) +
         ".</footer>";
}

}  // namespace

std::string outcome_page(const Outcome& outcome) {
  std::string html =
      "<!doctype html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'; img-src "
      "data:\">"
      "<link rel=\"icon\" href=\"data:,\"><title>" +
      heading(outcome) + ": audit of " + escaped(outcome.session) + "</title><style>";
  html += page::style_sheet();
  html += "</style></head><body><main>";
  // Whoever reads that messages were lost wants to know which.
  const std::string faults = faults_part(outcome);
  html += verdict_part(outcome) + (is_lost(outcome) ? faults : "") + figures_part(outcome) +
          discrepancies_part(outcome) + timeline_part(outcome) + bonds_part(outcome) +
          (is_lost(outcome) ? "" : faults) + situations_part(outcome) + footer(outcome);
  return html + "</main></body></html>\n";
}

}  // namespace vorbelctl
