#include "vorbelctl/audit/json_claims.h"

#include <cstdint>
#include <limits>
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

// Bare words that some writers use for numbers become such: the largest one that JSON has is not a price either.
std::string with_plain_numbers(std::string_view line) {
  constexpr std::array<std::pair<std::string_view, std::string_view>, 6> words{{{"-Infinity", "-1e308"},
                                                                                {"Infinity", "1e308"},
                                                                                {"-inf", "-1e308"},
                                                                                {"NaN", "1e308"},
                                                                                {"nan", "1e308"},
                                                                                {"inf", "1e308"}}};
  std::string plain;
  bool quoted = false;
  for (std::size_t at = 0; at < line.size();) {
    if (line[at] == '"') quoted = !quoted;
    if (quoted && line[at] == '\\') {
      plain += line.substr(at, 2);
      at += 2;
      continue;
    }
    std::size_t taken = 0;
    for (const auto& [word, number] : words) {
      if (quoted || !line.substr(at).starts_with(word)) continue;
      plain += number;
      taken = word.size();
      break;
    }
    if (taken == 0) plain += line[at];
    at += taken == 0 ? 1 : taken;
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
  return parse(line, claims) || parse(with_plain_numbers(as_json_shows(line)), claims);
}

}  // namespace vorbelctl
