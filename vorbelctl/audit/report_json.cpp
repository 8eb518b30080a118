// The verdict as JSON: its keys are a promise to harnesses, described in docs/audit.md.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <variant>

#include "vorbelctl/audit/report.h"

namespace vorbelctl {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t most_books_listed = 1000;

Json difference_json(const Difference& difference) {
  return {{"seq", difference.sequence},
          {"field", difference.field},
          {"expected_by", witness_name(difference.expecting)},
          {"expected", difference.expected},
          {"found_in", witness_name(difference.showing)},
          {"found", difference.found}};
}

Json differences_json(const Findings& findings) {
  Json list = Json::array();
  for (const auto& difference : findings.listed) list.push_back(difference_json(difference));
  return list;
}

Json ranges_json(const std::vector<Range>& ranges) {
  Json list = Json::array();
  for (const auto& range : ranges) list.push_back({range.first, range.last});
  return list;
}

Json books_json(const Judge& judge) {
  std::vector<std::string> cusips;
  for (const auto& [cusip, bond] : judge.bonds) cusips.push_back(cusip);
  std::sort(cusips.begin(), cusips.end());
  if (cusips.size() > most_books_listed) cusips.resize(most_books_listed);
  Json list = Json::array();
  for (const auto& cusip : cusips) {
    list.push_back(Json::object());
    for (const auto& [name, value] : list_book(cusip, judge.bonds.find(cusip)->second.book)) {
      list.back()[name] = std::visit(
          [](const auto& held) -> Json {
            using Held = std::decay_t<decltype(held)>;
            if constexpr (std::is_same_v<Held, std::monostate>)
              return nullptr;
            else if constexpr (std::is_same_v<Held, Number>)
              return held.value;
            else
              return held;
          },
          value);
    }
  }
  return list;
}

void put_counts(Json& json, const AuditReport& report) {
  const AuditCounts& counts = report.audit.counts;
  const ReceiverTotals& totals = report.totals;
  json["messages"] = counts.messages;
  json["trades"] = counts.trades;
  json["cancels"] = counts.cancels;
  json["corrections"] = counts.corrections;
  json["halts"] = counts.halts;
  json["summaries"] = counts.summaries;
  json["controls"] = counts.controls;
  json["malformed_messages"] = counts.malformed;
  json["lost"] = lost_on_wire(report);
  json["recovered"] = counts.recovered;
  json["missing"] = missing_in_all(report);
  json["out_of_order"] = counts.out_of_order;
  json["duplicates"] = totals.duplicates;
  json["fetched"] = counts.fetched;
  json["gaps"] = totals.gaps;
  json["longest_gap_ms"] = report.audit.history.longest_open_ms;
  json["faults"] = report.audit.history.faults_total;
  json["heartbeats"] = totals.heartbeats;
  json["end_of_sessions"] = totals.end_of_sessions;
  json["packets"] = totals.packets;
  json["malformed_packets"] = totals.malformed;
  json["foreign_packets"] = totals.foreign;
  json["requests"] = totals.requests;
}

}  // namespace

std::string verdict_json(const AuditReport& report) {
  const Audit& audit = report.audit;
  Json json;
  json["verdict"] = verdict_word(report);
  json["source"] = source_name(report.source);
  json["where"] = report.where;
  json["session"] = report.session;
  json["truth"] = report.truth;
  json["tape"] = report.tape.empty() ? Json() : Json(report.tape);
  json["ended_by"] = report.ended_by;
  json["seconds"] = static_cast<double>(report.lasted_ms) / 1000;
  json["first"] = std::max<std::uint64_t>(audit.from, 1);
  json["last"] = audit.last;
  json["joined"] = audit.on_the_wire ? Json(audit.joined) : Json();
  put_counts(json, report);
  json["truth_records"] = audit.judge.truth.records;
  json["marks"] = audit.judge.truth.marks;
  json["tape_lines"] = audit.judge.tape ? audit.judge.tape->lines : 0;
  json["bonds"] = audit.judge.bonds.size();
  json["differences"] = audit.judge.findings.total;
  const auto first = first_wrong(report);
  json["first_wrong"] = first ? difference_json(*first) : Json();
  json["missing_ranges"] = ranges_json(audit.missing);
  json["difference_list"] = differences_json(audit.judge.findings);
  json["books"] = books_json(audit.judge);
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace vorbelctl
