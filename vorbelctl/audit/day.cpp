#include "vorbelctl/audit/day.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "vorbelctl/audit/eastern_time.h"
#include "vorbelctl/audit/names.h"

namespace vorbelctl {
namespace {

using vorbeld::Form;
using vorbeld::Group;
using vorbeld::MessageField;

constexpr double coarse_yield_tolerance = 0.5e-5;

// What is said of one day, on its way through the comparison.
struct DayComparison {
  Reconciliation& all;
  std::uint64_t sequence;
  std::optional<Cause>& doubt;
  bool agreed = true;
};

// Something is wrong with the day: because of what was wrong before, or else by itself, and then it is a cause.
void differ(DayComparison& comparison, std::string field, std::string expected, Source place, std::string received) {
  comparison.agreed = false;
  if (comparison.doubt) {
    note_follow_up(comparison.all.discrepancies, *comparison.doubt);
    return;
  }
  comparison.doubt = note(comparison.all.discrepancies, {comparison.sequence, std::move(field), Source::book,
                                                         std::move(expected), place, std::move(received)});
}

// Prices that messages cannot carry as they are leave a book rebuilt from messages open to doubt from then on, and
// times that local time cannot tell apart its last sale.
void check_exactness(BondState& bond, const TruthRecord& record) {
  const double price = cell(record, "price").number;
  bond.exact = bond.exact && carried_price(price) == price;
  bond.ordered = bond.ordered && is_one_instant(cell(record, "executed_at").text);
  bond.fine = bond.fine || std::fabs(price * 1e5 - std::round(price * 1e5)) > 1e-3;
}

// The publisher compares prices with all their decimals, so it may see a change where messages show equal prices.
bool change_fits(const BondState& bond, char claimed, char counted) {
  constexpr int last_bit = 1;
  if (!bond.ordered && ((claimed ^ counted) & ~last_bit) == 0) return true;
  const bool sees_no_less = (claimed & counted) == counted;
  return claimed == counted || (bond.fine && sees_no_less);
}

double price_of(const std::optional<Sale>& sale) {
  return sale ? sale->price : 0;
}

void compare_price(DayComparison& comparison, const char* field, const std::optional<Sale>& counted, double recorded) {
  const double expected = price_of(counted);
  const double carried = carried_price(recorded);
  if (expected == carried || std::fabs(expected - carried) < price_tolerance) return;
  differ(comparison, field, fmt::format("{:.6f}", expected), Source::truth, fmt::format("{:.6f}", carried));
}

// Compares what the record says of the bond's day with what the prints make of it.
void compare_recorded_day(DayComparison& comparison, const BondState& bond, const TruthRecord& record, char change) {
  const Kind kind = record.row->kind;
  const bool closing = kind == Kind::summary;
  if (!closing && !change_fits(bond, cell(record, "change").text.front(), change)) {
    differ(comparison, "change", std::string(1, change), Source::truth, shown(cell(record, "change").text));
  }
  if (kind == Kind::cancel) return;
  const Day& counted = bond.book.day;
  compare_price(comparison, closing ? "high" : "summary.high", counted.high, cell(record, "day_high").number);
  compare_price(comparison, closing ? "low" : "summary.low", counted.low, cell(record, "day_low").number);
  if (bond.ordered) {
    compare_price(comparison, closing ? "close" : "summary.last", counted.last, cell(record, "day_last").number);
  }
  if (closing) return;
  const std::string_view traded = counted.last ? "true" : "false";
  if (cell(record, "traded").text != traded) {
    differ(comparison, "summary.traded", std::string(traded), Source::truth, shown(cell(record, "traded").text));
  }
  if (cell(record, "prints").number != static_cast<double>(bond.book.prints.live)) {
    differ(comparison, "summary.prints", std::to_string(bond.book.prints.live), Source::truth,
           shown(cell(record, "prints").text));
  }
}

void expect_sale(Expectation& expectation, FieldId field, const std::optional<double>& number, double tolerance) {
  if (number) {
    expect_number(expectation, field, Source::book, *number, tolerance);
  } else {
    expect_nothing(expectation, field, Source::book);
  }
}

// Completes the expectation by what no record tells: the yields of the day, and in a cancel its prices.
void expect_counted_day(Expectation& expectation, const BondState& bond, Kind kind) {
  const Day& day = bond.book.day;
  const auto yield_of = [](const std::optional<Sale>& sale) { return sale ? sale->yield : std::nullopt; };
  // The yield of a price with hidden decimals may be that of its neighbour.
  const double tolerance = bond.fine ? coarse_yield_tolerance : price_tolerance;
  expect_sale(expectation, "high_yield", yield_of(day.high), tolerance);
  expect_sale(expectation, "low_yield", yield_of(day.low), tolerance);
  if (bond.ordered) {
    expect_sale(expectation, "last_yield", yield_of(day.last), tolerance);
    expect_sale(expectation, "close_yield", yield_of(day.last), tolerance);
  }
  if (kind != Kind::cancel) return;
  expect_sale(expectation, "high", price_of(day.high), price_tolerance);
  expect_sale(expectation, "low", price_of(day.low), price_tolerance);
  if (bond.ordered) expect_sale(expectation, "last", price_of(day.last), price_tolerance);
}

// Compares one field of the day as it was received. What the record says is wrong by itself; what only the prints say
// may be wrong because of something before.
void compare_received(DayComparison& comparison, const DayOf& day, const MessageField& field, bool agreed,
                      std::string received) {
  ++comparison.all.fields;
  if (agreed) return;
  const Expectation& expectation = day.expectation;
  std::string expected = cell_text(expectation.message.cells[field.id], field.form);
  if (expectation.sources[field.id] == Source::book) {
    differ(comparison, std::string(field.name), std::move(expected), day.received->by, std::move(received));
  } else {
    comparison.agreed = false;
    note(comparison.all.discrepancies, {day.sequence, std::string(field.name), expectation.sources[field.id],
                                        std::move(expected), day.received->by, std::move(received)});
  }
}

void compare_received_day(DayComparison& comparison, const DayOf& day) {
  const Expectation& expectation = day.expectation;
  for (const MessageField& field : expectation.message.row->fields) {
    if (field.group != Group::day || !expectation.known[field.id] || field.form == Form::blank) continue;
    const Cell& expected = expectation.message.cells[field.id];
    const double tolerance = expectation.tolerances[field.id];
    if (day.received->message != nullptr) {
      const Cell& received = day.received->message->cells[field.id];
      const bool agreed = agrees(expected, received, field.form, tolerance);
      compare_received(comparison, day, field, agreed, agreed ? "" : cell_text(received, field.form));
    } else if (const Claim* const claim = find_claim(*day.received->claims, field.name)) {
      compare_received(comparison, day, field, says(*claim, expected, field.form, field.codes, tolerance),
                       claim_text(*claim));
    }
  }
}

// What a handler may say of a book, by name.
struct BookValue {
  Cell cell;
  Form form = Form::text;
  bool is_flag = false;
};

Cell count_cell(std::uint64_t count) {
  return {{}, static_cast<double>(count), true};
}

// A bond that has not traded has no prices.
Cell sale_cell(const std::optional<Sale>& sale) {
  return sale ? Cell{{}, sale->price, true} : Cell();
}

Cell yield_cell(const std::optional<Sale>& sale) {
  return sale && sale->yield ? Cell{{}, *sale->yield, true} : Cell();
}

Cell flag_cell(bool flag) {
  return {flag ? "true" : "false", 0, true};
}

std::optional<BookValue> book_value(const Book& book, std::string_view cusip, std::string_view name) {
  const Day& day = book.day;
  if (name == "high") return BookValue{sale_cell(day.high), Form::price};
  if (name == "low") return BookValue{sale_cell(day.low), Form::price};
  if (name == "last") return BookValue{sale_cell(day.last), Form::price};
  if (name == "high_yield") return BookValue{yield_cell(day.high), Form::yield};
  if (name == "low_yield") return BookValue{yield_cell(day.low), Form::yield};
  if (name == "last_yield") return BookValue{yield_cell(day.last), Form::yield};
  if (name == "prints") return BookValue{count_cell(book.prints.live), Form::quantity};
  if (name == "traded") return BookValue{flag_cell(book.prints.live != 0), Form::code, true};
  if (name == "halted") return BookValue{flag_cell(book.halted), Form::code, true};
  if (name == "cusip") return BookValue{{cusip, 0, true}, Form::text};
  if (name == "symbol") return BookValue{{book.symbol, 0, true}, Form::text};
  return {};
}

// No price may as well be called zero.
bool book_says(const BookValue& value, const Claim& claim) {
  if (value.is_flag && claim.type == Claim::Type::flag) return claim.flag == (value.cell.text == "true");
  const bool zero = claim.type == Claim::Type::number && claim.number == 0;
  return (!value.cell.said && zero) || says(claim, value.cell, value.form, "", price_tolerance);
}

std::string value_text(const BookValue& value, std::string_view name) {
  return name == "prints" ? fmt::format("{:.0f}", value.cell.number) : cell_text(value.cell, value.form);
}

}  // namespace

bool makes_day(const Book& book, const Message& trade, const TruthRecord& record) {
  double high = price_of(book.day.high);
  double low = price_of(book.day.low);
  const double price = number(trade, "price");
  const bool counts = is_last_sale(trade, own_terms);
  if (counts && (!book.day.high || price > high)) high = price;
  if (counts && (!book.day.low || price < low)) low = price;
  const auto says = [&](RecordId name, double counted) {
    return same_number(carried_price(cell(record, name).number), counted, price_tolerance);
  };
  // A trade that was executed before the last sale leaves that as it is.
  return says("day_high", high) && says("day_low", low) &&
         (says("day_last", price_of(book.day.last)) || (counts && says("day_last", price)));
}

void compare_day(Reconciliation& all, BondState& bond, const DayOf& day) {
  const Kind kind = day.record.row->kind;
  bond.book.symbol = text(day.expectation.message, "symbol");
  if (kind == Kind::halt) bond.book.halted = cell(day.record, "action").text == "H";
  if (brings_trade(kind)) check_exactness(bond, day.record);
  const char change = count_message(bond.book, day.to_count);
  if (!vorbeld::tells_of_day(*day.record.row)) return;
  DayComparison comparison{all, day.sequence, bond.doubt};
  if (bond.exact) {
    ++all.days;
    compare_recorded_day(comparison, bond, day.record, change);
    expect_counted_day(day.expectation, bond, kind);
  }
  if (day.received != nullptr) compare_received_day(comparison, day);
  if (comparison.agreed && kind != Kind::cancel) bond.doubt.reset();
}

void compare_book(Reconciliation& all, std::uint64_t sequence, const std::string& cusip, const Claims& claims) {
  BondState unknown;
  const auto found = all.bonds.find(cusip);
  BondState& bond = found == all.bonds.end() ? unknown : found->second;
  if (!bond.exact) return;
  ++all.days;
  ++all.books;
  DayComparison comparison{all, sequence, bond.book_doubt};
  for (const Claim& claim : claims) {
    const auto value = book_value(bond.book, cusip, claim.name);
    if (!value) {
      note_uncompared(all, sequence, std::string(book_prefix) + claim.name);
      continue;
    }
    if (!bond.ordered && claim.name.starts_with("last")) continue;
    ++all.book_values;
    if (!book_says(*value, claim)) {
      differ(comparison, "book." + claim.name, value_text(*value, claim.name), Source::recording, claim_text(claim));
    }
  }
  if (comparison.agreed) bond.book_doubt.reset();
}

}  // namespace vorbelctl
