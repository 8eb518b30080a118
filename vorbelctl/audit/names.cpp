#include "vorbelctl/audit/names.h"

#include <algorithm>
#include <numeric>
#include <span>
#include <utility>
#include <vector>

#include "vorbelctl/audit/discrepancy.h"

namespace vorbelctl {
namespace {

// Names of fields elsewhere: in the bench's files, and short forms that are no part of the word.
constexpr std::array<std::pair<std::string_view, std::string_view>, 18> other_names{{
    {"px", "price"},
    {"size", "quantity"},
    {"volume", "quantity"},
    {"amount", "quantity"},
    {"exec", "executed_at"},
    {"exectime", "executed_at"},
    {"sale3", "sale_condition_3"},
    {"sale4", "sale_condition_4"},
    {"rpt", "reporting_party"},
    {"contra", "contra_party"},
    {"at", "action_at"},
    {"id", "trade_id"},
    {"origtradeid", "original_id"},
    {"originaltradeid", "original_id"},
    {"origid", "original_id"},
    {"timestamp", "sent_at"},
    {"senttime", "sent_at"},
    {"msgtype", "type"},
}};

// The letters and digits alone, in lower case: tradeId, TRADE_ID and trade-id are one.
std::string plain(std::string_view name) {
  std::string letters;
  for (const char c : name) {
    if (c >= 'A' && c <= 'Z') {
      letters += static_cast<char>(c - 'A' + 'a');
    } else if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) {
      letters += c;
    }
  }
  return letters;
}

// How many letters must be put in, left out or exchanged to make one text of the other.
std::size_t distance(std::string_view from, std::string_view to) {
  std::vector<std::size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), 0);
  for (std::size_t i = 0; i < from.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < to.size(); ++j) {
      const std::size_t above = row[j + 1];
      row[j + 1] = std::min({above + 1, row[j] + 1, diagonal + (from[i] == to[j] ? 0 : 1)});
      diagonal = above;
    }
  }
  return row.back();
}

// True for "qty" and "quantity": the same first letter, the others in their order. Two letters must begin the name.
bool is_short_form(std::string_view form, std::string_view name) {
  if (form.size() < 2 || form[0] != name[0] || (form.size() == 2 && !name.starts_with(form))) return false;
  std::size_t found = 0;
  for (const char c : name) found += found < form.size() && form[found] == c ? 1 : 0;
  return found == form.size();
}

}  // namespace

std::string_view closest_name(std::string_view name, std::span<const std::string_view> names) {
  const std::string wanted = plain(name);
  constexpr std::size_t longest = 40;  // nobody misspells a longer one
  if (wanted.empty() || wanted.size() > longest) return "";
  std::string_view best;
  // Long names may differ in more letters.
  std::size_t least = wanted.size() < 4 ? 1 : 1 + wanted.size() / 4;
  for (const std::string_view each : names) {
    const std::size_t letters = distance(wanted, plain(each));
    if (letters >= least) continue;
    least = letters;
    best = each;
  }
  if (!best.empty()) return best;
  for (const std::string_view each : names) {
    if (is_short_form(wanted, plain(each)) && (best.empty() || each.size() < best.size())) best = each;
  }
  return best;
}

namespace {

std::string_view closest_field(std::string_view name) {
  const std::string wanted = plain(name);
  const auto* const other =
      std::find_if(other_names.begin(), other_names.end(), [&](const auto& pair) { return pair.first == wanted; });
  return other == other_names.end() ? closest_name(name, vorbeld::field_names) : other->second;
}

}  // namespace

std::string near_name(std::string_view name) {
  if (name.starts_with(book_prefix)) {
    const std::string_view near = closest_name(name.substr(book_prefix.size()), book_names);
    return near.empty() ? "" : std::string(book_prefix) + std::string(near);
  }
  if (const std::string_view near = closest_field(name); !near.empty()) return std::string(near);
  // What stands in an object of its own may have the right name there.
  const std::size_t dot = name.rfind('.');
  return dot == std::string_view::npos ? "" : std::string(closest_field(name.substr(dot + 1)));
}

const vorbeld::KindRow* near_kind(std::string_view event) {
  std::array<std::string_view, vorbeld::kind_count> names;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const vorbeld::KindRow& row = vorbeld::message_kinds[i];
    names[i] = row.name;
    const bool by_type = event.size() == 2 || (event.size() == 3 && event[1] == '/');
    if (by_type && event.front() == row.category && row.types.find(event.back()) != std::string_view::npos) return &row;
  }
  const std::string word = plain(event);
  const auto* const stem = std::find_if(names.begin(), names.end(), [&](std::string_view name) {
    return word.starts_with(name) && word.size() <= name.size() + 3;  // halted, trades
  });
  if (stem != names.end()) return &vorbeld::message_kinds[static_cast<std::size_t>(stem - names.begin())];
  const std::string_view near = word.size() < 4 ? "" : closest_name(event, names);
  const auto* const row = std::find_if(vorbeld::message_kinds.begin(), vorbeld::message_kinds.end(),
                                       [&](const vorbeld::KindRow& each) { return each.name == near; });
  return row == vorbeld::message_kinds.end() ? nullptr : row;
}

std::string uncompared_text(std::string_view name) {
  const auto& fields = vorbeld::field_names;
  const bool elsewhere = std::find(fields.begin(), fields.end(), name) != fields.end();
  if (elsewhere) return shown(name) + ": not compared in messages that have no such field";
  const std::string near = near_name(name);
  return shown(name) + ": not compared" + (near.empty() ? "" : "; did you mean " + near + "?");
}

}  // namespace vorbelctl
