#include "vorbelctl/audit_judge.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "common/text_line.h"
#include "vorbelctl/audit_expect.h"
#include "vorbelctl/audit_time.h"

namespace vorbelctl {
namespace {

// Clocks of two machines, or of one that is being set, may differ by this much.
constexpr std::int64_t clock_slack_s = 60;

constexpr std::array<std::string_view, 9> day_fields{"high",       "high_yield", "low",   "low_yield",  "last",
                                                     "last_yield", "change",     "close", "close_yield"};

bool is_day_field(std::string_view name) {
  return std::find(day_fields.begin(), day_fields.end(), name) != day_fields.end();
}

bool is_amendment(Kind kind) {
  return kind == Kind::cancel || kind == Kind::correction;
}

bool brings_trade(Kind kind) {
  return kind == Kind::trade || kind == Kind::correction;
}

// One message under judgement.
struct Case {
  Judge& judge;
  const TruthEntry& entry;
  const Heard* heard;                   // null: the message was not heard, or is not the one of the record
  std::optional<TruthRecord> original;  // of the trade that is amended
  std::optional<std::uint64_t> taped_ms;
  std::int64_t sent_s = 0;
};

void compare(Case& the_case, const std::string& field, Witness expecting, const Value& expected, Witness showing,
             const Value& found) {
  compare_value(the_case.judge.findings, the_case.entry.sequence, field, expecting, expected, showing, found);
}

void complain(Case& the_case, const std::string& field, Witness expecting, const std::string& expected, Witness showing,
              const std::string& found) {
  add_difference(the_case.judge.findings, {the_case.entry.sequence, field, expecting, expected, showing, found});
}

// Who knows what a field must be.
Witness witness_of(Kind kind, std::string_view name) {
  constexpr std::array<std::string_view, 4> told_before{"short_name", "description", "reversed_date", "original_date"};
  if (name == "sent_at" && kind != Kind::halt) return Witness::order;
  return std::find(told_before.begin(), told_before.end(), name) == told_before.end() ? Witness::truth
                                                                                      : Witness::earlier;
}

// Compares the fields that were heard, but for those of the bond's day, with those expected.
void compare_fields(Case& the_case, const Message& expected) {
  const FieldList wanted = list_fields(expected);
  for (const auto& [name, found] : the_case.heard->fields) {
    if (is_day_field(name)) continue;
    const Value* const value = find_value(wanted, name);
    compare(the_case, name, witness_of(expected.kind, name), value == nullptr ? Value() : *value, the_case.heard->by,
            found);
  }
}

// Whether the terms of this trade are those that were heard of the original.
bool original_fits(const Case& the_case, const TruthRecord& original) {
  const FieldList wanted = list_fields(expect_message(the_case.entry.record, &original));
  const auto fits = [&](const FieldValue& field) {
    if (!field.name.starts_with("original_") || field.name == "original_id" || field.name == "original_date")
      return true;
    const Value* const value = find_value(wanted, field.name);
    return value != nullptr && same_value(*value, field.value);
  };
  return std::all_of(the_case.heard->fields.begin(), the_case.heard->fields.end(), fits);
}

// The trade that is amended: the one that the record names, unless the one that the message names is clearly meant. So
// one wrong id is one finding and not as many as the two trades differ in.
void find_original(Case& the_case) {
  Truth& truth = the_case.judge.truth;
  const TruthRecord& record = the_case.entry.record;
  the_case.original = find_trade(truth, trade_number(record.original_id));
  const std::string* const said =
      the_case.heard == nullptr ? nullptr : text_field(the_case.heard->fields, "original_id");
  if (said == nullptr || (the_case.original && original_fits(the_case, *the_case.original))) return;
  auto other = find_trade(truth, trade_number(*said));
  if (other && original_fits(the_case, *other)) the_case.original = std::move(other);
}

void take_original(Case& the_case) {
  const TruthRecord& record = the_case.entry.record;
  find_original(the_case);
  if (!the_case.original) {
    complain(the_case, "original_id", Witness::order, "a trade sent before", Witness::truth,
             printable(record.original_id));
    return;
  }
  IndexedTrade& trade = *indexed_trade(the_case.judge.truth, trade_number(the_case.original->trade_id));
  if (trade.amended) {
    complain(the_case, "original_id", Witness::order, "a trade not yet amended", Witness::truth, record.original_id);
  }
  trade.amended = true;
}

SendWindow send_window(const Case& the_case) {
  SendWindow window{the_case.judge.sent_s - 1, std::numeric_limits<std::int64_t>::max()};
  if (the_case.heard->heard_ms != 0) {
    window.latest_s = static_cast<std::int64_t>(the_case.heard->heard_ms / 1000) + clock_slack_s;
  }
  if (the_case.taped_ms) {
    const auto taped_s = static_cast<std::int64_t>(*the_case.taped_ms / 1000);
    window.latest_s = std::min(window.latest_s, taped_s);
    window.earliest_s = std::max(window.earliest_s, taped_s - clock_slack_s);
  }
  return window;
}

// A message is sent no earlier than the one before it, and no later than it was heard or written down. A halt's record
// knows the time.
void expect_sent_at(Case& the_case, Message& expected) {
  const std::string* const said = the_case.heard == nullptr ? nullptr : text_field(the_case.heard->fields, "sent_at");
  if (said == nullptr) {
    const auto by_record = utc_of_local(expected.sent_at);
    if (!by_record.empty()) the_case.sent_s = by_record.front();
    if (the_case.taped_ms) the_case.sent_s = static_cast<std::int64_t>(*the_case.taped_ms / 1000);
    return;
  }
  const SendWindow window = send_window(the_case);
  const auto sent_s = sent_within(*said, window);
  if (expected.kind != Kind::halt) {
    expected.sent_at = sent_s ? *said : local_date_time(std::min(window.latest_s, window.earliest_s + 1));
  }
  if (sent_s) {
    the_case.sent_s = *sent_s;
  } else if (const auto times = utc_of_local(*said); !times.empty() && times.front() < window.earliest_s) {
    // Perhaps it was the message before that ran ahead: the next one is held to this time.
    the_case.sent_s = times.front();
  }
}

void expect_original_date(Case& the_case, Message& expected) {
  const IndexedTrade* const trade = indexed_trade(the_case.judge.truth, trade_number(the_case.original->trade_id));
  const std::string* const said = text_field(the_case.heard->fields, "original_date");
  if (trade->sent_date != 0) {
    expected.original_date = std::to_string(trade->sent_date);
  } else if (said != nullptr) {
    expected.original_date = *said;
  }
}

// Prices that messages cannot carry as they are, and times that local time cannot tell apart, leave a book rebuilt from
// messages open to doubt from then on.
void doubt_book(BondState& bond, const TruthRecord& record) {
  const double price = record.terms.price;
  bond.exact = bond.exact && is_carried_whole(price) && utc_of_local(record.terms.executed_at).size() == 1;
  bond.fine = bond.fine || std::fabs(price * 1e5 - std::round(price * 1e5)) > 1e-3;
}

// The publisher compares prices with all their decimals, so it may see a change where messages show equal prices.
bool change_fits(const BondState& bond, char claimed, char counted) {
  const bool sees_no_less = (claimed & counted) == counted;
  return claimed == counted || (bond.fine && sees_no_less);
}

// Compares what the record says of the bond's day with what the prints make of it.
void compare_truth_day(Case& the_case, const BondState& bond, const DayPrices& counted) {
  const TruthRecord& record = the_case.entry.record;
  if (!bond.exact || record.kind == Kind::halt) return;
  const bool in_summary = record.kind == Kind::summary;
  if (!in_summary && !change_fits(bond, record.change, counted.change)) {
    complain(the_case, "change", Witness::book, std::string(1, counted.change), Witness::truth,
             std::string(1, record.change));
  }
  if (record.kind == Kind::cancel) return;
  const auto by_book = [&](const std::string& field, const Value& expected, const Value& found) {
    compare(the_case, (in_summary ? "" : "summary.") + field, Witness::book, expected, Witness::truth, found);
  };
  by_book("high", Number{counted.high, 6}, Number{carried_price(record.day.high), 6});
  by_book("low", Number{counted.low, 6}, Number{carried_price(record.day.low), 6});
  by_book(in_summary ? "close" : "last", Number{counted.last, 6}, Number{carried_price(record.day.last), 6});
  if (in_summary) return;
  by_book("traded", bond.book.last.has_value(), record.day.traded);
  by_book("prints", std::uint64_t{bond.book.prints.size()}, record.day.prints);
}

// Compares what was heard of the bond's day: prices by the record where it has them and by the prints where not, yields
// by the prints.
void compare_heard_day(Case& the_case, const BondState& bond, const Message& expected, const DayPrices& counted) {
  FieldList by_book;
  Message of_prints = expected;
  of_prints.day = counted;
  if (bond.exact) by_book = list_fields(of_prints);
  const FieldList by_truth = list_fields(expected);
  for (const auto& [name, found] : the_case.heard->fields) {
    if (!is_day_field(name)) continue;
    const bool recorded = name == "change" || (expected.kind != Kind::cancel && !name.ends_with("_yield"));
    const Value* const value = find_value(recorded ? by_truth : by_book, name);
    if (value == nullptr && !bond.exact) continue;
    Value wanted = value == nullptr ? Value() : *value;
    // The yield of a price with hidden decimals may be that of its neighbour.
    if (auto* const yield = std::get_if<Number>(&wanted); yield != nullptr && !recorded && bond.fine)
      yield->decimals = 5;
    compare(the_case, name, recorded ? Witness::truth : Witness::book, wanted, the_case.heard->by, found);
  }
}

void judge_day(Case& the_case, BondState& bond, const Message& expected, const Message& to_count) {
  const TruthRecord& record = the_case.entry.record;
  bond.book.symbol = record.symbol.empty() ? bond.book.symbol : record.symbol;
  if (record.kind == Kind::halt) bond.book.halted = record.action == 'H';
  if (brings_trade(record.kind)) doubt_book(bond, record);
  const DayPrices counted = count_message(bond.book, to_count);
  compare_truth_day(the_case, bond, counted);
  if (the_case.heard != nullptr) compare_heard_day(the_case, bond, expected, counted);
}

void check_record(Case& the_case) {
  const TruthRecord& record = the_case.entry.record;
  compare(the_case, "event", Witness::keys, std::string(kind_name(record.kind)), Witness::truth, record.event);
  if (!brings_trade(record.kind)) return;
  std::string next_id;
  vorbeld::append(next_id, vorbeld::TradeId{the_case.judge.truth.trades.size() + 1});
  compare(the_case, "trade_id", Witness::order, next_id, Witness::truth, record.trade_id);
}

void check_cap(Case& the_case) {
  const TruthRecord& record = the_case.entry.record;
  if (!brings_trade(record.kind)) return;
  compare(the_case, "capped", Witness::keys, record.terms.quantity_indicator == 'E', Witness::truth, record.capped);
}

void index_trade(Case& the_case) {
  if (!brings_trade(the_case.entry.record.kind)) return;
  std::uint32_t sent_date = 0;
  if (the_case.heard != nullptr && the_case.sent_s != 0) {
    sent_date = static_cast<std::uint32_t>(std::stoul(local_date_time(the_case.sent_s).substr(0, 8)));
  }
  the_case.judge.truth.trades.push_back({the_case.entry.line_at, sent_date, false});
}

// A message of another kind than the record's has no field in common with it worth comparing.
void check_kind(Case& the_case) {
  if (the_case.heard == nullptr || !the_case.heard->kind) return;
  const Kind kind = *the_case.heard->kind;
  if (kind == the_case.entry.record.kind) return;
  complain(the_case, "event", Witness::truth, std::string(kind_name(the_case.entry.record.kind)), the_case.heard->by,
           std::string(kind_name(kind)));
  the_case.heard = nullptr;
}

void judge_record(Case& the_case, Judged& judged) {
  const TruthRecord& record = the_case.entry.record;
  check_record(the_case);
  check_kind(the_case);
  if (is_amendment(record.kind)) take_original(the_case);
  const TruthRecord* const original = the_case.original ? &*the_case.original : nullptr;
  if (is_amendment(record.kind) && original == nullptr) {
    index_trade(the_case);
    return;
  }
  Message expected = expect_message(record, original);
  expect_sent_at(the_case, expected);
  judged.cusip = record.kind == Kind::cancel ? original->cusip : record.cusip;
  BondState* const bond = record.kind == Kind::control ? nullptr : &the_case.judge.bonds[judged.cusip];
  const std::uint64_t findings_before = the_case.judge.findings.total;
  if (the_case.heard != nullptr) {
    if (bond != nullptr) expect_unrecorded(expected, the_case.heard->fields, bond->names, the_case.sent_s);
    if (original != nullptr) expect_original_date(the_case, expected);
    compare_fields(the_case, expected);
  }
  const bool good =
      the_case.heard != nullptr && the_case.heard->message && the_case.judge.findings.total == findings_before;
  if (bond != nullptr) judge_day(the_case, *bond, expected, good ? *the_case.heard->message : expected);
  check_cap(the_case);
  index_trade(the_case);
  judged.recorded = true;
  judged.amended_price = original == nullptr ? 0 : original->terms.price;
  judged.last_sale = brings_trade(record.kind) && is_last_sale(record.terms);
}

void move_complaints(std::vector<Difference>& complaints, Findings& findings) {
  for (auto& complaint : complaints) add_difference(findings, std::move(complaint));
  complaints.clear();
}

// Judges the entry at hand; false while its tape line is not there.
bool judge_entry(Judge& judge, const Heard* heard, bool no_more, Judged& judged) {
  const TruthRecord& record = judge.truth.entry->record;
  const bool reads = judge.truth.entry->wrong_key.empty();
  Presence line = Presence::absent;
  if (judge.tape && reads && record.kind == Kind::trade) {
    line = reach_line(*judge.tape, judge.truth.entry->sequence, record.trade_id, no_more);
    if (line == Presence::not_yet) return false;
    move_complaints(judge.tape->complaints, judge.findings);
  }
  const TruthEntry entry = *std::exchange(judge.truth.entry, std::nullopt);
  Case the_case{judge, entry, heard, {}, {}, 0};
  judged.sequence = entry.sequence;
  if (!reads) {
    complain(the_case, "truth." + entry.wrong_key, Witness::truth, "a record that reads", Witness::truth,
             "one that does not");
    return true;
  }
  Findings of_tape;  // kept back, so that what the message itself shows comes first
  if (line == Presence::there) {
    the_case.taped_ms = compare_line(*judge.tape, entry.sequence, entry.record, of_tape);
  } else if (judge.tape && entry.record.kind == Kind::trade) {
    complain(the_case, "tape.seq", Witness::truth, std::to_string(entry.sequence), Witness::tape, "no line");
  }
  judge_record(the_case, judged);
  move_complaints(of_tape.listed, judge.findings);
  if (the_case.sent_s != 0) judge.sent_s = the_case.sent_s;
  judged.sent_s = the_case.sent_s;
  judged.record = entry.record;
  if (heard != nullptr && !heard->book.empty()) judge_book(judge, entry.sequence, judged.cusip, heard->book);
  return true;
}

}  // namespace

Judge make_judge(const std::string& truth, const std::string& tape) {
  Judge judge;
  judge.truth = open_truth(truth);
  if (!tape.empty()) judge.tape = open_tape(tape);
  return judge;
}

std::optional<Judged> judge_message(Judge& judge, std::uint64_t sequence, const Heard* heard, bool no_more) {
  Judged judged;
  while (reach_entry(judge.truth, no_more) && judge.truth.entry->sequence <= sequence) {
    move_complaints(judge.truth.complaints, judge.findings);
    const bool is_it = judge.truth.entry->sequence == sequence;
    if (!judge_entry(judge, is_it ? heard : nullptr, no_more, judged)) return {};
    if (is_it) return judged;
  }
  move_complaints(judge.truth.complaints, judge.findings);
  if (!judge.truth.entry && !no_more) return {};
  if (heard != nullptr) {
    add_difference(judge.findings, {sequence, "seq", Witness::truth, "no record", heard->by, std::to_string(sequence)});
  }
  judged = {};
  judged.sequence = sequence;
  return judged;
}

void judge_book(Judge& judge, std::uint64_t sequence, const std::string& cusip, const FieldList& believed) {
  const auto bond = judge.bonds.find(cusip);
  const FieldList book = list_book(cusip, bond == judge.bonds.end() ? Book() : bond->second.book);
  if (bond != judge.bonds.end() && !bond->second.exact) return;
  for (const auto& [name, found] : believed) {
    const Value* const expected = find_value(book, name);
    const bool nothing = expected == nullptr || std::holds_alternative<std::monostate>(*expected);
    // A bond that has not traded has no prices, which may as well be called zero.
    if (expected != nullptr && nothing && same_value(Number{0, 6}, found)) continue;
    compare_value(judge.findings, sequence, "book." + name, Witness::book, nothing ? Value() : *expected,
                  Witness::capture, found);
  }
}

}  // namespace vorbelctl
