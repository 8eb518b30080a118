#include "vorbelctl/audit/day.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "vorbelctl/audit/eastern_time.h"
#include "vorbelctl/audit/expect.h"

namespace vorbelctl {
namespace {

constexpr std::array<std::string_view, 9> day_fields{"high",       "high_yield", "low",   "low_yield",  "last",
                                                     "last_yield", "change",     "close", "close_yield"};

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

}  // namespace

bool is_day_field(std::string_view name) {
  return std::find(day_fields.begin(), day_fields.end(), name) != day_fields.end();
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

}  // namespace vorbelctl
