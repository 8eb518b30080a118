// The verdict as JSON: its keys are a promise to harnesses, described in docs/audit.md.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <variant>

#include "vorbelctl/audit/names.h"
#include "vorbelctl/audit/outcome.h"
#include "vorbelctl/wording/fields.h"

namespace vorbelctl {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t most_books_listed = 1000;

Json text_or_null(const std::string& text) {
  return text.empty() ? Json() : Json(text);
}

Json discrepancy_json(const Discrepancy& discrepancy) {
  return {{"seq", discrepancy.sequence},
          {"field", discrepancy.field},
          {"source", source_name(discrepancy.source)},
          {"expected", discrepancy.expected},
          {"place", source_name(discrepancy.place)},
          {"received", discrepancy.received},
          {"follow_ups", discrepancy.follow_ups}};
}

Json discrepancies_json(const Discrepancies& discrepancies) {
  Json list = Json::array();
  for (const Discrepancy* const each : in_order(discrepancies)) list.push_back(discrepancy_json(*each));
  return list;
}

Json ranges_json(const std::vector<Range>& ranges) {
  Json list = Json::array();
  for (const auto& range : ranges) list.push_back({range.first, range.last});
  return list;
}

Json value_json(const Value& value) {
  return std::visit(
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

Json books_json(const Reconciliation& reconciliation) {
  std::vector<std::string> cusips;
  for (const auto& [cusip, bond] : reconciliation.bonds) cusips.push_back(cusip);
  std::sort(cusips.begin(), cusips.end());
  if (cusips.size() > most_books_listed) cusips.resize(most_books_listed);
  Json list = Json::array();
  for (const auto& cusip : cusips) {
    Json book = Json::object();
    for (const auto& [name, value] : list_book(cusip, reconciliation.bonds.find(cusip)->second.book)) {
      book[name] = value_json(value);
    }
    list.push_back(std::move(book));
  }
  return list;
}

// What is likely meant by the names that cannot be compared, for those of which that can be told.
Json near_names_json(const std::vector<std::string>& names) {
  Json near = Json::object();
  for (const std::string& name : names) {
    if (const std::string meant = near_name(name); !meant.empty() && meant != name) near[name] = meant;
  }
  return near;
}

void put_counts(Json& json, const Outcome& outcome) {
  const AuditCounts& counts = outcome.audit.counts;
  const ReceiverTotals& totals = outcome.totals;
  json["messages"] = counts.messages;
  json["trades"] = count_of(counts, Kind::trade);
  json["cancels"] = count_of(counts, Kind::cancel);
  json["corrections"] = count_of(counts, Kind::correction);
  json["halts"] = count_of(counts, Kind::halt);
  json["summaries"] = count_of(counts, Kind::summary);
  json["controls"] = count_of(counts, Kind::control);
  json["malformed_messages"] = counts.malformed;
  json["lost"] = outcome.audit.on_the_wire ? lost_on_wire(outcome) : 0;
  json["dropped_here"] = totals.dropped_here;
  json["recovered"] = counts.recovered;
  json["missing"] = missing_in_all(outcome);
  json["out_of_order"] = counts.out_of_order;
  json["duplicates"] = totals.duplicates;
  json["altered"] = totals.altered;
  json["fetched"] = counts.fetched;
  json["gaps"] = totals.gaps;
  json["longest_gap_ms"] = outcome.audit.history.longest_open_ms;
  json["faults"] = outcome.audit.history.faults_total;
  json["heartbeats"] = totals.heartbeats;
  json["end_of_sessions"] = totals.end_of_sessions;
  json["packets"] = totals.packets;
  json["malformed_packets"] = totals.malformed;
  json["foreign_packets"] = totals.foreign;
  json["requests"] = totals.requests;
}

Json situations_json(const Outcome& outcome) {
  Json json = Json::object();
  for (const SituationRow& row : all_situations()) {
    const Met& met = met_of(outcome.audit.reconciliation.situations, row.situation);
    const Json first = met.count == 0 ? Json() : Json(met.first);
    json[row.name] =
        is_knowable(row, outcome.audit.on_the_wire) ? Json({{"count", met.count}, {"first", first}}) : Json();
  }
  return json;
}

Json unmet_json(const Outcome& outcome) {
  Json list = Json::array();
  for (const Situation each : unmet_situations(outcome)) list.push_back(situation_row(each).name);
  return list;
}

}  // namespace

std::string verdict_json(const Outcome& outcome) {
  const Audit& audit = outcome.audit;
  const Reconciliation& reconciliation = audit.reconciliation;
  Json json;
  json["verdict"] = verdict_word(outcome);
  json["sentence"] = verdict_sentence(outcome);
  json["origin"] = origin_name(outcome.origin);
  json["where"] = outcome.where;
  json["session"] = outcome.session;
  json["truth"] = outcome.truth;
  json["tape"] = text_or_null(outcome.tape);
  json["ended_by"] = outcome.ended_by;
  json["unfinished"] = text_or_null(outcome.unfinished);
  json["restart"] = text_or_null(audit.restart);
  json["likely"] = text_or_null(likely_text(outcome));
  json["second_sender"] = text_or_null(audit.second_sender);
  json["notes"] = audit.notes;
  json["seconds"] = static_cast<double>(outcome.lasted_ms) / 1000;
  json["first"] = std::max<std::uint64_t>(audit.from, 1);
  json["last"] = audit.last;
  json["truth_last"] = audit.truth_last;
  json["joined"] = audit.on_the_wire ? Json(audit.joined) : Json();
  put_counts(json, outcome);
  json["truth_records"] = reconciliation.truth.records;
  json["marks"] = reconciliation.truth.marks;
  json["tape_lines"] = reconciliation.has_tape ? reconciliation.tape.lines : 0;
  json["bonds"] = reconciliation.bonds.size();
  json["fields_compared"] = reconciliation.fields;
  json["days_compared"] = reconciliation.days;
  json["books_compared"] = reconciliation.books;
  json["not_compared"] = reconciliation.uncompared;
  json["did_you_mean"] = near_names_json(reconciliation.uncompared);
  json["unmet"] = unmet_json(outcome);
  json["situations"] = situations_json(outcome);
  json["discrepancies"] = reconciliation.discrepancies.total;
  json["follow_ups"] = reconciliation.discrepancies.follow_ups;
  const auto first = first_wrong(outcome);
  json["first_wrong"] = first ? discrepancy_json(*first) : Json();
  json["missing_ranges"] = ranges_json(audit.missing);
  json["discrepancy_list"] = discrepancies_json(reconciliation.discrepancies);
  json["books"] = books_json(reconciliation);
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace vorbelctl
