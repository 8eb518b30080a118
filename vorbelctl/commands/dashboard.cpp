#include "vorbelctl/commands/dashboard.h"

#include <algorithm>

#include "vorbelctl/commands/listing.h"
#include "vorbelctl/commands/listing_text.h"
#include "vorbelctl/commands/stats.h"
#include "vorbelctl/handler/wording.h"

namespace vorbelctl {
namespace {

// A column of the table of bonds, cut to its width.
std::string column(const std::string& text, std::size_t width) {
  return padded(text.substr(0, width), width);
}

std::string per_second(const Rate& rate) {
  return value_text(Number{rate.per_second, 1}) + "/s";
}

// "dropped 3" for each of the names.
std::string some_stats(const FieldList& stats, const std::vector<std::string>& names) {
  std::string text;
  for (const auto& name : names) text += "  " + name + " " + std::to_string(stat(stats, name));
  return text;
}

// The columns and a mark behind them fit a terminal of 80.
constexpr std::size_t cusip_width = 10;
constexpr std::size_t symbol_width = 14;
constexpr std::size_t price_width = 11;
constexpr std::size_t prints_width = 6;
constexpr std::size_t amendments_width = 5;

std::string bond_heading() {
  return column("cusip", cusip_width) + column("symbol", symbol_width) + padded_left("last", price_width) +
         padded_left("high", price_width) + padded_left("low", price_width) + padded_left("print", prints_width) +
         padded_left("canc", amendments_width) + padded_left("corr", amendments_width);
}

std::string sale_text(const std::optional<Sale>& sale) {
  return padded_left(sale ? value_text(Number{sale->price, 6}) : "-", price_width);
}

std::string bond_line(const std::string& cusip, const Book& book) {
  return column(printable(cusip), cusip_width) + column(printable(book.symbol), symbol_width) + sale_text(book.last) +
         sale_text(book.high) + sale_text(book.low) + padded_left(std::to_string(book.prints.size()), prints_width) +
         padded_left(std::to_string(book.cancels), amendments_width) +
         padded_left(std::to_string(book.corrections), amendments_width) +
         (book.halted ? " HALTED " + printable(book.halt_reason) : "") + (book.close ? " closed" : "");
}

// The table of bonds in at most `room` lines below its heading; what it leaves out is counted.
std::vector<std::string> bond_lines(const Books& books, std::size_t room) {
  const std::vector<std::string> cusips = sorted_cusips(books);
  const std::size_t shown = cusips.size() <= room ? cusips.size() : room - std::min<std::size_t>(room, 1);
  std::vector<std::string> lines{bond_heading()};
  for (std::size_t i = 0; i < shown; ++i) lines.push_back(bond_line(cusips[i], books.find(cusips[i])->second));
  if (shown < cusips.size()) lines.push_back("... " + std::to_string(cusips.size() - shown) + " more");
  return lines;
}

std::vector<std::string> heading(const Dashboard& dashboard, const ReceiverTotals& totals) {
  const Addresses& addresses = dashboard.addresses;
  std::vector<std::string> lines{
      "vorbelctl watch   " + addresses.session + " on " + endpoint(addresses.group, addresses.feed_port) +
          "   q ends it",
      "feed    " + per_second(dashboard.messages) + "  messages " + std::to_string(totals.messages) + "  packets " +
          std::to_string(totals.packets) + "  heartbeats " + std::to_string(totals.heartbeats),
      "seen    gaps " + std::to_string(totals.gaps) + "  late " + std::to_string(totals.late) + "  recovered " +
          std::to_string(totals.recovered) + "  missing " + std::to_string(totals.missing) + "  duplicates " +
          std::to_string(totals.duplicates)};
  if (addresses.control_port == 0) return lines;
  if (dashboard.stats.empty()) {
    lines.push_back("bench   the control port " + endpoint("127.0.0.1", addresses.control_port) + " does not answer");
    return lines;
  }
  lines.push_back("bench   " + per_second(dashboard.reports) +
                  some_stats(dashboard.stats, {"seq", "reports", "capped", "retrans"}));
  lines.push_back("      " + some_stats(dashboard.stats, {"cancels", "corrections", "halts"}));
  lines.push_back("faults" + some_stats(dashboard.stats, {"sent", "dropped", "duplicated", "reordered"}));
  return lines;
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
  bool everyday = event.kind == EventKind::heartbeat || event.kind == EventKind::gap_closed;
  if (event.kind == EventKind::message) {
    const Decoded decoded = decode_message(event.text);
    if (decoded.malformed.empty()) {
      apply_message(dashboard.books, decoded.message);
      everyday = decoded.message.kind == Kind::trade;
    }
  }
  if (everyday) return;
  const std::string text = event_text(event, false);
  dashboard.recent.push_back(text.substr(0, text.find('\n')));
  if (dashboard.recent.size() > most_recent) dashboard.recent.pop_front();
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
  std::string line = "feed " + per_second(dashboard.messages) + "  messages " + std::to_string(totals.messages) +
                     "  missing " + std::to_string(totals.missing) + "  duplicates " +
                     std::to_string(totals.duplicates) + "  heartbeats " + std::to_string(totals.heartbeats);
  if (!dashboard.stats.empty()) {
    line += "  bench " + per_second(dashboard.reports) +
            some_stats(dashboard.stats, {"seq", "reports", "cancels", "corrections", "dropped"});
  }
  return line;
}

FieldList list_status(const Dashboard& dashboard, const ReceiverTotals& totals) {
  FieldList fields{{"event", std::string("watch")},
                   {"messages_per_second", Number{dashboard.messages.per_second, 1}},
                   {"reports_per_second", Number{dashboard.reports.per_second, 1}}};
  // Both sides count packets and messages; what the bench says of itself is told apart by its name.
  for (const auto& [name, value] : dashboard.stats) fields.push_back({"bench_" + name, value});
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
