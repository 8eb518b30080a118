#include "vorbelctl/commands/picture.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <optional>
#include <string_view>
#include <utility>

#include "vorbelctl/commands/listing.h"
#include "vorbelctl/doors/control_port.h"

namespace vorbelctl {
namespace {

// Screens from here on have room for events beside the bonds, which then take so many columns.
constexpr std::size_t two_panes_from = 160;
constexpr std::size_t bonds_pane = 120;

// Screens from here on can spare empty lines.
constexpr std::size_t airy_from = 20;

// A bond with what its line and its place depend on.
struct BondRow {
  std::string_view cusip;
  const Book* book = nullptr;
  BondLoss loss;
};

struct BondColumn {
  std::string_view heading;
  std::size_t width = 0;  // without the blank before the next one
  bool left = false;      // where its text begins; otherwise it ends at the right
  int rank = 0;           // narrow screens have those with the lowest ones
  std::string (*text)(const BondRow& row) = nullptr;
};

constexpr std::size_t price_width = 10;

// With as many of its six decimals as there is room for.
std::string shown_number(double number) {
  for (int decimals = 6; decimals >= 0; --decimals) {
    const std::string text = fmt::format("{:.{}f}", number, decimals);
    if (text.size() <= price_width) return text;
  }
  return fmt::format("{:.2e}", number);
}

std::string shown_price(const std::optional<Sale>& sale) {
  return sale ? shown_number(sale->price) : "-";
}

std::string shown_yield(const std::optional<Sale>& sale) {
  return sale && sale->yield ? shown_number(*sale->yield) : "-";
}

// In four characters at most: "9999", "123k", "45M".
std::string short_count(std::uint64_t number) {
  if (number < 10000) return fmt::format("{}", number);
  if (number < 1'000'000) return fmt::format("{}k", number / 1000);
  return fmt::format("{}M", number / 1'000'000);
}

std::string state_of(const BondRow& row) {
  if (row.book->halted) return "HALTED";
  if (row.loss.lacks) return "LOST";
  if (row.loss.recovered != 0) return "filled";
  return row.book->close ? "closed" : "";
}

// Halted or lossy bonds that say one of the two as their state say the other here.
std::string remark_of(const BondRow& row) {
  std::string text = row.book->halted ? printable(row.book->halt_reason) : "";
  const auto add = [&](const std::string& what) { text += (text.empty() ? "" : ", ") + what; };
  if (row.book->halted && row.loss.lacks) add("lost");
  if (row.loss.recovered != 0) add(fmt::format("{} recovered", row.loss.recovered));
  if (row.book->close && state_of(row) != "closed") add("closed");
  return text;
}

// The first four ranks fit a screen of 40 columns, the first nine one of 80. What stands last may be longer.
constexpr std::array<BondColumn, 11> bond_columns{{
    {"state", 6, true, 0, state_of},
    {"cusip", 9, true, 1, [](const BondRow& row) { return printable(row.cusip); }},
    {"symbol", 14, true, 6, [](const BondRow& row) { return printable(row.book->symbol); }},
    {"last", price_width, false, 2, [](const BondRow& row) { return shown_price(row.book->day.last); }},
    {"high", price_width, false, 4, [](const BondRow& row) { return shown_price(row.book->day.high); }},
    {"low", price_width, false, 5, [](const BondRow& row) { return shown_price(row.book->day.low); }},
    {"prnt", 4, false, 3, [](const BondRow& row) { return short_count(row.book->prints.live); }},
    {"canc", 4, false, 7, [](const BondRow& row) { return short_count(row.book->cancels); }},
    {"corr", 4, false, 8, [](const BondRow& row) { return short_count(row.book->corrections); }},
    {"yield", price_width, false, 10, [](const BondRow& row) { return shown_yield(row.book->day.last); }},
    {"", 6, true, 9, remark_of},
}};

// The columns that fit the width, in their order.
std::vector<const BondColumn*> fitting_columns(std::size_t width) {
  std::vector<const BondColumn*> ranked;
  for (const BondColumn& column : bond_columns) ranked.push_back(&column);
  std::sort(ranked.begin(), ranked.end(), [](const BondColumn* a, const BondColumn* b) { return a->rank < b->rank; });
  std::size_t taken = 0;
  std::size_t fitting = 0;
  for (const BondColumn* const column : ranked) {
    if (taken + column->width > width) break;
    taken += column->width + 1;
    ++fitting;
  }
  ranked.resize(fitting);
  std::sort(ranked.begin(), ranked.end());  // all of one array
  return ranked;
}

// One cell for each column, cut where it is too long, on a ground as wide as the table.
template <class Text>
ScreenLine table_line(const std::vector<const BondColumn*>& shown, std::size_t width, Look look, const Text& text) {
  std::string line;
  for (const BondColumn* const column : shown) {
    const std::string cell = text(*column);
    if (column != shown.front()) line += ' ';
    if (column->text == remark_of) {
      line += cell;
    } else {
      line += column->left ? fmt::format("{:<{}.{}}", cell, column->width, column->width)
                           : fmt::format("{:>{}.{}}", cell, column->width, column->width);
    }
  }
  return filled(clipped({{line, look}}, width), width, look);
}

Look look_of_bond(const BondRow& row) {
  if (row.loss.lacks) return Look::alarm;
  if (row.book->halted) return Look::warning;
  return row.loss.recovered != 0 ? Look::notice : Look::plain;
}

int place_of(const BondRow& row) {
  if (row.book->halted) return 0;
  if (row.loss.lacks) return 1;
  return row.loss.recovered != 0 ? 2 : 3;
}

// The bonds in the order in which they are shown.
std::vector<BondRow> rows_of(const Dashboard& dashboard) {
  std::vector<BondRow> rows;
  rows.reserve(dashboard.books.size());
  for (const auto& [cusip, book] : dashboard.books) {
    const auto loss = dashboard.losses.find(cusip);
    rows.push_back({cusip, &book, loss == dashboard.losses.end() ? BondLoss() : loss->second});
  }
  std::sort(rows.begin(), rows.end(), [](const BondRow& a, const BondRow& b) {
    return std::pair(place_of(a), a.cusip) < std::pair(place_of(b), b.cusip);
  });
  return rows;
}

// The table of bonds in at most `room` lines; where not all have room, its last line says which have.
std::vector<ScreenLine> bond_lines(Picture& picture, const std::vector<BondRow>& rows, std::size_t width,
                                   std::size_t room) {
  if (room == 0) return {};
  const std::vector<const BondColumn*> shown = fitting_columns(width);
  std::vector<ScreenLine> lines;
  lines.push_back(
      table_line(shown, width, Look::heading, [](const BondColumn& column) { return std::string(column.heading); }));
  const std::size_t left = room - 1;
  const bool all = rows.size() <= left;
  picture.bonds = rows.size();
  picture.bonds_shown = all ? rows.size() : left - std::min<std::size_t>(left, 1);
  picture.first_bond = std::min(picture.first_bond, rows.size() - picture.bonds_shown);
  for (std::size_t i = 0; i < picture.bonds_shown; ++i) {
    const BondRow& row = rows[picture.first_bond + i];
    lines.push_back(
        table_line(shown, width, look_of_bond(row), [&](const BondColumn& column) { return column.text(row); }));
  }
  if (all || left == 0) return lines;
  lines.push_back(
      {{picture.bonds_shown == 0 ? fmt::format("{} bonds", rows.size())
                                 : fmt::format("bonds {} to {} of {}; arrows, PgUp, PgDn", picture.first_bond + 1,
                                               picture.first_bond + picture.bonds_shown, rows.size())}});
  return lines;
}

// The latest events in at most `room` lines, none of them in parts.
std::vector<ScreenLine> event_lines(const std::deque<Span>& recent, std::size_t width, std::size_t room) {
  std::vector<ScreenLine> lines;
  for (auto event = recent.rbegin(); event != recent.rend(); ++event) {
    const std::vector<std::string> texts = fitted(event->text, width);
    if (lines.size() + texts.size() > room) break;
    for (auto text = texts.rbegin(); text != texts.rend(); ++text) lines.push_back({{*text, event->look}});
  }
  std::reverse(lines.begin(), lines.end());
  return lines;
}

ScreenLine title_line(const Addresses& addresses, std::size_t width) {
  const std::string session = printable(addresses.session);
  std::string title =
      fmt::format("vorbelctl watch   {} on {}   q ends it", session, endpoint(addresses.group, addresses.feed_port));
  if (title.size() > width) title = fmt::format("watch {}   q ends it", session);
  return {{title, Look::title}};
}

std::string seconds_of(std::uint64_t ms) {
  return fmt::format("{} s", ms / 1000);
}

// What must be seen from afar, the worst first; a piece of ground lies around each.
std::vector<Span> alerts(const Dashboard& dashboard, const ReceiverTotals& totals, const std::vector<BondRow>& rows) {
  std::vector<Span> found;
  const auto say = [&](const std::string& what, Look look) { found.push_back({" " + what + " ", look}); };
  const auto count = [&](const std::string& what, std::uint64_t number, Look look) {
    if (number != 0) say(fmt::format("{} {}", what, number), look);
  };
  count("LOST", totals.missing, Look::alarm);
  if (dashboard.restarted_ms != 0) {
    say(fmt::format("BEGAN AGAIN {} ago",
                    seconds_of(dashboard.now_ms - std::min(dashboard.now_ms, dashboard.restarted_ms))),
        Look::alarm);
  }
  if (silent_ms(dashboard) >= silent_after_ms) {
    say(fmt::format("FEED SILENT {}", seconds_of(silent_ms(dashboard))), Look::alarm);
  }
  count("ALTERED", totals.altered, Look::alarm);
  count("SECOND SENDERS", totals.second_senders, Look::alarm);
  count("MALFORMED", totals.malformed, Look::alarm);
  const auto halted = std::count_if(rows.begin(), rows.end(), [](const BondRow& row) { return row.book->halted; });
  count("HALTED", static_cast<std::uint64_t>(halted), Look::warning);
  if (dashboard.addresses.control_port != 0 && dashboard.stats.empty()) say("NO CONTROL PORT", Look::warning);
  if (dashboard.has_ended) say("SESSION ENDED", Look::warning);
  return found;
}

std::vector<ScreenLine> alert_lines(const std::vector<Span>& found, std::size_t width) {
  if (found.empty()) return {{{"nothing is lost or halted", Look::good}}};
  std::vector<ScreenLine> lines = flowed({"", found.front().look}, found, width);
  for (ScreenLine& line : lines) line = filled(line, width, found.front().look);
  return lines;
}

Span counted_span(const std::string& name, std::uint64_t number, Look look) {
  return {fmt::format("{} {}", name, number), number == 0 ? Look::plain : look};
}

// "dropped 3" for each of the names.
void add_stats(std::vector<Span>& pieces, const FieldList& stats, std::initializer_list<std::string_view> names) {
  for (const auto name : names) pieces.push_back({fmt::format("{} {}", name, stat(stats, name))});
}

std::string per_second_text(const Rate& rate) {
  return fmt::format("{:.1f}/s", rate.per_second);
}

// Rates and counters, what matters most first. A small screen has one line of each kind.
std::vector<ScreenLine> counter_lines(const Dashboard& dashboard, const ReceiverTotals& totals, Size size) {
  std::vector<ScreenLine> lines;
  const auto add = [&](const std::string& label, const std::vector<Span>& pieces) {
    std::vector<ScreenLine> added = flowed({label}, pieces, size.columns);
    if (size.rows < airy_from) added.resize(1);
    for (ScreenLine& line : added) lines.push_back(std::move(line));
  };
  add("feed    ", {{per_second_text(dashboard.messages)},
                   {fmt::format("messages {}", totals.messages)},
                   {fmt::format("packets {}", totals.packets)},
                   {fmt::format("heartbeats {}", totals.heartbeats)}});
  add("seen    ",
      {counted_span("missing", totals.missing, Look::bad), counted_span("recovered", totals.recovered, Look::notice),
       counted_span("gaps", totals.gaps, Look::plain), counted_span("late", totals.late, Look::plain),
       counted_span("duplicates", totals.duplicates, Look::plain)});
  const Addresses& addresses = dashboard.addresses;
  if (addresses.control_port == 0) return lines;
  if (dashboard.stats.empty()) {
    add("bench   ", {{fmt::format("the control port {}", endpoint("127.0.0.1", addresses.control_port)), Look::notice},
                     {"does not answer", Look::notice}});
    return lines;
  }
  std::vector<Span> bench{{per_second_text(dashboard.reports)}};
  add_stats(bench, dashboard.stats, {"seq", "reports", "capped", "retrans", "cancels", "corrections", "halts"});
  add("bench   ", bench);
  std::vector<Span> faults;
  add_stats(faults, dashboard.stats, {"sent", "dropped", "duplicated", "reordered"});
  add("faults  ", faults);
  return lines;
}

// Title, alerts and as many counters as leave two thirds of the screen to the bonds.
std::vector<ScreenLine> top_lines(const Dashboard& dashboard, const ReceiverTotals& totals,
                                  const std::vector<BondRow>& rows, Size size) {
  std::vector<ScreenLine> lines{title_line(dashboard.addresses, size.columns)};
  for (ScreenLine& line : alert_lines(alerts(dashboard, totals, rows), size.columns)) lines.push_back(std::move(line));
  for (ScreenLine& line : counter_lines(dashboard, totals, size)) {
    if (lines.size() > size.rows / 3) break;
    lines.push_back(std::move(line));
  }
  if (size.rows >= airy_from) lines.emplace_back();
  return lines;
}

// Bonds with the events below them.
void add_one_pane(Picture& picture, const Dashboard& dashboard, const std::vector<BondRow>& rows, Size size,
                  std::size_t room) {
  const std::size_t most_for_events = std::clamp<std::size_t>((room - std::min<std::size_t>(room, 3)) / 3, 1, 5);
  const std::size_t air = size.rows >= airy_from ? 1 : 0;
  std::vector<ScreenLine> events = event_lines(dashboard.recent, size.columns, std::min(most_for_events, room));
  const std::size_t kept = events.empty() ? 0 : events.size() + air;
  for (ScreenLine& line : bond_lines(picture, rows, size.columns, room - std::min(room, kept))) {
    picture.lines.push_back(std::move(line));
  }
  // What the bonds do not need, older events get.
  const std::size_t left = size.rows - std::min(size.rows, picture.lines.size());
  events = event_lines(dashboard.recent, size.columns, left - std::min(left, air));
  if (!events.empty() && air != 0) picture.lines.emplace_back();
  for (ScreenLine& line : events) picture.lines.push_back(std::move(line));
}

// Bonds with the events beside them.
void add_two_panes(Picture& picture, const Dashboard& dashboard, const std::vector<BondRow>& rows, Size size,
                   std::size_t room) {
  constexpr std::size_t apart = 2;
  std::vector<ScreenLine> left = bond_lines(picture, rows, bonds_pane, room);
  std::vector<ScreenLine> right{{{"latest events", Look::heading}}};
  for (ScreenLine& line :
       event_lines(dashboard.recent, size.columns - bonds_pane - apart, room - std::min<std::size_t>(room, 1))) {
    right.push_back(std::move(line));
  }
  left.resize(std::max(left.size(), right.size()));
  for (std::size_t i = 0; i < left.size(); ++i) {
    ScreenLine line = filled(std::move(left[i]), bonds_pane + apart, Look::plain);
    if (i < right.size()) line.insert(line.end(), right[i].begin(), right[i].end());
    picture.lines.push_back(std::move(line));
  }
}

}  // namespace

Picture screen_lines(const Dashboard& dashboard, const ReceiverTotals& totals, Size size, std::size_t first_bond) {
  const std::vector<BondRow> rows = rows_of(dashboard);
  Picture picture;
  picture.first_bond = first_bond;
  picture.lines = top_lines(dashboard, totals, rows, size);
  const std::size_t room = size.rows - std::min(size.rows, picture.lines.size());
  (size.columns < two_panes_from ? add_one_pane : add_two_panes)(picture, dashboard, rows, size, room);
  if (picture.lines.size() > size.rows) picture.lines.resize(size.rows);
  for (ScreenLine& line : picture.lines) line = clipped(line, size.columns);
  return picture;
}

std::size_t scrolled(const Picture& picture, Key key) {
  const std::size_t last = picture.bonds - std::min(picture.bonds, picture.bonds_shown);
  const std::size_t page = std::max<std::size_t>(picture.bonds_shown, 1);
  const std::size_t first = picture.first_bond;
  switch (key) {
    case Key::up:
      return first - std::min<std::size_t>(first, 1);
    case Key::down:
      return std::min(first + 1, last);
    case Key::page_up:
      return first - std::min(first, page);
    case Key::page_down:
      return std::min(first + page, last);
    case Key::home:
      return 0;
    case Key::end:
      return last;
    case Key::none:
    case Key::quit:
    case Key::other:
      return first;
  }
  return first;
}

}  // namespace vorbelctl
