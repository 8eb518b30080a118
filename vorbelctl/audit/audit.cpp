#include "vorbelctl/audit/audit.h"

#include <algorithm>
#include <utility>

#include "vorbelctl/handler/follow.h"

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

bool reconcile_missing(Audit& audit, Pending& range, bool no_more) {
  Truth& truth = audit.reconciliation.truth;
  while (range.first <= range.last) {
    if (!reach_entry(truth, no_more)) {
      if (!no_more) return false;
      break;
    }
    // A range may be wide beyond measure: only the numbers that the file knows are gone through.
    range.first = std::max(range.first, truth.entry.sequence);
    if (range.first > range.last) break;
    const auto reconciled = reconcile(audit.reconciliation, range.first, nullptr, no_more);
    if (!reconciled) return false;
    note_missing(audit.history, *reconciled);
    if (reconciled->recorded && !before_joining(audit, range.first)) {
      meet_lost(audit.reconciliation.situations, range.first, reconciled->kind, reconciled->type);
    }
    ++range.first;
  }
  audit.last = std::max(audit.last, range.last);
  return true;
}

bool reconcile_message(Audit& audit, const Pending& pending, bool no_more) {
  const Decoded decoded = decode_message(pending.bytes);
  const bool reads = decoded.malformed.empty();
  Received received;
  received.row = decoded.message.row;
  received.message = &decoded.message;
  received.until_ms = pending.until_ms;
  const auto reconciled = reconcile(audit.reconciliation, pending.first, reads ? &received : nullptr, no_more);
  if (!reconciled) return false;
  if (reads) take_sample(audit.sample, pending.first, received, audit.reconciliation.truth);
  ++audit.counts.messages;
  audit.last = std::max(audit.last, pending.first);
  if (reads) {
    ++audit.counts.kinds[static_cast<std::size_t>(kind_of(decoded.message))];
  } else {
    ++audit.counts.malformed;
    note(audit.reconciliation.discrepancies,
         {pending.first, std::string(decoded.malformed), Source::truth, "a message that reads", Source::message,
          shown(pending.bytes.substr(0, 100))});
  }
  note_message(audit.history, *reconciled, pending.received_ms);
  if (audit.on_judged) audit.on_judged();
  return true;
}

void queue(Audit& audit, Event& event, std::int64_t at_ms) {
  Pending pending;
  pending.first = event.first;
  pending.last = event.last;
  pending.missing = event.kind == EventKind::missing;
  pending.bytes = std::move(event.text);
  pending.until_ms = static_cast<std::uint64_t>(at_ms);
  if (event.kind == EventKind::message && event.via != Via::recovered) pending.received_ms = pending.until_ms;
  audit.pending.push_back(std::move(pending));
}

// What came first is reconciled; that the same number brought something else is wrong whatever the records say.
void note_altered(Audit& audit, const Event& event) {
  Discrepancy discrepancy;
  discrepancy.sequence = event.first;
  discrepancy.source = Source::message;
  discrepancy.place = Source::repeat;
  std::uint64_t others = 0;
  if (event.earlier.empty()) {
    discrepancy.field = "bytes";
    discrepancy.expected = "as before, which are no longer kept";
    discrepancy.received = shown(std::string_view(event.text).substr(0, 100));
  } else {
    BytesDiffer differ = compare_bytes(event.earlier, event.text);
    discrepancy.field = differ.field;
    discrepancy.expected = shown(differ.earlier);
    discrepancy.received = shown(differ.later);
    others = differ.others;
  }
  Discrepancies& discrepancies = audit.reconciliation.discrepancies;
  const Cause cause = note(discrepancies, std::move(discrepancy));
  for (; others != 0; --others) note_follow_up(discrepancies, cause);
}

std::string named_sender(const std::string& sender) {
  return sender.empty() ? "not known" : sender;
}

void note_second_sender(Audit& audit, const Event& event) {
  if (audit.second_sender.empty()) audit.second_sender = second_sender_text(event);
  note(audit.reconciliation.discrepancies,
       {event.first, "sender", Source::order, named_sender(event.earlier), Source::message, named_sender(event.text)});
}

// The run that was followed is judged to its end, and nothing else.
void note_restart(Audit& audit, const Event& event) {
  audit.restart = "the feed began again at #" + std::to_string(event.first) + " behind #" + std::to_string(event.last);
  if (event.text != event.earlier) audit.restart += ", from " + event.text + " after " + named_sender(event.earlier);
}

// Numbers behind the last one to be judged are left out; who sends the feed concerns all of it.
bool lies_beyond(const Audit& audit, const Event& event) {
  return is_beyond(audit, event.first) && event.kind != EventKind::began_again &&
         event.kind != EventKind::second_sender;
}

void take_event(Audit& audit, Event& event) {
  const std::int64_t at_ms = static_cast<std::int64_t>(event.at_ms) + audit.clock_offset_ms;
  note_joining(audit, event);
  count_event(audit, event);
  const bool of_wire = concerns_wire(audit, event);
  if (of_wire) note_event(audit.history, event, at_ms);
  meet_event(audit.wire_situations, audit.reconciliation.situations, event, of_wire);
  if (event.kind == EventKind::missing) list_missing(audit.missing, {event.first, event.last});
  if (event.kind == EventKind::altered) note_altered(audit, event);
  if (event.kind == EventKind::second_sender) note_second_sender(audit, event);
  if (event.kind == EventKind::began_again) note_restart(audit, event);
  if (event.kind == EventKind::message || event.kind == EventKind::missing) queue(audit, event, at_ms);
}

}  // namespace

void note_events(Audit& audit, std::vector<Event> events) {
  for (Event& event : events) {
    if (!audit.restart.empty()) return;
    if (lies_beyond(audit, event)) continue;
    if (event.kind == EventKind::missing && is_beyond(audit, event.last)) {
      Event cut = event;
      cut.last = audit.to;
      take_event(audit, cut);
    } else {
      take_event(audit, event);
    }
  }
}

void advance(Audit& audit, bool no_more, std::size_t most) {
  audit.judged_all = true;
  for (std::size_t judged = 0; !audit.pending.empty(); ++judged) {
    audit.judged_all = judged < most;
    if (!audit.judged_all) return;
    Pending& next = audit.pending.front();
    const bool give_up_waiting = no_more || audit.pending.size() > most_pending;
    const bool done = next.missing ? reconcile_missing(audit, next, give_up_waiting)
                                   : reconcile_message(audit, next, give_up_waiting);
    if (!done) return;
    audit.pending.pop_front();
  }
}

void note_rest(Audit& audit) {
  Reconciled rest;
  hand_out(audit.reconciliation, rest);
  note_turned_up(audit.history, rest);
  audit.reconciliation.situations.met[static_cast<std::size_t>(Situation::idle)] = audit.history.idles_met;
}

}  // namespace vorbelctl
