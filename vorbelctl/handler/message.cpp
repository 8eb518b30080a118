#include "vorbelctl/handler/message.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>

namespace vorbelctl {
namespace {

using vorbeld::Form;
using vorbeld::KindRow;
using vorbeld::MessageField;
namespace layout = vorbeld::layout;

bool all_digits(std::string_view bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool all_blank(std::string_view bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](char c) { return c == ' '; });
}

std::string_view without_blanks_behind(std::string_view bytes) {
  return bytes.substr(0, bytes.find_last_not_of(' ') + 1);
}

// A decimal without a sign: digits, and a point somewhere. A number that is wider than its field arrives cut at the
// right, so the point may come last or not at all.
bool read_decimal(std::string_view bytes, double& number) {
  constexpr std::size_t exactly = 15;  // digits that a double holds whatever they are
  constexpr std::array<double, exactly> powers{1,   1e1, 1e2,  1e3,  1e4,  1e5,  1e6, 1e7,
                                               1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14};
  std::uint64_t digits = 0;
  std::size_t point = bytes.size();
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto digit = static_cast<unsigned>(bytes[i] - '0');
    if (bytes[i] == '.' && point == bytes.size()) {
      point = i;
    } else if (digit > 9) {
      return false;
    } else {
      digits = digits * 10 + digit;
    }
  }
  if (bytes.empty() || (point == 0 && bytes.size() == 1)) return false;
  const std::size_t decimals = point == bytes.size() ? 0 : bytes.size() - point - 1;
  // Both are whole numbers below 2^53 then, so that their quotient is the nearest double.
  number = static_cast<double>(digits) / powers[decimals];
  return true;
}

// Behind blanks, what the publisher writes for a number that is not finite; a report may bring one.
bool read_endless(std::string_view bytes, double& number) {
  const std::string_view word = bytes.substr(std::min(bytes.find_first_not_of(' '), bytes.size()));
  constexpr double infinite = std::numeric_limits<double>::infinity();
  if (word == "inf" || word == "-inf") {
    number = word.front() == '-' ? -infinite : infinite;
    return true;
  }
  number = std::numeric_limits<double>::quiet_NaN();
  return word == "nan" || word == "-nan";
}

bool read_price(std::string_view bytes, double& number) {
  return read_decimal(bytes, number) || (read_endless(bytes, number) && number > 0);
}

bool read_quantity(std::string_view bytes, double& number) {
  constexpr std::string_view millions = "MM+";
  if (bytes.substr(1, millions.size()) == millions) {
    number = (bytes[0] - '0') * 1e6;
    return (bytes[0] == '1' || bytes[0] == '5') && all_blank(bytes.substr(1 + millions.size()));
  }
  const bool negative = bytes[0] == '-';
  if (!read_decimal(bytes.substr(negative ? 1 : 0), number)) return read_endless(bytes, number);
  if (negative) number = -number;
  return true;
}

bool read_yield(std::string_view bytes, double& number) {
  if (bytes[0] != ' ' && bytes[0] != '-') return false;
  if (!read_decimal(bytes.substr(1), number) && !read_endless(bytes.substr(1), number)) return false;
  if (bytes[0] == '-') number = -number;
  return true;
}

const KindRow* find_kind(char category, char type) {
  const auto* const found =
      std::find_if(vorbeld::message_kinds.begin(), vorbeld::message_kinds.end(), [&](const KindRow& row) {
        return row.category == category && (row.kind == Kind::control || row.types.front() == type);
      });
  return found == vorbeld::message_kinds.end() ? nullptr : found;
}

// The kind of a message by its first bytes and its length; null where it is none.
const KindRow* row_of_bytes(std::string_view bytes) {
  if (bytes.size() < layout::header.length) return nullptr;
  const KindRow* const row = find_kind(bytes[layout::header["category"].offset], bytes[layout::header["type"].offset]);
  return row != nullptr && row->length == bytes.size() ? row : nullptr;
}

