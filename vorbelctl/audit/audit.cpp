#include "vorbelctl/audit/audit.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace vorbelctl {
namespace {

// The first thing that comes live tells where the feed was joined; what it skipped was sent before.
void note_joining(Audit& audit, const Event& event) {
  if (audit.joined != 0) return;
  switch (event.kind) {
    case EventKind::joined:
      audit.from = event.first;
      break;
    case EventKind::gap:
      audit.joined = event.last + 1;
      break;
    case EventKind::message:
    case EventKind::heartbeat:
    case EventKind::end_of_session:
      audit.joined = event.first;
      break;
    default:
      break;
  }
}

bool before_joining(const Audit& audit, std::uint64_t sequence) {
  return !audit.on_the_wire || sequence < audit.joined;
}

void count_event(Audit& audit, const Event& event) {
  AuditCounts& counts = audit.counts;
  const bool before = before_joining(audit, event.first);
  if (event.kind == EventKind::message) {
    if (event.via == Via::late) ++counts.out_of_order;
    if (event.via == Via::recovered) ++(before ? counts.fetched : counts.recovered);
  }
  if (event.kind == EventKind::missing) {
    (before ? counts.unfetchable : counts.missing) += event.last - event.first + 1;
  }
}

// What was sent before the feed was joined is not the feed's fault.
bool concerns_wire(const Audit& audit, const Event& event) {
  const bool of_a_gap = event.kind == EventKind::message || event.kind == EventKind::missing ||
                        event.kind == EventKind::gap_closed || event.kind == EventKind::gap;
  return audit.on_the_wire && !(of_a_gap && before_joining(audit, event.first));
}

bool judge_missing(Audit& audit, Pending& range, bool no_more) {
  Truth& truth = audit.judge.truth;
  while (range.first <= range.last) {
    if (!reach_entry(truth, no_more)) {
      if (!no_more) return false;
      break;
    }
    // A range may be wide beyond measure: only the numbers that the file knows are gone through.
    range.first = std::max(range.first, truth.entry->sequence);
    if (range.first > range.last) break;
    const auto judged = judge_message(audit.judge, range.first, nullptr, no_more);
    if (!judged) return false;
    note_missing(audit.history, *judged);
    ++range.first;
  }
  audit.last = std::max(audit.last, range.last);
  return true;
}

bool judge_bytes(Audit& audit, const Pending& pending, bool no_more) {
  Decoded decoded = decode_message(pending.bytes);
  Heard heard;
  const bool reads = decoded.malformed.empty();
  if (reads) {
    heard.kind = decoded.message.kind;
    heard.fields = list_fields(decoded.message);
    heard.heard_ms = pending.until_ms;
    heard.message = std::move(decoded.message);
  }
  const auto judged = judge_message(audit.judge, pending.first, reads ? &heard : nullptr, no_more);
  if (!judged) return false;
  ++audit.counts.messages;
  audit.last = std::max(audit.last, pending.first);
  if (reads) {
    count_kind(audit.counts, *heard.kind);
  } else {
    ++audit.counts.malformed;
    add_difference(audit.judge.findings, {pending.first, decoded.malformed, Witness::truth, "a message that reads",
                                          Witness::message, printable(pending.bytes.substr(0, 100))});
  }
  note_message(audit.history, *judged, pending.heard_ms);
  return true;
}

void queue(Audit& audit, const Event& event, std::int64_t at_ms) {
  Pending pending;
  pending.first = event.first;
  pending.last = event.last;
  pending.missing = event.kind == EventKind::missing;
  pending.bytes = event.text;
  pending.until_ms = static_cast<std::uint64_t>(at_ms);
  if (event.kind == EventKind::message && event.via != Via::recovered) pending.heard_ms = pending.until_ms;
  audit.pending.push_back(std::move(pending));
}

}  // namespace

void count_kind(AuditCounts& counts, Kind kind) {
  switch (kind) {
    case Kind::trade:
      ++counts.trades;
      break;
    case Kind::cancel:
      ++counts.cancels;
      break;
    case Kind::correction:
      ++counts.corrections;
      break;
    case Kind::halt:
      ++counts.halts;
      break;
    case Kind::summary:
      ++counts.summaries;
      break;
    case Kind::control:
      ++counts.controls;
      break;
  }
}

void take_events(Audit& audit, const std::vector<Event>& events) {
  for (const Event& event : events) {
    const std::int64_t at_ms = static_cast<std::int64_t>(event.at_ms) + audit.clock_offset_ms;
    note_joining(audit, event);
    count_event(audit, event);
    if (concerns_wire(audit, event)) note_event(audit.history, event, at_ms);
    if (event.kind == EventKind::missing) list_missing(audit.missing, {event.first, event.last});
    if (event.kind == EventKind::message || event.kind == EventKind::missing) queue(audit, event, at_ms);
  }
}

void advance(Audit& audit, bool no_more) {
  while (!audit.pending.empty()) {
    Pending& next = audit.pending.front();
    const bool give_up_waiting = no_more || audit.pending.size() > most_pending;
    const bool done =
        next.missing ? judge_missing(audit, next, give_up_waiting) : judge_bytes(audit, next, give_up_waiting);
    if (!done) return;
    audit.pending.pop_front();
  }
}

}  // namespace vorbelctl
