#include "vorbelctl/commands/dashboard.h"

#include <fmt/core.h>

#include <algorithm>
#include <initializer_list>
#include <optional>
#include <string_view>

#include "vorbelctl/commands/listing.h"
#include "vorbelctl/commands/listing_text.h"
#include "vorbelctl/doors/control_port.h"

namespace vorbelctl {
namespace {

std::string per_second(const Rate& rate) {
  return fmt::format("{:.1f}/s", rate.per_second);
}

// "dropped 3" for each of the names.
std::string some_stats(const FieldList& stats, std::initializer_list<std::string_view> names) {
  std::string text;
  for (const auto name : names) text += fmt::format("  {} {}", name, stat(stats, name));
  return text;
}

// A bond's columns: CUSIP and symbol, cut to their widths, three prices, prints, cancels and corrections. They and a
// mark behind them fit a terminal of 80.
constexpr std::string_view bond_columns = "{:<10.10}{:<14.14}{:>11}{:>11}{:>11}{:>6}{:>5}{:>5}";

std::string bond_heading() {
  return fmt::format(bond_columns, "cusip", "symbol", "last", "high", "low", "print", "canc", "corr");
}

std::string sale_text(const std::optional<Sale>& sale) {
  return sale ? fmt::format("{:.6f}", sale->price) : "-";
}

std::string bond_line(const std::string& cusip, const Book& book) {
  std::string line =
      fmt::format(bond_columns, printable(cusip), printable(book.symbol), sale_text(book.day.last),
                  sale_text(book.day.high), sale_text(book.day.low), book.prints.live, book.cancels, book.corrections);
  if (book.halted) line += fmt::format(" HALTED {}", printable(book.halt_reason));
  if (book.close) line += " closed";
  return line;
}

// The table of bonds in at most `room` lines below its heading; what it leaves out is counted.
std::vector<std::string> bond_lines(const Books& books, std::size_t room) {
  const std::vector<std::string> cusips = sorted_cusips(books);
  const std::size_t shown = cusips.size() <= room ? cusips.size() : room - std::min<std::size_t>(room, 1);
  std::vector<std::string> lines{bond_heading()};
  for (std::size_t i = 0; i < shown; ++i) lines.push_back(bond_line(cusips[i], books.find(cusips[i])->second));
  if (shown < cusips.size()) lines.push_back(fmt::format("... {} more", cusips.size() - shown));
  return lines;
}

// What a right feed never shows; empty there.
std::string trouble_of_senders(const ReceiverTotals& totals) {
  std::string text;
  if (totals.altered != 0) text += fmt::format("  altered {}", totals.altered);
  if (totals.second_senders != 0) text += fmt::format("  second senders {}", totals.second_senders);
  if (totals.began_again != 0) text += fmt::format("  began again {}", totals.began_again);
  return text;
}

std::vector<std::string> heading(const Dashboard& dashboard, const ReceiverTotals& totals) {
  const Addresses& addresses = dashboard.addresses;
  std::vector<std::string> lines{
      fmt::format("vorbelctl watch   {} on {}   q ends it", addresses.session,
                  endpoint(addresses.group, addresses.feed_port)),
      fmt::format("feed    {}  messages {}  packets {}  heartbeats {}", per_second(dashboard.messages), totals.messages,
                  totals.packets, totals.heartbeats),
      fmt::format("seen    gaps {}  late {}  recovered {}  missing {}  duplicates {}", totals.gaps, totals.late,
                  totals.recovered, totals.missing, totals.duplicates)};
  lines.back() += trouble_of_senders(totals);
  if (addresses.control_port == 0) return lines;
  if (dashboard.stats.empty()) {
    lines.push_back(
        fmt::format("bench   the control port {} does not answer", endpoint("127.0.0.1", addresses.control_port)));
    return lines;
  }
  const FieldList& stats = dashboard.stats;
  lines.push_back(fmt::format("bench   {}{}", per_second(dashboard.reports),
                              some_stats(stats, {"seq", "reports", "capped", "retrans"})));
  lines.push_back("      " + some_stats(stats, {"cancels", "corrections", "halts"}));
  lines.push_back("faults" + some_stats(stats, {"sent", "dropped", "duplicated", "reordered"}));
  return lines;
}

// Keeps the first line of what an event is shown as.
void remember(Dashboard& dashboard, const std::string& text) {
  dashboard.recent.push_back(text.substr(0, text.find('\n')));
  if (dashboard.recent.size() > most_recent) dashboard.recent.pop_front();
}

}  // namespace

void update_rate(Rate& rate, std::uint64_t count, std::uint64_t now_ms) {
  if (rate.at_ms != 0 && now_ms > rate.at_ms) {
    const std::uint64_t grown = count >= rate.count ? count - rate.count : count;
    rate.per_second = static_cast<double>(grown) * 1000 / static_cast<double>(now_ms - rate.at_ms);
  }
  rate.count = count;
  rate.at_ms = now_ms;
}

void take_event(Dashboard& dashboard, const Event& event) {
  if (event.kind == EventKind::began_again) dashboard.books.clear();
  if (event.kind == EventKind::message) {
    const Decoded decoded = decode_message(event.text);
    const bool reads = decoded.malformed.empty();
    if (reads) apply_message(dashboard.books, decoded.message);
    if (!reads || kind_of(decoded.message) != Kind::trade) remember(dashboard, message_text(event, decoded, false));
  } else if (event.kind != EventKind::heartbeat && event.kind != EventKind::gap_closed) {
    remember(dashboard, event_text(event, false));
  }
}

std::vector<std::string> screen_lines(const Dashboard& dashboard, const ReceiverTotals& totals, std::size_t width,
                                      std::size_t height) {
  constexpr std::size_t rows_for_events = 5;
  std::vector<std::string> lines = heading(dashboard, totals);
  lines.emplace_back();
  // Beside the bonds there are the heading of their table, an empty line and the events.
  const std::size_t taken = lines.size() + 2 + std::min(rows_for_events, dashboard.recent.size());
  const auto bonds = bond_lines(dashboard.books, height > taken ? height - taken : 0);
  lines.insert(lines.end(), bonds.begin(), bonds.end());
  lines.emplace_back();
  const std::size_t room = height > lines.size() ? height - lines.size() : 0;
  const std::size_t shown = std::min(room, dashboard.recent.size());
  lines.insert(lines.end(), dashboard.recent.end() - static_cast<std::ptrdiff_t>(shown), dashboard.recent.end());
  if (lines.size() > height) lines.resize(height);
  for (auto& line : lines) line.resize(std::min(line.size(), width));
  return lines;
}

std::string status_line(const Dashboard& dashboard, const ReceiverTotals& totals) {
  std::string line =
      fmt::format("feed {}  messages {}  missing {}  duplicates {}  heartbeats {}", per_second(dashboard.messages),
                  totals.messages, totals.missing, totals.duplicates, totals.heartbeats) +
      trouble_of_senders(totals);
  if (!dashboard.stats.empty()) {
    line += fmt::format("  bench {}{}", per_second(dashboard.reports),
                        some_stats(dashboard.stats, {"seq", "reports", "cancels", "corrections", "dropped"}));
  }
  return line;
}

FieldList list_status(const Dashboard& dashboard, const ReceiverTotals& totals) {
  FieldList fields{{"event", std::string("watch")},
                   {"messages_per_second", Number{dashboard.messages.per_second, 1}},
                   {"reports_per_second", Number{dashboard.reports.per_second, 1}}};
  // Both sides count packets and messages; what the bench says of itself is told apart by its name.
  for (const auto& [name, value] : dashboard.stats) fields.push_back({fmt::format("bench_{}", name), value});
  const FieldList seen = list_totals(totals);
  fields.insert(fields.end(), seen.begin(), seen.end());
  return fields;
}

std::vector<std::string> sorted_cusips(const Books& books) {
  std::vector<std::string> cusips;
  cusips.reserve(books.size());
  for (const auto& [cusip, book] : books) cusips.push_back(cusip);
  std::sort(cusips.begin(), cusips.end());
  return cusips;
}

}  // namespace vorbelctl
