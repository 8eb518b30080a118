#include "vorbelctl/audit/claim.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <system_error>

#include "vorbelctl/audit/discrepancy.h"
#include "vorbelctl/wording/fields.h"

namespace vorbelctl {
namespace {

using vorbeld::Form;

std::string_view without_blanks_behind(std::string_view text) {
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

bool read_number(std::string_view text, double& number) {
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

bool is_numeric(Form form) {
  return form == Form::price || form == Form::quantity || form == Form::yield;
}

// What JSON has no number for is often written as null too.
bool says_nothing(const Cell& cell, Form form) {
  if (!cell.said) return true;
  return is_numeric(form) ? !std::isfinite(cell.number) : without_blanks_behind(cell.text).empty();
}

// Digits may have been taken for a number.
bool number_says(double number, const Cell& cell, Form form, double tolerance) {
  double said = cell.number;
  if (!cell.said && std::isnan(number)) return true;
  if (!cell.said || (!is_numeric(form) && !read_number(cell.text, said))) return false;
  return same_number(number, said, tolerance);
}

bool text_says(std::string_view text, const Cell& cell, Form form, double tolerance) {
  text = without_blanks_behind(text);
  const std::string_view said = cell.said ? without_blanks_behind(cell.text) : std::string_view();
  if (!is_numeric(form)) return text == said || text == without_blanks_behind(as_json_shows(said));
  if (text.empty()) return says_nothing(cell, form);
  double number = 0;
  return read_number(text, number) && number_says(number, cell, form, tolerance);
}

}  // namespace

const Claim* find_claim(const Claims& claims, std::string_view name) {
  const auto found = std::find_if(claims.begin(), claims.end(), [&](const Claim& claim) { return claim.name == name; });
  return found == claims.end() ? nullptr : &*found;
}

bool says(const Claim& claim, const Cell& cell, Form form, std::string_view codes, double tolerance) {
  switch (claim.type) {
    case Claim::Type::nothing:
      return says_nothing(cell, form);
    case Claim::Type::flag:
      return codes == "Y " && claim.flag == (cell.text == "Y");
    case Claim::Type::number:
      return number_says(claim.number, cell, form, tolerance);
    case Claim::Type::text:
      return text_says(claim.text, cell, form, tolerance);
    case Claim::Type::array:
      return false;
  }
  return false;
}

std::string claim_text(const Claim& claim) {
  switch (claim.type) {
    case Claim::Type::nothing:
      return "-";
    case Claim::Type::flag:
      return claim.flag ? "true" : "false";
    case Claim::Type::number:
    case Claim::Type::text:
    case Claim::Type::array:
      break;
  }
  return shown(claim.text);
}

}  // namespace vorbelctl
