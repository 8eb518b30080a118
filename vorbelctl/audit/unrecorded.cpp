#include "vorbelctl/audit/unrecorded.h"

#include <algorithm>

#include "btds/layout.h"
#include "vorbelctl/audit/eastern_time.h"

namespace vorbelctl {
namespace {

namespace layout = vorbeld::layout;

// A bond is described by the issuer and more, of which the short name is the first word; one that a report brought into
// being has its symbol for both.
bool names_agree(const std::string& description, const Message& bond, const std::string& short_name) {
  const std::string issuer = description.substr(0, std::min(description.find(' '), layout::bond::short_name.width));
  return issuer == short_name || (description.starts_with(bond.symbol) && bond.symbol.starts_with(short_name));
}

void expect_short_name(Message& expected, const FieldList& found, BondNames& names) {
  const std::string* const said = text_field(found, "short_name");
  if (said != nullptr && !names.short_name_known) {
    names.short_name = *said;
    names.short_name_known = true;
  }
  expected.short_name = names.short_name;
}

void expect_description(Message& expected, const FieldList& found, BondNames& names) {
  const std::string* const said = text_field(found, "description");
  if (said != nullptr && !names.description_known && names_agree(*said, expected, names.short_name)) {
    names.description = *said;
    names.description_known = true;
  }
  expected.description = names.description;
}

// A reversed trade is two days old.
void expect_reversed_date(Message& expected, const FieldList& found, std::int64_t sent_s) {
  constexpr std::int64_t age_s = std::int64_t{2} * 86400;
  const std::string* const said = text_field(found, "reversed_date");
  if (expected.terms.as_of != 'R' || said == nullptr) return;
  // The trade was made up to a second before the message.
  const std::string date = local_date_time(sent_s - age_s).substr(0, 8);
  const std::string second_before = local_date_time(sent_s - age_s - 1).substr(0, 8);
  expected.reversed_date = sent_s == 0 || *said == second_before ? *said : date;
}

}  // namespace

std::optional<std::int64_t> sent_within(const std::string& sent_at, const SendWindow& window) {
  for (const std::int64_t utc_s : utc_of_local(sent_at)) {
    if (utc_s >= window.earliest_s && utc_s <= window.latest_s) return utc_s;
  }
  return {};
}

void expect_unrecorded(Message& expected, const FieldList& found, BondNames& names, std::int64_t sent_s) {
  if (expected.kind == Kind::control) return;
  expect_short_name(expected, found, names);
  if (expected.kind == Kind::halt) expect_description(expected, found, names);
  if (expected.kind == Kind::trade) expect_reversed_date(expected, found, sent_s);
}

const std::string* text_field(const FieldList& fields, std::string_view name) {
  const Value* const value = find_value(fields, name);
  return value == nullptr ? nullptr : std::get_if<std::string>(value);
}

}  // namespace vorbelctl
