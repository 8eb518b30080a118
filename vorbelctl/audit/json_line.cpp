#include "vorbelctl/audit/json_line.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <utility>

namespace vorbelctl {
namespace {

constexpr std::size_t most_nested = 4;

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

std::size_t skip_digits(std::string_view text, std::size_t at) {
  while (at < text.size() && is_digit(text[at])) ++at;
  return at;
}

// The number grammar of JSON, where nan, infinities and leading zeros have no place.
bool is_json_number(std::string_view text) {
  std::size_t at = text.starts_with('-') ? 1 : 0;
  const std::size_t whole = skip_digits(text, at);
  if (whole == at || (text[at] == '0' && whole > at + 1)) return false;
  at = whole;
  if (at < text.size() && text[at] == '.') {
    const std::size_t fraction = skip_digits(text, at + 1);
    if (fraction == at + 1) return false;
    at = fraction;
  }
  if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
    const bool has_sign = at + 1 < text.size() && (text[at + 1] == '+' || text[at + 1] == '-');
    const std::size_t digits = at + (has_sign ? 2 : 1);
    const std::size_t exponent = skip_digits(text, digits);
    if (exponent == digits) return false;
    at = exponent;
  }
  return at == text.size();
}

bool is_json_word(std::string_view text) {
  return text == "true" || text == "false" || text == "null" || is_json_number(text);
}

// A byte of a text. What JSON does not allow there is escaped as the character of the same number, so that every byte
// can be told again afterwards.
void append_text_byte(std::string& json, char c) {
  const auto byte = static_cast<unsigned char>(c);
  if (byte >= 0x20 && byte < 0x80) {
    json += c;
    return;
  }
  std::array<char, 8> escape;
  std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(byte));
  json += escape.data();
}

// Copies the text that begins with the quote at `at`; returns the place behind it.
std::size_t copy_text(std::string_view line, std::size_t at, std::string& json) {
  json += line[at++];
  while (at < line.size()) {
    const char c = line[at++];
    append_text_byte(json, c);
    if (c == '"') break;
    if (c == '\\' && at < line.size()) append_text_byte(json, line[at++]);
  }
  return at;
}

// Copies a bare word, in quotes unless JSON knows it.
std::size_t copy_word(std::string_view line, std::size_t at, std::string& json) {
  const std::size_t end = std::min(line.find_first_of("{}[],:\" \t\r", at), line.size());
  const auto word = line.substr(at, end - at);
  if (is_json_word(word)) {
    json += word;
    return end;
  }
  json += '"';
  for (const char c : word) {
    if (c == '\\') json += c;
    append_text_byte(json, c);
  }
  json += '"';
  return end;
}

// The line as strict JSON.
std::string strict_json(std::string_view line) {
  constexpr std::string_view structure = "{}[],: \t\r";
  std::string json;
  json.reserve(line.size());
  for (std::size_t at = 0; at < line.size();) {
    if (line[at] == '"') {
      at = copy_text(line, at, json);
    } else if (structure.find(line[at]) != std::string_view::npos) {
      json += line[at++];
    } else {
      at = copy_word(line, at, json);
    }
  }
  return json;
}

// Takes back what append_text_byte did: two bytes of UTF-8 that stand for a character below 256 become its one byte.
std::string bytes_of(std::string&& text) {
  std::size_t to = 0;
  for (std::size_t from = 0; from < text.size(); ++from) {
    const auto byte = static_cast<unsigned char>(text[from]);
    if ((byte == 0xC2 || byte == 0xC3) && from + 1 < text.size()) {
      const auto next = static_cast<unsigned char>(text[++from]);
      text[to++] = static_cast<char>(((byte & 3U) << 6U) | (next & 0x3FU));
    } else {
      text[to++] = text[from];
    }
  }
  text.resize(to);
  return std::move(text);
}

// What the parser calls for every piece of the JSON. Returning false ends the parse.
struct Collector {
  FieldList fields;
  std::vector<std::string> path;  // names of the objects that are open, then the name of the member under way
  std::size_t arrays = 0;         // open ones; their content is left out
  std::size_t objects = 0;        // open ones, those within arrays not counted

  bool add(Value value) {
    if (objects == 0 && arrays == 0) return false;  // the line is a single value
    if (arrays > 0 || path.size() > most_nested) return true;
    std::string name;
    for (const auto& part : path) name += (name.empty() ? "" : ".") + part;
    fields.push_back({std::move(name), std::move(value)});
    return true;
  }
  bool null() { return add({}); }
  bool boolean(bool flag) { return add(flag); }
  bool number_unsigned(std::uint64_t number) { return add(number); }
  bool number_integer(std::int64_t number) { return add(Number{static_cast<double>(number), 0}); }
  bool number_float(double number, const std::string& /*text*/) { return add(Number{number, 6}); }
  bool string(std::string& text) { return add(bytes_of(std::move(text))); }
  static bool binary(const nlohmann::json::binary_t& /*bytes*/) { return false; }
  bool start_object(std::size_t /*members*/) {
    if (arrays > 0) return true;
    if (++objects > 100) return false;  // nobody nests like this but to do harm
    path.emplace_back();
    return true;
  }
  bool key(std::string& name) {
    if (arrays == 0) path.back() = bytes_of(std::move(name));
    return true;
  }
  bool end_object() {
    if (arrays > 0) return true;
    --objects;
    path.pop_back();
    return true;
  }
  bool start_array(std::size_t /*values*/) {
    ++arrays;
    return objects > 0;
  }
  bool end_array() {
    --arrays;
    return true;
  }
  static bool parse_error(std::size_t /*at*/, const std::string& /*token*/, const nlohmann::json::exception& /*why*/) {
    return false;
  }
};

}  // namespace

std::optional<FieldList> parse_object(std::string_view line) {
  Collector collector;
  if (!nlohmann::json::sax_parse(strict_json(line), &collector)) return {};
  return std::move(collector.fields);
}

}  // namespace vorbelctl
