#include "vorbelctl/audit/findings.h"

#include <cmath>
#include <utility>

namespace vorbelctl {
namespace {

constexpr std::size_t longest_text = 120;  // of what is shown of a value

const Number* as_number(const Value& value, Number& scratch) {
  if (const auto* const count = std::get_if<std::uint64_t>(&value)) {
    scratch = {static_cast<double>(*count), 0};
    return &scratch;
  }
  return std::get_if<Number>(&value);
}

// Nothing at all reads like an empty text.
std::optional<std::string_view> as_text(const Value& value) {
  if (std::holds_alternative<std::monostate>(value)) return "";
  const auto* const text = std::get_if<std::string>(&value);
  if (text == nullptr) return {};
  return std::string_view(*text).substr(0, text->find_last_not_of(' ') + 1);
}

std::string shown(const Value& value) {
  std::string text = value_text(value);
  if (text.size() > longest_text) text = text.substr(0, longest_text) + "...";
  // Blanks say something in this feed, so a text of blanks alone must be seen.
  if (text.find_first_not_of(' ') == std::string::npos) text = "\"" + text + "\"";
  return text;
}

}  // namespace

void add_difference(Findings& findings, Difference difference) {
  ++findings.total;
  if (!findings.first || difference.sequence < findings.first->sequence) findings.first = difference;
  if (findings.listed.size() < most_differences_listed) findings.listed.push_back(std::move(difference));
}

std::string_view witness_name(Witness witness) {
  switch (witness) {
    case Witness::message:
      return "message";
    case Witness::truth:
      return "truth";
    case Witness::tape:
      return "tape";
    case Witness::book:
      return "book";
    case Witness::order:
      return "order";
    case Witness::earlier:
      return "earlier messages";
    case Witness::keys:
      return "keys";
    case Witness::capture:
      return "capture";
  }
  return "";
}

bool same_value(const Value& expected, const Value& found) {
  Number left_scratch;
  Number right_scratch;
  const Number* const left = as_number(expected, left_scratch);
  const Number* const right = as_number(found, right_scratch);
  if (left != nullptr && right != nullptr) {
    if (std::isnan(left->value) || std::isinf(left->value)) {
      return left->value == right->value || (std::isnan(left->value) && std::isnan(right->value));
    }
    return std::fabs(left->value - right->value) < 0.5 * std::pow(10, -left->decimals);
  }
  const auto left_text = as_text(expected);
  const auto right_text = as_text(found);
  if (left_text && right_text) return *left_text == *right_text;
  return expected == found;
}

void compare_value(Findings& findings, std::uint64_t sequence, const std::string& field, Witness expecting,
                   const Value& expected, Witness showing, const Value& found) {
  if (same_value(expected, found)) return;
  add_difference(findings, {sequence, field, expecting, shown(expected), showing, shown(found)});
}

}  // namespace vorbelctl
