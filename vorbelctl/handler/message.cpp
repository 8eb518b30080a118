#include "vorbelctl/handler/message.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "vorbelctl/handler/message_rows.h"

namespace vorbelctl {
namespace {

struct Species {
  Kind kind;
  char category;
  char type;  // 0: any type that the header's row allows
  std::size_t length;
  std::string_view name;
};

namespace layout = vorbeld::layout;

constexpr std::array species{
    Species{Kind::trade, 'T', 'M', layout::trade::length, "trade"},
    Species{Kind::cancel, 'T', 'N', layout::cancel::length, "cancel"},
    Species{Kind::correction, 'T', 'O', layout::correction::length, "correction"},
    Species{Kind::halt, 'A', 'H', layout::halt::length, "halt"},
    Species{Kind::summary, 'A', 'E', layout::summary::length, "summary"},
    Species{Kind::control, 'C', 0, layout::control::length, "control"},
};

constexpr std::string_view control_codes = "IOCXJZ";

// Takes apart a message of its kind: calls visit(prefix of the names, offset in the message, rows, record) for every
// part in the order of the bytes. Decoding and listing are two visitors of this one walk.
template <class SomeMessage, class Visit>
void visit_body(SomeMessage& message, const Visit& visit) {
  switch (message.kind) {
    case Kind::trade:
      visit("", 0, rows::reversed, message);
      visit("", layout::trade::body.offset, rows::terms, message.terms);
      visit("", 0, rows::trade_change, message.day);
      break;
    case Kind::cancel:
      visit("", 0, rows::cancelled, message);
      visit("original_", layout::cancel::original_body.offset, rows::terms, message.original);
      visit("", layout::cancel::prices.offset, rows::price_change, message.day);
      break;
    case Kind::correction:
      visit("", 0, rows::corrected, message);
      visit("original_", layout::correction::original_body.offset, rows::terms, message.original);
      visit("", layout::correction::body.offset, rows::terms, message.terms);
      visit("", layout::correction::prices.offset, rows::price_change, message.day);
      break;
    case Kind::halt:
      visit("", 0, rows::halt, message);
      break;
    case Kind::summary:
      visit("", 0, rows::summary, message.day);
      break;
    case Kind::control:
      break;
  }
}

template <class SomeMessage, class Visit>
void visit_parts(SomeMessage& message, const Visit& visit) {
  visit("", 0, rows::header, message);
  if (message.kind != Kind::control) visit("", 0, rows::bond, message);
  visit_body(message, visit);
}

bool all_of_set(std::string_view bytes, std::string_view set) {
  return bytes.find_first_not_of(set) == std::string_view::npos;
}

bool all_digits(std::string_view bytes) {
  return all_of_set(bytes, "0123456789");
}

bool all_blank(std::string_view bytes) {
  return all_of_set(bytes, " ");
}

// A decimal without exponent that fills `bytes`: digits and at most one point, wherever it stands, because a number
// wider than its field arrives cut at the right.
bool read_decimal(std::string_view bytes, double& value) {
  if (!all_of_set(bytes, "0123456789.")) return false;
  const auto* const end = bytes.data() + bytes.size();
  const auto result = std::from_chars(bytes.data(), end, value, std::chars_format::fixed);
  return result.ec == std::errc() && result.ptr == end;
}

bool read_quantity(std::string_view bytes, double& value) {
  constexpr std::string_view millions = "MM+";
  if (bytes.substr(1, millions.size()) == millions) {
    value = (bytes[0] - '0') * 1e6;
    return (bytes[0] == '1' || bytes[0] == '5') && all_blank(bytes.substr(1 + millions.size()));
  }
  const bool negative = bytes[0] == '-';
  if (!read_decimal(negative ? bytes.substr(1) : bytes, value)) return false;
  if (negative) value = -value;
  return true;
}

bool read_field(std::string_view bytes, Form /*form*/, std::string_view allowed, char& into) {
  into = bytes[0];
  return allowed.empty() || allowed.find(into) != std::string_view::npos;
}

bool read_field(std::string_view bytes, Form form, std::string_view /*allowed*/, std::string& into) {
  into = bytes.substr(0, bytes.find_last_not_of(' ') + 1);
  if (form == Form::text) return true;
  return all_digits(bytes) || (form == Form::optional_digits && into.empty());
}

bool read_field(std::string_view bytes, Form form, std::string_view /*allowed*/, double& into) {
  return form == Form::quantity ? read_quantity(bytes, into) : read_decimal(bytes, into);
}

bool read_field(std::string_view bytes, Form /*form*/, std::string_view /*allowed*/, std::optional<double>& into) {
  into.reset();
  if (all_blank(bytes)) return true;
  double magnitude = 0;
  if ((bytes[0] != ' ' && bytes[0] != '-') || !read_decimal(bytes.substr(1), magnitude)) return false;
  into = bytes[0] == '-' ? -magnitude : magnitude;
  return true;
}

template <class Record>
bool read_row(std::string_view bytes, const Row<Record>& row, Record& record) {
  const auto read = [&](auto member) {
    if constexpr (std::is_same_v<decltype(member), std::monostate>) {
      return all_blank(bytes);
    } else {
      return read_field(bytes, row.form, row.allowed, record.*member);
    }
  };
  return std::visit(read, row.member);
}

Value listed(char c, Form /*form*/) {
  return std::string(1, c);
}
Value listed(const std::string& text, Form form) {
  if (form == Form::optional_digits && text.empty()) return {};
  return text;
}
Value listed(double value, Form form) {
  return Number{value, form == Form::quantity ? 2 : 6};
}
Value listed(const std::optional<double>& value, Form /*form*/) {
  if (!value) return {};
  return Number{*value, 6};
}

// The two ways in which the terms say that a quantity is capped must agree.
bool quantity_agrees(std::string_view body) {
  const bool capped = body.substr(layout::trade_body::quantity.offset + 1, 3) == "MM+";
  return capped == (body[layout::trade_body::quantity_indicator.offset] == 'E');
}

// What must agree between header and kind; returns the name of the field that does not.
std::string check_header(const Message& message) {
  const bool has_id = message.kind == Kind::trade || message.kind == Kind::correction;
  if (message.trade_id.empty() == has_id) return "trade_id";
  if (message.kind == Kind::control && control_codes.find(message.type) == std::string_view::npos) return "type";
  return "";
}

// Fills the record up to the first field that does not read and returns that field's name.
std::string read_parts(std::string_view bytes, Message& message) {
  std::string malformed;
  visit_parts(message, [&](std::string_view prefix, std::size_t offset, const auto& part, auto& record) {
    for (const auto& row : part) {
      if (!malformed.empty()) return;
      if (!read_row(bytes.substr(offset + row.at.offset, row.at.width), row, record)) {
        malformed = std::string(prefix) + std::string(row.name);
      }
    }
    if constexpr (std::is_same_v<decltype(record), TradeTerms&>) {
      if (!quantity_agrees(bytes.substr(offset))) malformed = std::string(prefix) + "quantity_indicator";
    }
  });
  return malformed;
}

}  // namespace

Decoded decode_message(std::string_view bytes) {
  Decoded decoded;
  if (bytes.size() < layout::header::length) {
    decoded.malformed = "length";
    return decoded;
  }
  const char category = bytes[layout::header::category.offset];
  const char type = bytes[layout::header::type.offset];
  const auto* const found = std::find_if(species.begin(), species.end(), [&](const Species& candidate) {
    return candidate.category == category && (candidate.type == type || candidate.type == 0);
  });
  if (found == species.end()) {
    decoded.malformed = rows::header[0].allowed.find(category) == std::string_view::npos ? "category" : "type";
  } else if (bytes.size() != found->length) {
    decoded.malformed = "length";
  } else {
    decoded.message.kind = found->kind;
    decoded.malformed = read_parts(bytes, decoded.message);
    if (decoded.malformed.empty()) decoded.malformed = check_header(decoded.message);
  }
  return decoded;
}

std::string_view kind_name(Kind kind) {
  const auto* const found =
      std::find_if(species.begin(), species.end(), [&](const Species& candidate) { return candidate.kind == kind; });
  return found->name;
}

FieldList list_fields(const Message& message) {
  FieldList list;
  visit_parts(message, [&](std::string_view prefix, std::size_t /*offset*/, const auto& part, const auto& record) {
    for (const auto& row : part) {
      const auto add = [&](auto member) {
        if constexpr (!std::is_same_v<decltype(member), std::monostate>) {
          list.push_back({std::string(prefix) + std::string(row.name), listed(record.*member, row.form)});
        }
      };
      std::visit(add, row.member);
    }
  });
  return list;
}

}  // namespace vorbelctl
