#include "services/report_line.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <optional>
#include <string>

#include "btds/trade_block.h"
#include "common/numbers.h"

namespace vorbeld {
namespace {

std::uint64_t scan_settlement(const std::string& field) {
  int year = 0;
  int month = 0;
  int day = 0;
  if (std::sscanf(field.c_str(), "%4d%2d%2d", &year, &month, &day) != 3) return 0;
  if (year < 0 || month < 0 || day < 0) return 0;  // the scan takes a dash for a sign, as in 2023-1-1
  std::tm date{};
  date.tm_year = year - 1900;
  date.tm_mon = month - 1;
  date.tm_mday = day;
  date.tm_hour = 12;
  return static_cast<std::uint64_t>(timegm(&date));
}

// A decimal number as nearly every report has it: digits, perhaps with a point among them.
struct PlainNumber {
  std::uint64_t digits;  // without the point
  std::size_t decimals;  // how many of them stand behind it
};

// Nothing for any other text, for an empty one, and for one of more than 15 characters: up to there the digits are
// exact in a double too.
std::optional<PlainNumber> read_plain(std::string_view text) {
  if (text.empty() || text.size() > 15) return std::nullopt;
  std::uint64_t digits = 0;
  std::size_t behind_point = 0;  // where the decimals begin; 0: no point yet
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto digit = static_cast<unsigned>(text[at]) - '0';
    if (digit <= 9) {
      digits = digits * 10 + digit;
    } else if (text[at] == '.' && behind_point == 0 && text.size() > 1) {
      behind_point = at + 1;
    } else {
      return std::nullopt;
    }
  }
  return PlainNumber{digits, behind_point == 0 ? 0 : text.size() - behind_point};
}

// What std::stod makes of the field. Of a plain number the digits and the power of ten are both exact, so their
// quotient is the double nearest to the decimal, as the standard conversion gives it.
double read_double(std::string_view field) {
  const auto number = read_plain(field);
  if (!number) return std::stod(std::string(field));
  return static_cast<double>(number->digits) / static_cast<double>(powers_of_ten[number->decimals]);
}

// What std::stoull makes of the field.
std::uint64_t read_unsigned(std::string_view field) {
  const auto number = read_plain(field);
  return number && number->decimals == 0 ? number->digits : std::stoull(std::string(field));
}

void read_parties(std::string_view side, TradeTerms& terms) {
  if (side.empty() || side.front() == 'D') return;  // between dealers, as the terms start out
  terms.side = side.front();
  terms.contra_party = 'C';
  terms.remuneration = 'M';
}

}  // namespace

bool is_report(const std::vector<std::string_view>& fields) {
  return fields.size() >= report_fields && fields[record_type] == "T";
}

std::uint64_t settlement_s(SettlementMemo& memo, std::string_view field) {
  if (field.size() != memo.text.size()) return 0;
  if (!std::equal(field.begin(), field.end(), memo.text.begin())) {
    std::copy(field.begin(), field.end(), memo.text.begin());
    memo.settle_s = scan_settlement(std::string(field));
  }
  return memo.settle_s;
}

TradeInput read_report(const std::vector<std::string_view>& fields, SettlementMemo& memo, std::uint64_t report_ms) {
  TradeInput input;
  input.cusip = fields[report_cusip];
  input.symbol = fields[report_symbol];
  input.terms.price = read_double(fields[report_price]);
  input.terms.quantity = read_double(fields[report_quantity]);
  read_parties(fields[report_side], input.terms);
  input.venue = fields[report_venue];
  input.exec_ms = read_unsigned(fields[report_exec_ms]);
  input.terms.exec_s = input.exec_ms / 1000;
  input.terms.settle_s = settlement_s(memo, fields[report_settlement]);
  input.where = fields[report_where];
  if (input.where == "book") {
    input.terms.reporting_party = 'T';
    input.terms.ats = 'Y';
  }
  input.report_ms = report_ms;
  return input;
}

}  // namespace vorbeld
