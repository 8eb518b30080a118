#include "vorbelctl/audit/judge.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "common/text_line.h"
#include "vorbelctl/audit/case.h"
#include "vorbelctl/audit/day.h"
#include "vorbelctl/audit/eastern_time.h"
#include "vorbelctl/audit/expect.h"

namespace vorbelctl {
namespace {

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

void check_record(Case& the_case) {
  const TruthRecord& record = the_case.entry.record;
  compare(the_case, "event", Witness::keys, std::string(kind_name(record.kind)), Witness::truth, record.event);
  const Truth& truth = the_case.judge.truth;
  if (!brings_trade(record.kind) || may_be_next(truth, trade_number(record.trade_id))) return;
  vorbeld::TextLine next_id;
  append(next_id, vorbeld::TradeId{truth.trades.size() + 1});
  compare(the_case, "trade_id", Witness::order, std::string(text(next_id)), Witness::truth, record.trade_id);
}

void check_cap(Case& the_case) {
  const TruthRecord& record = the_case.entry.record;
  if (!brings_trade(record.kind)) return;
  compare(the_case, "capped", Witness::keys, record.terms.quantity_indicator == 'E', Witness::truth, record.capped);
}

void index_record(Case& the_case) {
  const TruthRecord& record = the_case.entry.record;
  if (!brings_trade(record.kind)) return;
  std::uint32_t sent_date = 0;
  if (the_case.heard != nullptr && the_case.sent_s != 0) {
    const std::string date = local_date_time(the_case.sent_s).substr(0, 8);
    std::from_chars(date.data(), date.data() + date.size(), sent_date);
  }
  index_trade(the_case.judge.truth, trade_number(record.trade_id), the_case.entry.line_at, sent_date);
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

// Where the record is lost, the message alone tells what became of its bond. So one loss is one finding, and not one
// more with every message of the bond that follows.
void go_on_by_message(Judge& judge, const Heard* heard) {
  if (heard == nullptr || !heard->message || heard->message->kind == Kind::control) return;
  Book& book = judge.bonds[heard->message->cusip].book;
  if (heard->message->kind == Kind::halt) book.halted = heard->message->action == 'H';
  count_message(book, *heard->message);
}

void judge_record(Case& the_case, Judged& judged) {
  const TruthRecord& record = the_case.entry.record;
  check_record(the_case);
  check_kind(the_case);
  if (is_amendment(record.kind)) take_original(the_case);
  const TruthRecord* const original = the_case.original ? &the_case.original->record : nullptr;
  if (is_amendment(record.kind) && original == nullptr) {
    go_on_by_message(the_case.judge, the_case.heard);
    index_record(the_case);
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
  index_record(the_case);
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
    go_on_by_message(judge, heard);
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
    go_on_by_message(judge, heard);
  }
  judged = {};
  judged.sequence = sequence;
  return judged;
}

void judge_rest(Judge& judge, std::uint64_t last) {
  if (!judge.tape) return;
  pass_rest(*judge.tape, last);
  move_complaints(judge.tape->complaints, judge.findings);
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
