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

// What a right feed never shows; empty there.
std::string trouble_of_senders(const ReceiverTotals& totals) {
  std::string text;
  if (totals.altered != 0) text += fmt::format("  altered {}", totals.altered);
  if (totals.second_senders != 0) text += fmt::format("  second senders {}", totals.second_senders);
  if (totals.began_again != 0) text += fmt::format("  began again {}", totals.began_again);
  return text;
}

Look look_of_event(const Event& event) {
  switch (event.kind) {
    case EventKind::missing:
    case EventKind::altered:
    case EventKind::too_late:
    case EventKind::malformed_packet:
    case EventKind::began_again:
    case EventKind::second_sender:
      return Look::bad;
    case EventKind::gap:
    case EventKind::behind:
    case EventKind::end_of_session:
      return Look::notice;
    case EventKind::joined:
    case EventKind::message:
    case EventKind::gap_closed:
    case EventKind::out_of_order:
    case EventKind::duplicate:
    case EventKind::heartbeat:
    case EventKind::foreign_session:
      return Look::plain;
  }
  return Look::plain;
}

// Keeps the first line of what an event is shown as.
void remember(Dashboard& dashboard, const std::string& text, Look look) {
  dashboard.recent.push_back({text.substr(0, text.find('\n')), look});
  if (dashboard.recent.size() > most_recent) dashboard.recent.pop_front();
}

void begin_again(Dashboard& dashboard, std::uint64_t now_ms) {
  dashboard.books.clear();
  dashboard.losses.clear();
  dashboard.is_lossy = false;
  dashboard.has_ended = false;
  dashboard.restarted_ms = now_ms;
}

void note_losses(Dashboard& dashboard, const Event& event, const Message& message) {
  if (kind_of(message) == Kind::control) return;
  const std::string cusip(text(message, "cusip"));
  if (event.via == Via::recovered) ++dashboard.losses[cusip].recovered;
  const auto book = dashboard.books.find(cusip);
  if (!dashboard.is_lossy || book == dashboard.books.end()) return;
  if (shows_loss(book->second.day, message)) dashboard.losses[cusip].lacks = true;
}

void take_message(Dashboard& dashboard, const Event& event) {
  const Decoded decoded = decode_message(event.text);
  if (!decoded.malformed.empty()) return remember(dashboard, message_text(event, decoded, false), Look::bad);
  const Kind kind = kind_of(decoded.message);
  note_losses(dashboard, event, decoded.message);
  apply_message(dashboard.books, decoded.message);
  if (kind == Kind::trade) return;
  remember(dashboard, message_text(event, decoded, false), kind == Kind::halt ? Look::notice : Look::plain);
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
  if (event.kind == EventKind::began_again) begin_again(dashboard, event.at_ms);
  if (event.kind == EventKind::missing) dashboard.is_lossy = true;
  if (event.kind == EventKind::end_of_session) dashboard.has_ended = true;
  if (event.kind == EventKind::message) {
    take_message(dashboard, event);
  } else if (event.kind != EventKind::heartbeat && event.kind != EventKind::gap_closed) {
    remember(dashboard, event_text(event, false), look_of_event(event));
  }
}

void take_stats(Dashboard& dashboard, const std::optional<FieldList>& stats, std::uint64_t now_ms) {
  dashboard.stats = stats.value_or(FieldList());
  if (!stats) return;
  update_rate(dashboard.reports, stat(*stats, "reports"), now_ms);
  const std::uint64_t seq = stat(*stats, "seq");
  if (seq < dashboard.bench_seq) dashboard.restarted_ms = now_ms;
  dashboard.bench_seq = seq;
}

void look_at_clock(Dashboard& dashboard, const ReceiverTotals& totals, std::uint64_t now_ms) {
  dashboard.now_ms = now_ms;
  if (dashboard.heard_ms != 0 && totals.ours == dashboard.heard) return;
  dashboard.heard = totals.ours;
  dashboard.heard_ms = now_ms;
}

std::uint64_t silent_ms(const Dashboard& dashboard) {
  return dashboard.now_ms - dashboard.heard_ms;
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