// The two ways in which terms say that a quantity is capped must agree.
bool quantity_agrees(const Message& message, FieldId quantity, FieldId indicator) {
  const bool capped = text(message, quantity).substr(1, 3) == "MM+";
  return capped == (code(message, indicator) == 'E');
}

// What must agree between fields; the name of the one that does not.
std::string_view check_agreement(const Message& message) {
  const Kind kind = kind_of(message);
  if (brings_trade(kind) && !quantity_agrees(message, "quantity", "quantity_indicator")) return "quantity_indicator";
  if (amends(kind) && !quantity_agrees(message, "original_quantity", "original_quantity_indicator")) {
    return "original_quantity_indicator";
  }
  if (cell(message, "trade_id").said != brings_trade(kind)) return "trade_id";
  if (message.row->types.find(code(message, "type")) == std::string_view::npos) return "type";
  return "";
}

}  // namespace

bool read_digits(std::string_view bytes, std::uint64_t& number) {
  constexpr std::size_t surely_fits = 19;
  number = 0;
  if (bytes.empty() || bytes.size() > surely_fits) {
    const auto result = std::from_chars(bytes.data(), bytes.data() + bytes.size(), number);
    return result.ec == std::errc() && result.ptr == bytes.data() + bytes.size();
  }
  for (const char byte : bytes) {
    const auto digit = static_cast<unsigned>(byte - '0');
    if (digit > 9) return false;
    number = number * 10 + digit;
  }
  return true;
}

bool read_cell(std::string_view bytes, Form form, std::string_view codes, Cell& cell) {
  cell.text = bytes;
  cell.said = true;
  switch (form) {
    case Form::blank:
    case Form::block:
      cell.said = false;
      return all_blank(bytes);
    case Form::code:
      return codes.empty() || std::find(codes.begin(), codes.end(), bytes[0]) != codes.end();
    case Form::text:
      cell.text = without_blanks_behind(bytes);
      return true;
    case Form::digits:
      return all_digits(bytes);
    case Form::optional_digits:
      cell.said = !all_blank(bytes);
      if (!cell.said) cell.text = {};
      return !cell.said || all_digits(bytes);
    case Form::price:
      return read_price(bytes, cell.number);
    case Form::quantity:
      return read_quantity(bytes, cell.number);
    case Form::yield:
      cell.said = !all_blank(bytes);
      return !cell.said || read_yield(bytes, cell.number);
  }
  return false;
}

Decoded decode_message(std::string_view bytes) {
  Decoded decoded;
  if (bytes.size() < layout::header.length) {
    decoded.malformed = "length";
    return decoded;
  }
  const char category = bytes[layout::header["category"].offset];
  const KindRow* const row = find_kind(category, bytes[layout::header["type"].offset]);
  if (row == nullptr) {
    decoded.malformed = layout::header.rows[0].codes.find(category) == std::string_view::npos ? "category" : "type";
    return decoded;
  }
  if (bytes.size() != row->length) {
    decoded.malformed = "length";
    return decoded;
  }
  decoded.message.row = row;
  for (const MessageField& field : row->fields) {
    Cell& into = decoded.message.cells[field.id];
    if (read_cell(bytes.substr(field.at.offset, field.at.width), field.form, field.codes, into)) continue;
    decoded.malformed = field.name;
    return decoded;
  }
  decoded.malformed = check_agreement(decoded.message);
  return decoded;
}

BytesDiffer compare_bytes(std::string_view earlier, std::string_view later) {
  const KindRow* const row = row_of_bytes(earlier);
  if (row == nullptr || row != row_of_bytes(later)) {
    return {"length", std::to_string(earlier.size()), std::to_string(later.size())};
  }
  BytesDiffer result;
  for (const MessageField& field : row->fields) {
    const std::string_view was = earlier.substr(field.at.offset, field.at.width);
    const std::string_view is = later.substr(field.at.offset, field.at.width);
    if (was == is) continue;
    if (!result.field.empty()) {
      ++result.others;
      continue;
    }
    result.field = field.name;
    result.earlier = without_blanks_behind(was);
    result.later = without_blanks_behind(is);
  }
  return result;
}

}  // namespace vorbelctl
