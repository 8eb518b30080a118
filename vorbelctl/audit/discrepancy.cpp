#include "vorbelctl/audit/discrepancy.h"

#include <fmt/format.h>

#include <utility>

#include "vorbelctl/wording/fields.h"

namespace vorbelctl {

using vorbeld::Form;

std::string_view source_name(Source source) {
  switch (source) {
    case Source::message:
      return "message";
    case Source::repeat:
      return "repeat";
    case Source::truth:
      return "truth";
    case Source::tape:
      return "tape";
    case Source::recording:
      return "recording";
    case Source::book:
      return "book";
    case Source::order:
      return "order";
    case Source::earlier:
      return "earlier messages";
    case Source::record:
      return "record";
    case Source::rule:
      return "rule";
  }
  return "";
}

Cause note(Discrepancies& discrepancies, Discrepancy discrepancy) {
  ++discrepancies.total;
  count_wrong_field(discrepancies.fields, discrepancy.field, discrepancy.expected, discrepancy.received);
  const Cause cause{discrepancies.listed.size()};
  if (!discrepancies.first || discrepancy.sequence < discrepancies.first->sequence) {
    discrepancies.first = discrepancy;
    discrepancies.first_is_listed = cause.place < most_discrepancies_listed;
  }
  if (cause.place < most_discrepancies_listed) discrepancies.listed.push_back(std::move(discrepancy));
  return cause;
}

void note_follow_up(Discrepancies& discrepancies, Cause cause) {
  ++discrepancies.follow_ups;
  if (cause.place < discrepancies.listed.size()) ++discrepancies.listed[cause.place].follow_ups;
}

std::string cell_text(const Cell& cell, Form form) {
  if (!cell.said) return "-";
  switch (form) {
    case Form::price:
    case Form::yield:
      return fmt::format("{:.6f}", cell.number);
    case Form::quantity:
      return fmt::format("{:.2f}", cell.number);
    case Form::blank:
    case Form::block:
    case Form::code:
    case Form::text:
    case Form::digits:
    case Form::optional_digits:
      break;
  }
  return shown(cell.text);
}

std::string shown(std::string_view text) {
  constexpr std::size_t longest = 120;
  std::string result = printable(text);
  if (result.size() > longest) result = result.substr(0, longest) + "...";
  // Blanks say something in this feed, so a text of blanks alone must be seen.
  if (result.find_first_not_of(' ') == std::string::npos) result = "\"" + result + "\"";
  return result;
}

}  // namespace vorbelctl
