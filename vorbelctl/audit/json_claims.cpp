#include "vorbelctl/audit/json_claims.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "vorbelctl/wording/fields.h"

namespace vorbelctl {
namespace {

constexpr std::size_t most_nested = 4;

// What the parser calls for every piece of the JSON. Returning false ends the parse.
struct Collector {
  Claims& claims;
  std::vector<std::string> path{};  // names of the objects that are open, then the name of the member under way
  std::size_t arrays = 0;           // open ones; their content is left out
  std::size_t objects = 0;          // open ones, those within arrays not counted

  bool add(Claim claim) {
    if (objects == 0 && arrays == 0) return false;  // the line is a single value
    if (arrays > 0 || path.size() > most_nested) return true;
    claim.name = path.front();
    for (std::size_t i = 1; i < path.size(); ++i) claim.name += "." + path[i];
    claims.push_back(std::move(claim));
    return true;
  }
  bool add_number(std::string text, double number) {
    return add({.name = {}, .type = Claim::Type::number, .text = std::move(text), .number = number});
  }
  bool null() { return add({}); }
  bool boolean(bool flag) { return add({.name = {}, .type = Claim::Type::flag, .text = {}, .flag = flag}); }
  bool number_unsigned(std::uint64_t number) { return add_number(std::to_string(number), static_cast<double>(number)); }
  bool number_integer(std::int64_t number) { return add_number(std::to_string(number), static_cast<double>(number)); }
  bool number_float(double number, const std::string& text) { return add_number(text, number); }
  bool string(std::string& text) { return add({.name = {}, .type = Claim::Type::text, .text = std::move(text)}); }
  static bool binary(const nlohmann::json::binary_t& /*bytes*/) { return false; }
  bool start_object(std::size_t /*members*/) {
    if (arrays > 0) return true;
    if (++objects > 100) return false;  // nobody nests like this but to do harm
    path.emplace_back();
    return true;
  }
  bool key(std::string& name) {
    if (arrays == 0) path.back() = std::move(name);
    return true;
  }
  bool end_object() {
    if (arrays > 0) return true;
    --objects;
    path.pop_back();
    return true;
  }
  bool start_array(std::size_t /*values*/) {
    if (objects == 0) return false;
    if (arrays == 0) add({.name = {}, .type = Claim::Type::array, .text = "[...]"});
    ++arrays;
    return true;
  }
  bool end_array() {
    --arrays;
    return true;
  }
  static bool parse_error(std::size_t /*at*/, const std::string& /*token*/, const nlohmann::json::exception& /*why*/) {
    return false;
  }
};

// Bare words that some writers use for numbers that are not finite become texts, which are read as such numbers.
std::string with_quoted_words(std::string_view line) {
  constexpr std::array<std::string_view, 6> words{"-Infinity", "Infinity", "-inf", "NaN", "nan", "inf"};
  std::string plain;
  bool quoted = false;
  for (std::size_t at = 0; at < line.size();) {
    if (line[at] == '"') quoted = !quoted;
    if (quoted && line[at] == '\\') {
      plain += line.substr(at, 2);
      at += 2;
      continue;
    }
    const auto* const word = std::find_if(words.begin(), words.end(), [&](std::string_view each) {
      return !quoted && line.substr(at).starts_with(each);
    });
    const std::size_t taken = word == words.end() ? 1 : word->size();
    plain += word == words.end() ? std::string(1, line[at]) : "\"" + std::string(*word) + "\"";
    at += taken;
  }
  return plain;
}

bool parse(std::string_view line, Claims& claims) {
  claims.clear();
  Collector collector{claims};
  return nlohmann::json::sax_parse(line, &collector);
}

}  // namespace

bool read_claims(std::string_view line, Claims& claims) {
  return parse(line, claims) || parse(with_quoted_words(as_json_shows(line)), claims);
}

}  // namespace vorbelctl
