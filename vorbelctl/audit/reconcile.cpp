#include "vorbelctl/audit/reconcile.h"

#include <fmt/format.h>

#include <algorithm>
#include <bitset>
#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

#include "vorbelctl/audit/day.h"
#include "vorbelctl/audit/eastern_time.h"
#include "vorbelctl/audit/message_situations.h"
#include "vorbelctl/audit/names.h"

namespace vorbelctl {
namespace {

using vorbeld::Form;
using vorbeld::Group;
using vorbeld::MessageField;

// Clocks of two machines, or of one that is being set, may differ by this much.
constexpr std::int64_t clock_slack_s = 60;

// The trade that an amendment is about, and its number, which the amendment's record may have wrong.
struct Original {
  TruthEntry entry;
  std::uint64_t number = 0;
};

// One message on its way through the reconciliation.
struct Step {
  Reconciliation& all;
  const TruthEntry& entry;
  const Received* received;                          // null: nothing came, or a message of another kind than the record
  std::optional<std::uint64_t> taped_ms{};           // wall clock at which the tape line was written
  const TapeLine* tape = nullptr;                    // the trade's; null: there is none that reads
  const Original* original = nullptr;                // of a cancel or a correction, once it is found
  std::int64_t sent_s = 0;                           // UTC; 0: not known
  std::optional<Cause> cause{};                      // what the first discrepancy of this message was
  std::bitset<vorbeld::field_names.size()> wrong{};  // the fields that differ
  bool is_other = false;                             // a handler's line is that of another trade
};

const TruthRecord& record_of(const Step& step) {
  return step.entry.record;
}

void differ(Step& step, std::string field, Source source, std::string expected, Source place, std::string received) {
  const Cause cause = note(step.all.discrepancies, {step.entry.sequence, std::move(field), source, std::move(expected),
                                                    place, std::move(received)});
  if (!step.cause) step.cause = cause;
}

// The text of a field as it was received; nothing when it was not said.
std::optional<std::string_view> received_text(const Received* received, FieldId field) {
  if (received == nullptr) return {};
  if (received->message != nullptr) return text(*received->message, field);
  const Claim* const claim = find_claim(*received->claims, vorbeld::field_names[field.id]);
  if (claim == nullptr) return {};
  const std::string_view said = claim->text;
  const bool date = claim->type == Claim::Type::number && (said.size() == 8 || said.size() == 14);  // in digits
  if (claim->type != Claim::Type::text && !date) return {};
  return said.substr(0, said.find_last_not_of(' ') + 1);
}

const MessageField* find_field(const vorbeld::KindRow& row, std::string_view name) {
  const auto found =
      std::find_if(row.fields.begin(), row.fields.end(), [&](const MessageField& field) { return field.name == name; });
  return found == row.fields.end() ? nullptr : &*found;
}

// Calls visit(field, agreed, received) for every field that was received and is known; received() is its text.
template <class Visit>
void compare_message(const Expectation& expectation, const Message& message, const Visit& visit) {
  for (const MessageField& field : expectation.message.row->fields) {
    if (!expectation.known[field.id] || field.form == Form::blank) continue;
    const Cell& received = message.cells[field.id];
    visit(field, agrees(expectation.message.cells[field.id], received, field.form, expectation.tolerances[field.id]),
          [&] { return cell_text(received, field.form); });
  }
}

// The same for what a handler wrote down; unknown(name) for what no message of this kind has.
template <class Visit, class Unknown>
void compare_claims(const Expectation& expectation, const Claims& claims, const Visit& visit, const Unknown& unknown) {
  for (const Claim& claim : claims) {
    const MessageField* const field = find_field(*expectation.message.row, claim.name);
    if (field == nullptr) {
      if (claim.type != Claim::Type::nothing) unknown(claim.name);
    } else if (expectation.known[field->id]) {
      visit(*field,
            says(claim, expectation.message.cells[field->id], field->form, field->codes,
                 expectation.tolerances[field->id]),
            [&] { return claim_text(claim); });
    }
  }
}

// Why the terms of the trade that is amended are not to be believed; nothing where they are.
std::optional<Cause> doubt_of_original(Step& step) {
  if (step.original == nullptr || !indexed_trade(step.all.truth, step.original->number)->doubted) return {};
  const auto found = step.all.doubts.find(step.original->number);
  return found == step.all.doubts.end() ? Cause{} : found->second;
}

// What of a handler's line fits a record, as far as the record alone tells.
struct FitCount {
  bool all = true;        // everything
  bool names_it = false;  // the trade's id, or the amended trade's
  bool tells_it = false;  // the type of a control message, the bond of a summary: a day has one of each
};

FitCount count_fitting(const TruthRecord& record, const Claims& claims) {
  Expectation expectation;
  expect_records(expectation, record, nullptr);
  expectation.known[FieldId("reversed_date").id] = false;
  if (record.row->kind == Kind::cancel) {  // which does not name its bond
    for (const FieldId field : {FieldId("symbol"), FieldId("cusip")}) expectation.known[field.id] = false;
  }
  FitCount count;
  const auto compare = [&](const MessageField& field, bool agreed, const auto& /*received*/) {
    if (field.group == Group::day) return;
    count.all = count.all && agreed;
    const bool names = field.id == FieldId("trade_id").id || field.id == FieldId("original_id").id;
    count.names_it = count.names_it || (names && agreed && expectation.message.cells[field.id].said);
    const std::uint8_t its_own = record.row->kind == Kind::control ? FieldId("type").id : FieldId("cusip").id;
    count.tells_it = count.tells_it || field.id == its_own;
  };
  compare_claims(expectation, claims, compare, [](const std::string& /*name*/) {});
  return count;
}

// Whether a handler's line holds all of another trade, which it names: then that is what is wrong.
void look_for_other_trade(Step& step, const Expectation& expectation) {
  const FieldId trade_id("trade_id");
  if (step.received->claims == nullptr || !expectation.known[trade_id.id]) return;
  const auto said = received_text(step.received, trade_id);
  const std::string_view expected = expectation.message.cells[trade_id.id].text;
  TruthEntry other;
  step.is_other = said && *said != expected && find_trade(step.all.truth, trade_number(*said), other) &&
                  count_fitting(other.record, *step.received->claims).all;
  if (step.is_other) {
    differ(step, "trade_id", expectation.sources[trade_id.id], shown(expected), step.received->by, shown(*said));
  }
}

// The field is wrong: by itself, or because the trade that is amended was.
void differ_in_field(Step& step, const Expectation& expectation, const MessageField& field, std::string received) {
  step.wrong.set(field.id);
  if (!step.cause) look_for_other_trade(step, expectation);
  if (step.is_other) {
    if (field.id != FieldId("trade_id").id) note_follow_up(step.all.discrepancies, *step.cause);
    return;
  }
  const auto doubt = field.group == Group::original_terms ? doubt_of_original(step) : std::nullopt;
  if (doubt) {
    note_follow_up(step.all.discrepancies, *doubt);
    if (!step.cause) step.cause = doubt;
    return;
  }
  differ(step, std::string(field.name), expectation.sources[field.id],
         cell_text(expectation.message.cells[field.id], field.form), step.received->by, std::move(received));
}

// Compares the fields that were received and notes those that differ, but for those of the bond's day.
void compare_fields(Step& step, const Expectation& expectation) {
  const auto compare = [&](const MessageField& field, bool agreed, const auto& received) {
    if (field.group == Group::day) return;
    ++step.all.fields;
    if (!agreed) differ_in_field(step, expectation, field, received());
  };
  if (step.received->message != nullptr) {
    compare_message(expectation, *step.received->message, compare);
  } else {
    compare_claims(expectation, *step.received->claims, compare,
                   [&](const std::string& name) { note_uncompared(step.all, step.entry.sequence, name); });
  }
}

// Whether the terms of this trade are those that were received of the original. Its number and date say which trade it
// is and not what it was, so they are left out.
bool original_fits(const Step& step, const TruthRecord& original) {
  if (step.received == nullptr) return true;
  Expectation expectation;
  expectation.message.row = record_of(step).row;
  expect_original_terms(expectation, original);
  bool fits = true;
  const auto compare = [&](const MessageField& /*field*/, bool agreed, const auto& /*received*/) {
    fits = fits && agreed;
  };
  if (step.received->message != nullptr) {
    compare_message(expectation, *step.received->message, compare);
  } else {
    compare_claims(expectation, *step.received->claims, compare, [](const std::string& /*name*/) {});
  }
  return fits;
}

bool look_up(Step& step, std::string_view trade_id, Original& original) {
  original.number = trade_number(trade_id);
  return find_trade(step.all.truth, original.number, original.entry);
}

// The trade that is amended: the one that the record names, unless the one that the message names is clearly meant. So
// one wrong id is one discrepancy and not as many as the two trades differ in.
bool find_original(Step& step, Original& original) {
  const std::string_view recorded = cell(record_of(step), "original_id").text;
  const bool by_record = look_up(step, recorded, original);
  const auto said = received_text(step.received, "original_id");
  if (!said || (by_record && original_fits(step, original.entry.record))) return by_record;
  Original by_message;
  if (!look_up(step, *said, by_message) || !original_fits(step, by_message.entry.record)) return by_record;
  return look_up(step, *said, original);
}

// Finds the trade that the record amends and marks it amended; notes when there is none, unless its record may be lost,
// and when it had been amended already.
void take_original(Step& step, Original& original) {
  const std::string named = shown(cell(record_of(step), "original_id").text);
  if (!find_original(step, original)) {
    if (may_be_lost(step.all.truth, trade_number(cell(record_of(step), "original_id").text))) return;
    differ(step, "original_id", Source::order, "a trade sent before", Source::truth, named);
    return;
  }
  step.original = &original;
  IndexedTrade& trade = *indexed_trade(step.all.truth, original.number);
  if (trade.amended) differ(step, "original_id", Source::order, "a trade not yet amended", Source::truth, named);
  trade.amended = true;
}

// A message is sent no earlier than the one before it, and no later than it was received or written down.
SendWindow send_window(const Step& step) {
  // Clocks that are slewed may repeat a second.
  SendWindow window{step.all.sent_s - 1, std::numeric_limits<std::int64_t>::max(), step.all.sent_s};
  const auto until_s = static_cast<std::int64_t>(step.received->until_ms / 1000);
  if (until_s != 0) window.latest_s = until_s + clock_slack_s;
  if (until_s != 0 && window.likely_s == 0) window.likely_s = until_s;
  if (step.taped_ms) {
    const auto taped_s = static_cast<std::int64_t>(*step.taped_ms / 1000);
    window.latest_s = std::min(window.latest_s, taped_s);
    window.earliest_s = std::max(window.earliest_s, taped_s - clock_slack_s);
    window.likely_s = taped_s;
  } else if (step.all.sent_s == 0 && step.all.has_tape) {
    // Nothing was heard before, but what is sent first is sent before the first trade is written down.
    const auto first_s = static_cast<std::int64_t>(peek_written_ms(step.all.tape) / 1000);
    if (first_s != 0) window.latest_s = std::min(window.latest_s, first_s);
    if (first_s != 0) window.likely_s = first_s;
  }
  return window;
}

// When a message of which no time was received was sent, as far as the files tell.
std::int64_t sent_by_files(const Step& step) {
  if (step.taped_ms) return static_cast<std::int64_t>(*step.taped_ms / 1000);
  const auto by_record = utc_of_local(cell(record_of(step), "action_at").text);
  return by_record.empty() ? 0 : by_record.front();
}

// How long after its sending the trade was written down.
void watch_lag(Step& step, std::string_view said) {
  const auto instants = utc_of_local(said);
  if (instants.size() != 1) return;
  Lag& lag = step.all.lag;
  const std::int64_t seconds = static_cast<std::int64_t>(*step.taped_ms / 1000) - instants.front();
  if (lag.trades == 0)
    lag.first = {step.entry.sequence, "sent_at", Source::tape, "", step.received->by, std::string(said)};
  if (lag.trades == 0) lag.first_taped_s = static_cast<std::int64_t>(*step.taped_ms / 1000);
  if (lag.trades == 0 || seconds < lag.least_s) lag.least_s = seconds;
  ++lag.trades;
}

void expect_times(Step& step, Expectation& expectation) {
  const auto said = received_text(step.received, "sent_at");
  if (said && step.taped_ms) watch_lag(step, *said);
  step.sent_s = said ? expect_sent_at(expectation, *said, send_window(step)) : sent_by_files(step);
  expect_reversed_date(expectation, received_text(step.received, "reversed_date"), step.sent_s);
}

void expect_original_date(Step& step, Expectation& expectation) {
  const std::uint32_t sent_date = indexed_trade(step.all.truth, step.original->number)->sent_date;
  if (sent_date == 0) return;  // nobody saw that message
  expectation.scratch[2] = std::to_string(sent_date);
  expect_text(expectation, "original_date", Source::earlier, expectation.scratch[2]);
}

void check_trade_id(Step& step) {
  const Truth& truth = step.all.truth;
  const std::string_view trade_id = cell(record_of(step), "trade_id").text;
  if (may_be_next(truth, trade_number(trade_id))) return;
  differ(step, "trade_id", Source::order, fmt::format("{:07}", truth.trades.size() + 1), Source::truth,
         shown(trade_id));
}

// What the record says of itself must agree.
void check_record(Step& step) {
  const TruthRecord& record = record_of(step);
  if (record.event != record.row->name) {
    differ(step, "event", Source::record, std::string(record.row->name), Source::truth, shown(record.event));
  }
  if (brings_trade(record.row->kind)) check_trade_id(step);
}

// The two ways in which a record says that its quantity was capped must agree; where the message disagrees with one of
// them, that is the discrepancy.
void check_cap(Step& step) {
  const TruthRecord& record = record_of(step);
  if (!brings_trade(record.row->kind) || step.cause) return;
  const bool capped = cell(record, "quantity_indicator").text == "E";
  if ((cell(record, "capped").text == "true") == capped) return;
  differ(step, "capped", Source::record, capped ? "true" : "false", Source::truth, shown(cell(record, "capped").text));
}

// A message of another kind than the record's has no field in common with it worth comparing.
void check_kind(Step& step) {
  if (step.received == nullptr || step.received->row == nullptr) return;
  if (step.received->claims != nullptr) ++step.all.fields;
  if (step.received->row == record_of(step).row) return;
  differ(step, "event", Source::truth, std::string(record_of(step).row->name), step.received->by,
         std::string(step.received->row->name));
  step.received = nullptr;
}

// The record of the trade indexed last is not to be believed.
void doubt_trade(const Step& step) {
  Truth& truth = step.all.truth;
  truth.trades.back().doubted = true;
  if (step.cause->place < most_discrepancies_listed) step.all.doubts[truth.trades.size()] = *step.cause;
}

void index_record(Step& step) {
  const TruthRecord& record = record_of(step);
  if (!brings_trade(record.row->kind)) return;
  std::uint32_t sent_date = 0;
  if (step.received != nullptr && step.sent_s != 0) {
    const std::string date = local_date_time(step.sent_s).substr(0, 8);
    std::from_chars(date.data(), date.data() + date.size(), sent_date);
  }
  index_trade(step.all.truth, trade_number(cell(record, "trade_id").text), sent_date);
  const bool by_message = step.received != nullptr && step.received->message != nullptr;
  if (step.cause && by_message) doubt_trade(step);
}

// Where the record is lost, the message alone tells what became of its bond. So one loss is one discrepancy, and not
// one more with every message of the bond that follows.
void go_on_by_message(Reconciliation& all, const Received* received) {
  if (received == nullptr || received->message == nullptr) return;
  const Message& message = *received->message;
  if (kind_of(message) == Kind::control) return;
  Book& book = all.bonds[std::string(text(message, "cusip"))].book;
  if (kind_of(message) == Kind::halt) book.halted = code(message, "action") == 'H';
  count_message(book, message);
}

void describe(const Step& step, Reconciled& reconciled) {
  const TruthRecord& record = record_of(step);
  const TruthRecord& bond = record.row->kind == Kind::cancel ? step.original->entry.record : record;
  reconciled.recorded = true;
  reconciled.kind = record.row->kind;
  reconciled.type = record.type;
  reconciled.cusip = cell(bond, "cusip").text;
  reconciled.symbol = unescaped(cell(bond, "symbol").text);
  if (record.row->kind == Kind::halt) reconciled.action = cell(record, "action").text.front();
  reconciled.price = cell(record, "price").number;
  if (step.original != nullptr) reconciled.amended_price = cell(step.original->entry.record, "price").number;
}

// A bond whose prints brought a day and of which no summary has been sent.
std::string_view find_unsummed(const Reconciliation& all) {
  std::string_view least;
  for (const auto& [cusip, bond] : all.bonds) {
    if (bond.rules.summed_up || bond.doubt || bond.book.prints.live == 0) continue;
    if (least.empty() || cusip < least) least = cusip;
  }
  return least;
}

// What every right bench keeps to. It says something new only of a message on which all others agree.
void hold_to_rules(Step& step, BondState* bond) {
  Reconciliation& all = step.all;
  const TruthRecord& record = record_of(step);
  Ruled ruled{step.entry.sequence, record};
  expect_in_row(all.rules, ruled.sequence);
  ruled.doubted = step.cause.has_value();
  if (step.original != nullptr) {
    if (!doubt_of_original(step)) ruled.original = &step.original->entry.record;
    ruled.original_trade = step.original->number;
  }
  if (brings_trade(record.row->kind)) ruled.trade = trade_number(cell(record, "trade_id").text);
  ruled.tape = step.tape;
  ruled.sent_s = step.sent_s;
  ruled.generated = record.row->kind == Kind::trade && surely_generated(record, step.tape);
  if (bond != nullptr) {
    ruled.bond = &bond->rules;
    ruled.halted = bond->book.halted;
    if (all.rules.whole && !bond->doubt) ruled.prints = bond->book.prints.live;
  }
  if (all.rules.whole && record.row->kind == Kind::control && record.type == 'X') ruled.unsummed = find_unsummed(all);
  const bool by_message = step.received != nullptr && step.received->message != nullptr;
  if (!step.cause) hold_rules(all.rules, ruled, by_message ? Source::message : Source::truth, all.discrepancies);
  remember(all.rules, ruled);
}

// What went wrong with a message may show in the day and in the handler's book from then on.
void spread_doubt(BondState& bond, const Step& step) {
  if (!step.cause) return;
  if (!bond.doubt) bond.doubt = step.cause;
  if (!bond.book_doubt) bond.book_doubt = step.cause;
}

// Where record and message differ, the expected message goes on, unless the record's own summary of the day tells that
// the message was right.
const Message& message_to_count(const Step& step, const BondState& bond, const Expectation& expectation) {
  if (step.received == nullptr || step.received->message == nullptr) return expectation.message;
  const Message& message = *step.received->message;
  if (!step.cause) return message;
  const TruthRecord& record = record_of(step);
  const bool believed = record.row->kind == Kind::trade && makes_day(bond.book, message, record) &&
                        !makes_day(bond.book, expectation.message, record);
  return believed ? message : expectation.message;
}

void reconcile_record(Step& step, Reconciled& reconciled) {
  const TruthRecord& record = record_of(step);
  const Kind kind = record.row->kind;
  check_record(step);
  check_kind(step);
  std::optional<Original> original;
  if (amends(kind)) take_original(step, original.emplace());
  if (amends(kind) && step.original == nullptr) {
    forget_order(step.all.rules);
    go_on_by_message(step.all, step.received);
    index_record(step);
    return;
  }
  describe(step, reconciled);
  BondState* const bond = kind == Kind::control ? nullptr : &step.all.bonds[reconciled.cusip];
  Expectation expectation;
  expect_records(expectation, record, step.original == nullptr ? nullptr : &step.original->entry.record);
  expect_times(step, expectation);
  if (step.received != nullptr) {
    if (bond != nullptr) {
      expect_names(expectation, bond->names, received_text(step.received, "short_name"),
                   received_text(step.received, "description"));
    }
    if (step.original != nullptr) expect_original_date(step, expectation);
    compare_fields(step, expectation);
  }
  // The trade that is meant leaves the book, whatever the record calls it.
  if (step.original != nullptr) expect_amended(expectation, step.original->entry.record);
  hold_to_rules(step, bond);
  reconciled.last_sale = brings_trade(kind) && is_last_sale(expectation.message, own_terms);
  const BookBefore before = amends(kind) ? book_before(bond->book) : BookBefore();
  if (bond != nullptr) {
    spread_doubt(*bond, step);
    compare_day(step.all, *bond,
                {step.entry.sequence, record, step.received, expectation, message_to_count(step, *bond, expectation)});
  }
  if (step.received != nullptr) {
    meet_message(step.all.situations,
                 {step.entry.sequence, record, expectation.message, bond == nullptr ? nullptr : &bond->book, before});
  }
  check_cap(step);
  index_record(step);
}

void move_found(std::vector<Discrepancy>& found, Discrepancies& discrepancies) {
  for (Discrepancy& discrepancy : found) note(discrepancies, std::move(discrepancy));
  found.clear();
}

// What the tape says otherwise than the record: where the message says so too, that is one discrepancy.
void note_tape(const Step& step, std::vector<Discrepancy>& found) {
  for (Discrepancy& discrepancy : found) {
    const auto field = field_of_tape(discrepancy.field);
    if (field && step.wrong.test(field->id)) {
      note_follow_up(step.all.discrepancies, *step.cause);
      doubt_trade(step);
    } else {
      note(step.all.discrepancies, std::move(discrepancy));
    }
  }
}

// Reconciles the record at hand; false while its tape line is not there.
bool reconcile_entry(Reconciliation& all, const Received* received, bool no_more, std::optional<Cause> cause,
                     Reconciled& reconciled) {
  TruthEntry& entry = all.truth.entry;
  const bool reads = entry.wrong_key.empty();
  const bool taped = all.has_tape && reads && entry.record.row->kind == Kind::trade;
  Presence line = Presence::absent;
  if (taped) {
    line = reach_line(all.tape, entry.sequence, cell(entry.record, "trade_id").text, no_more);
    if (line == Presence::not_yet) return false;
    move_found(all.tape.found, all.discrepancies);
  }
  Step step{all, entry, received};
  step.cause = cause;
  reconciled.sequence = entry.sequence;
  entry.there = false;
  if (!reads) {
    differ(step, "truth." + std::string(entry.wrong_key), Source::truth, "a record that reads", Source::truth,
           "one that does not");
    go_on_by_message(all, received);
    forget_order(all.rules);
    return true;
  }
  std::vector<Discrepancy> of_tape;  // kept back, so that what the message itself shows comes first
  if (line == Presence::there) {
    step.taped_ms = compare_line(all.tape, entry.sequence, entry.record, of_tape);
    if (of_tape.empty()) step.tape = &all.tape.line;
  } else if (taped) {
    note(all.discrepancies,
         {entry.sequence, "tape.seq", Source::truth, std::to_string(entry.sequence), Source::tape, "no line"});
  }
  reconcile_record(step, reconciled);
  note_tape(step, of_tape);
  if (step.sent_s != 0) all.sent_s = step.sent_s;
  reconciled.sent_s = step.sent_s;
  reconciled.taped_ms = step.taped_ms.value_or(0);
  if (received != nullptr && received->book != nullptr && !received->book->empty()) {
    compare_book(all, entry.sequence, reconciled.cusip, *received->book);
  }
  return true;
}

}  // namespace

void open_files(Reconciliation& reconciliation, const std::string& truth, const std::string& tape) {
  open_truth(reconciliation.truth, truth);
  reconciliation.has_tape = !tape.empty();
  if (reconciliation.has_tape) open_tape(reconciliation.tape, tape);
}

std::optional<Reconciled> reconcile(Reconciliation& all, std::uint64_t sequence, const Received* received, bool no_more,
                                    std::optional<Cause> cause) {
  Truth& truth = all.truth;
  while (reach_entry(truth, no_more) && truth.entry.sequence <= sequence) {
    move_found(truth.found, all.discrepancies);
    const bool is_it = truth.entry.sequence == sequence;
    Reconciled reconciled;
    if (!reconcile_entry(all, is_it ? received : nullptr, no_more, is_it ? cause : std::nullopt, reconciled)) return {};
    if (!is_it) continue;
    hand_out(all, reconciled);
    return reconciled;
  }
  move_found(truth.found, all.discrepancies);
  if (!truth.entry.there && !no_more) return {};
  if (received != nullptr) {
    note(all.discrepancies, {sequence, "seq", Source::truth, "no record", received->by, std::to_string(sequence)});
    go_on_by_message(all, received);
  }
  Reconciled reconciled;
  reconciled.sequence = sequence;
  hand_out(all, reconciled);
  return reconciled;
}

Fit fit_to_record(Reconciliation& all, std::uint64_t sequence, const Received& received) {
  if (!reach_entry(all.truth, false) || all.truth.entry.sequence != sequence) return Fit::none;
  const TruthRecord& record = all.truth.entry.record;
  if (!all.truth.entry.wrong_key.empty() || (received.row != nullptr && received.row != record.row)) return Fit::none;
  const FitCount fit = count_fitting(record, *received.claims);
  if (fit.names_it) return Fit::surely;
  if (!fit.all) return Fit::none;
  const Kind kind = record.row->kind;
  return (kind == Kind::control || kind == Kind::summary) && fit.tells_it ? Fit::surely : Fit::likely;
}

void hand_out(Reconciliation& all, Reconciled& reconciled) {
  reconciled.found = all.discrepancies.total - std::exchange(all.handed_out, all.discrepancies.total);
  reconciled.labels = std::exchange(all.truth.labels, {});
}

void note_uncompared(Reconciliation& all, std::uint64_t sequence, const std::string& name) {
  if (all.uncompared.size() >= most_names_uncompared) return;
  if (std::find(all.uncompared.begin(), all.uncompared.end(), name) != all.uncompared.end()) return;
  all.uncompared.push_back(name);
  if (!all.strict) return;
  const std::string near = near_name(name);
  note(all.discrepancies,
       {sequence, name, Source::rule, "a name that can be compared" + (near.empty() ? "" : ": " + near),
        Source::recording, shown(name)});
}

// A trade is written down as soon as it is sent. Where every one of many is written down seconds later, it is the time
// of sending that is behind.
void hold_to_lag(Reconciliation& all) {
  constexpr std::uint64_t enough = 20;
  const bool too_long = all.lag.trades >= enough && all.lag.least_s > 1 && all.lag.least_s <= clock_slack_s;
  if (!too_long) return;
  all.lag.first.expected = local_date_time(all.lag.first_taped_s);
  const Cause cause = note(all.discrepancies, all.lag.first);
  for (std::uint64_t i = 1; i < all.lag.trades; ++i) {
    note_follow_up(all.discrepancies, cause);
    count_wrong_field(all.discrepancies.fields, "sent_at", all.lag.first.expected, all.lag.first.received);
  }
}

void reconcile_rest(Reconciliation& all, std::uint64_t last) {
  hold_to_lag(all);
  all.situations.met[static_cast<std::size_t>(Situation::heartbeat_lost)] = all.wire.heartbeats_lost;
  if (all.rules.whole) hold_heartbeats(all.wire, all.rules.closed_by, last, all.discrepancies);
  if (!all.has_tape) return;
  pass_rest(all.tape, last);
  move_found(all.tape.found, all.discrepancies);
}

}  // namespace vorbelctl
