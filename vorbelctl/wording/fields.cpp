#include "vorbelctl/wording/fields.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>

namespace vorbelctl {
namespace {

bool is_printable(char c) {
  return c >= ' ' && c <= '~';
}

nlohmann::json to_json(const Value& value) {
  return std::visit(
      [](const auto& held) -> nlohmann::json {
        using Held = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<Held, std::monostate>) {
          return nullptr;
        } else if constexpr (std::is_same_v<Held, Number>) {
          return std::strtod(value_text(held).c_str(), nullptr);  // rounded to the decimals that it is shown with
        } else {
          return held;
        }
      },
      value);
}

std::string fixed(const Number& number) {
  std::array<char, 330> digits;  // the longest double has 309 before the point
  const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), number.value,
                                    std::chars_format::fixed, number.decimals);
  return {digits.data(), result.ptr};
}

std::string hex_dump_line(std::size_t offset, std::string_view bytes, std::size_t width) {
  std::array<char, 32> number;
  std::snprintf(number.data(), number.size(), "  %04zx ", offset);
  std::string line = number.data();
  std::string text;
  for (std::size_t i = 0; i < width; ++i) {
    if (i >= bytes.size()) {
      line += "   ";
      continue;
    }
    std::snprintf(number.data(), number.size(), " %02x", static_cast<unsigned>(static_cast<unsigned char>(bytes[i])));
    line += number.data();
    text += is_printable(bytes[i]) ? bytes[i] : '.';
  }
  return line + "  " + text + "\n";
}

}  // namespace

const Value* find_value(const FieldList& fields, std::string_view name) {
  const auto found = std::find_if(fields.begin(), fields.end(), [&](const auto& field) { return field.name == name; });
  return found == fields.end() ? nullptr : &found->value;
}

std::string value_text(const Value& value) {
  std::string text;
  if (std::holds_alternative<std::monostate>(value)) text = "-";
  if (const auto* flag = std::get_if<bool>(&value)) text = *flag ? "true" : "false";
  if (const auto* count = std::get_if<std::uint64_t>(&value)) text = std::to_string(*count);
  if (const auto* number = std::get_if<Number>(&value)) text = fixed(*number);
  if (const auto* words = std::get_if<std::string>(&value)) text = printable(*words);
  return text;
}

std::string json_line(const FieldList& fields) {
  std::string line = "{";
  for (const auto& field : fields) {
    if (line.size() > 1) line += ',';
    line += '"';
    line += field.name;  // one of ours: nothing in it needs an escape
    line += "\":";
    line += to_json(field.value).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  }
  return line + "}";
}

std::string printable(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (is_printable(c)) {
      result += c;
      continue;
    }
    std::array<char, 8> escape;
    std::snprintf(escape.data(), escape.size(), "\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
    result += escape.data();
  }
  return result;
}

std::string as_json_shows(std::string_view text) {
  if (std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; })) {
    return std::string(text);
  }
  const auto json = nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  return nlohmann::json::parse(json).get<std::string>();
}

std::string hex_dump(std::string_view bytes, std::size_t most) {
  constexpr std::size_t width = 16;
  const auto shown = bytes.substr(0, most);
  std::string dump;
  for (std::size_t at = 0; at < shown.size(); at += width) dump += hex_dump_line(at, shown.substr(at, width), width);
  if (shown.size() < bytes.size()) dump += "  ... and " + std::to_string(bytes.size() - shown.size()) + " more bytes\n";
  return dump;
}

}  // namespace vorbelctl
