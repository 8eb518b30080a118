#include "vorbelctl/audit/expectation.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

#include "vorbelctl/audit/eastern_time.h"

namespace vorbelctl {
namespace {

using vorbeld::Form;
namespace layout = vorbeld::layout;
namespace table = vorbeld::message_table;

constexpr double quantity_tolerance = 0.5e-2;

// A term by its names in a trade and in an amendment of that trade.
struct Term {
  std::uint8_t own;
  std::uint8_t original;
  Form form;
  std::size_t width;
};
constexpr auto terms = [] {
  std::array<Term, table::terms.size()> list{};
  for (std::size_t i = 0; i < list.size(); ++i) {
    list[i] = {table::id_of(table::terms[i].name), table::id_of(table::original_terms[i].name), table::terms[i].form,
               table::terms[i].at.width};
  }
  return list;
}();

void set(Expectation& expectation, std::uint8_t id, Source source, const Cell& cell, double tolerance) {
  expectation.message.cells[id] = cell;
  expectation.sources[id] = source;
  expectation.known[id] = true;
  expectation.tolerances[id] = tolerance;
}

constexpr std::array powers_of_ten{1.0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11};

// The value that is left when "%0<width>.<decimals>f" is cut to `width` characters. What does not read then is a value
// that no message could carry.
double carried_number(double value, std::size_t width, int decimals) {
  if (!std::isfinite(value)) return value;  // written out as a word
  // Whatever it is rounded to, it has room then.
  const double room = powers_of_ten[width - static_cast<std::size_t>(decimals) - 1];
  if (value >= 0 && value < room - 1) return value;
  std::array<char, 512> text;  // the largest double has 309 digits before the point
  std::snprintf(text.data(), text.size(), "%0*.*f", static_cast<int>(width), decimals, value);
  double carried = 0;
  const auto result = std::from_chars(text.data(), text.data() + width, carried, std::chars_format::fixed);
  return result.ec == std::errc() ? carried : std::numeric_limits<double>::quiet_NaN();
}

double carried_yield(double yield, std::size_t width) {
  return std::copysign(carried_number(std::fabs(yield), width - 1, 6), yield);
}

std::string_view carried_text(std::string_view text, const vorbeld::Field& field) {
  text = text.substr(0, field.width);
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

// Messages have room for the low seven digits.
std::string_view carried_id(std::string_view trade_id) {
  constexpr std::size_t width = layout::header["trade_id"].width;
  return trade_id.size() > width ? trade_id.substr(trade_id.size() - width) : trade_id;
}

// A term as a message carries what the record says.
Cell carried_term(const Term& term, const Cell& recorded) {
  Cell cell = recorded;
  switch (term.form) {
    case Form::price:
      cell.number = carried_price(recorded.number);
      break;
    case Form::quantity:
      cell.number = carried_number(recorded.number, term.width, 2);
      break;
    case Form::yield:
      if (recorded.said) cell.number = carried_yield(recorded.number, term.width);
      break;
    case Form::code:
      // The one that records leave out is always blank.
      if (!recorded.said) cell = {" ", 0, true};
      break;
    case Form::blank:
    case Form::block:
    case Form::text:
    case Form::digits:
    case Form::optional_digits:
      break;
  }
  return cell;
}

void expect_terms(Expectation& expectation, const TruthRecord& trade, bool of_original) {
  for (const Term& term : terms) {
    if (term.form == Form::blank) continue;
    const double tolerance = term.form == Form::quantity ? quantity_tolerance : price_tolerance;
    set(expectation, of_original ? term.original : term.own, Source::truth, carried_term(term, trade.cells[term.own]),
        tolerance);
  }
}

void expect_day(Expectation& expectation, const TruthRecord& record, Kind kind) {
  if (kind != Kind::summary) expect_text(expectation, "change", Source::truth, cell(record, "change").text);
  if (kind != Kind::summary && kind != Kind::correction) return;
  const auto price = [&](FieldId field, RecordId name) {
    expect_number(expectation, field, Source::truth, carried_price(cell(record, name).number), price_tolerance);
  };
  price("high", "day_high");
  price("low", "day_low");
  if (kind == Kind::summary) {
    price("close", "day_last");
  } else {
    price("last", "day_last");
  }
}

void expect_bond(Expectation& expectation, const TruthRecord& bond) {
  expectation.scratch[0] = unescaped(cell(bond, "symbol").text);
  expect_text(expectation, "symbol", Source::truth, carried_text(expectation.scratch[0], layout::bond["symbol"]));
  expect_text(expectation, "cusip", Source::truth, carried_text(cell(bond, "cusip").text, layout::bond["cusip"]));
  expect_text(expectation, "sub_product", Source::rule, "CORP");  // all bonds are of this kind
}

void expect_halt(Expectation& expectation, const TruthRecord& record) {
  expect_text(expectation, "action", Source::truth, cell(record, "action").text);
  expect_text(expectation, "action_at", Source::truth, cell(record, "action_at").text);
  expect_text(expectation, "sent_at", Source::truth, cell(record, "action_at").text);
  expect_text(expectation, "reason", Source::truth, carried_text(cell(record, "reason").text, layout::halt["reason"]));
}

// A bond is described by the issuer and more, of which the short name is the first word; one that a report brought into
// being has its symbol for both.
bool names_agree(std::string_view description, std::string_view symbol, std::string_view short_name) {
  const std::string_view issuer =
      description.substr(0, std::min(description.find(' '), layout::bond["short_name"].width));
  return issuer == short_name || (description.starts_with(symbol) && symbol.starts_with(short_name));
}

std::string day_of(std::int64_t utc_s) {
  return local_date_time(utc_s).substr(0, 8);
}

}  // namespace

void expect_text(Expectation& expectation, FieldId field, Source source, std::string_view text) {
  set(expectation, field.id, source, {text, 0, true}, 0);
}

void expect_number(Expectation& expectation, FieldId field, Source source, double number, double tolerance) {
  set(expectation, field.id, source, {{}, number, true}, tolerance);
}

void expect_nothing(Expectation& expectation, FieldId field, Source source) {
  set(expectation, field.id, source, {}, 0);
}

void expect_records(Expectation& expectation, const TruthRecord& record, const TruthRecord* original) {
  const Kind kind = record.row->kind;
  expectation.message.row = record.row;
  expect_text(expectation, "category", Source::truth, {&record.category, 1});
  expect_text(expectation, "type", Source::truth, {&record.type, 1});
  expect_text(expectation, "origin", Source::rule, "O");
  if (brings_trade(kind)) {
    expect_text(expectation, "trade_id", Source::truth, carried_id(cell(record, "trade_id").text));
    expect_terms(expectation, record, false);
  } else {
    expect_nothing(expectation, "trade_id", Source::rule);
  }
  if (kind == Kind::control) return;
  expect_bond(expectation, kind == Kind::cancel && original != nullptr ? *original : record);
  if (kind == Kind::trade) expect_nothing(expectation, "reversed_date", Source::record);
  if (amends(kind)) {
    expect_text(expectation, "original_id", Source::truth, carried_id(cell(record, "original_id").text));
    expect_text(expectation, "function", Source::truth, cell(record, "function").text);
  }
  if (original != nullptr) expect_original_terms(expectation, *original);
  if (kind == Kind::halt) {
    expect_halt(expectation, record);
  } else {
    expect_day(expectation, record, kind);
  }
}

void expect_amended(Expectation& expectation, const TruthRecord& original) {
  expect_text(expectation, "original_id", Source::truth, carried_id(cell(original, "trade_id").text));
}

void expect_original_terms(Expectation& expectation, const TruthRecord& original) {
  expect_terms(expectation, original, true);
}

void expect_names(Expectation& expectation, BondNames& names, std::optional<std::string_view> short_name,
                  std::optional<std::string_view> description) {
  if (short_name && !names.short_name) names.short_name = std::string(*short_name);
  if (names.short_name) expect_text(expectation, "short_name", Source::earlier, *names.short_name);
  if (kind_of(expectation.message) != Kind::halt) return;
  // A handler that leaves out the short name can only be held to what it said first.
  const bool is_believed =
      description &&
      (!names.short_name || names_agree(*description, text(expectation.message, "symbol"), *names.short_name));
  if (is_believed && !names.description) names.description = std::string(*description);
  if (!names.description && !names.short_name) return;
  // Until one is believed, no more is known than how it begins.
  expectation.scratch[4] = names.description ? *names.description : names.short_name.value_or("") + " ...";
  expect_text(expectation, "description", Source::earlier, expectation.scratch[4]);
}

std::int64_t expect_sent_at(Expectation& expectation, std::string_view said, const SendWindow& window) {
  const auto instants = utc_of_local(said);
  const auto sent = std::find_if(instants.begin(), instants.end(), [&](std::int64_t utc_s) {
    return utc_s >= window.earliest_s && utc_s <= window.latest_s;
  });
  const bool fits = sent != instants.end();
  if (kind_of(expectation.message) != Kind::halt) {
    const std::int64_t likely_s =
        std::max(window.earliest_s, window.likely_s == 0 ? window.earliest_s + 1 : window.likely_s);
    expectation.scratch[1] = fits ? std::string(said) : local_date_time(std::min(window.latest_s, likely_s));
    expect_text(expectation, "sent_at", Source::order, expectation.scratch[1]);
  }
  if (fits) return *sent;
  // Perhaps it was the message before that ran ahead, so the next one is held to this time. That keeps one wrong time
  // from making all that follow wrong.
  return !instants.empty() && instants.front() < window.earliest_s ? instants.front() : 0;
}

void expect_reversed_date(Expectation& expectation, std::optional<std::string_view> said, std::int64_t sent_s) {
  constexpr std::int64_t age_s = std::int64_t{2} * 86400;
  if (code(expectation.message, "as_of") != 'R' || !said) return;
  // The trade was made up to a second before the message.
  const bool believed = sent_s == 0 || *said == day_of(sent_s - age_s - 1);
  expectation.scratch[3] = believed ? std::string(*said) : day_of(sent_s - age_s);
  expect_text(expectation, "reversed_date", Source::rule, expectation.scratch[3]);
}

double carried_price(double price) {
  return price > 0 ? carried_number(price, layout::trade_body["price"].width, 6) : 0;
}

bool agrees(const Cell& expected, const Cell& received, Form form, double tolerance) {
  if (!expected.said || !received.said) return expected.said == received.said;
  if (form != Form::price && form != Form::quantity && form != Form::yield) return expected.text == received.text;
  return same_number(expected.number, received.number, tolerance);
}

}  // namespace vorbelctl
