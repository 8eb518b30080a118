#include "vorbelctl/handler/receiver.h"

#include <algorithm>
#include <utility>

namespace vorbelctl {
namespace {

// Adds an event to be filled further; the reference is good until the next one is added.
Event& note(Receiver& receiver, EventKind kind, std::uint64_t now_ms, std::uint64_t first, std::uint64_t last) {
  Event& event = receiver.events.emplace_back();
  event.kind = kind;
  event.at_ms = now_ms;
  event.first = first;
  event.last = last;
  return event;
}

void join(Receiver& receiver, std::uint64_t first, std::uint64_t now_ms) {
  receiver.joined_at = receiver.next = receiver.end = first;
  receiver.joined_ms = now_ms;
  note(receiver, EventKind::joined, now_ms, first, first);
}

// Everything below `end` exists; what of it had not been heard of is a gap.
void extend(Receiver& receiver, std::uint64_t end, std::uint64_t now_ms) {
  if (end <= receiver.end) return;
  const Gap gap{receiver.end, end - 1, now_ms};
  if (!receiver.gaps.empty() && receiver.gaps.back().last + 1 == gap.first) {
    receiver.gaps.back().last = gap.last;
  } else {
    receiver.gaps.push_back(gap);
    ++receiver.totals.gaps;
  }
  receiver.totals.skipped += gap.last - gap.first + 1;
  note(receiver, EventKind::gap, now_ms, gap.first, gap.last);
  receiver.end = end;
}

void close_gap(Receiver& receiver, std::uint64_t now_ms) {
  const Gap& gap = receiver.gaps.front();
  note(receiver, EventKind::gap_closed, now_ms, gap.first, gap.last).open_ms = now_ms - gap.opened_ms;
  receiver.gaps.pop_front();
}

void forget_request(Receiver& receiver) {
  receiver.tries = 0;
  receiver.answer_until = 0;
}

// Delivers what is next in order, and closes the gaps that are behind it.
void deliver(Receiver& receiver, std::uint64_t now_ms) {
  while (!receiver.held.empty() && receiver.held.begin()->first == receiver.next) {
    auto node = receiver.held.extract(receiver.held.begin());
    receiver.held_bytes -= node.mapped().bytes.size();
    Event& event = note(receiver, EventKind::message, now_ms, receiver.next, receiver.next);
    event.via = node.mapped().via;
    event.text = std::move(node.mapped().bytes);
    ++receiver.totals.messages;
    if (event.via == Via::late) ++receiver.totals.late;
    if (event.via == Via::recovered) ++receiver.totals.recovered;
    ++receiver.next;
    // Here and not after the loop, so that a gap ends in the events where its last number stands.
    if (!receiver.gaps.empty() && receiver.gaps.front().last < receiver.next) close_gap(receiver, now_ms);
  }
  if (receiver.next > receiver.asked_last) forget_request(receiver);
}

// Gives up the missing numbers of the first gap up to `last`, which lies in it, and delivers what stands between them.
void give_up(Receiver& receiver, std::uint64_t last, std::uint64_t now_ms) {
  while (!receiver.gaps.empty() && receiver.next <= last) {
    const std::uint64_t before_held = receiver.held.empty() ? last : receiver.held.begin()->first - 1;
    const Range range{receiver.next, std::min(last, before_held)};
    list_missing(receiver.missing, range);
    receiver.totals.missing += range.last - range.first + 1;
    note(receiver, EventKind::missing, now_ms, range.first, range.last);
    receiver.next = range.last + 1;
    if (receiver.gaps.front().last < receiver.next) close_gap(receiver, now_ms);
    deliver(receiver, now_ms);
  }
  forget_request(receiver);
}

bool was_given_up(const Receiver& receiver, std::uint64_t sequence) {
  const auto after = std::upper_bound(receiver.missing.begin(), receiver.missing.end(), sequence,
                                      [](std::uint64_t number, const Range& range) { return number < range.first; });
  return after != receiver.missing.begin() && std::prev(after)->last >= sequence;
}

// A message that is of no use any more. Answers may overlap what has come meanwhile; that is nobody's fault.
void take_again(Receiver& receiver, std::uint64_t sequence, Source source, std::uint64_t now_ms) {
  if (source == Source::answer) return;
  const bool too_late = was_given_up(receiver, sequence);
  ++(too_late ? receiver.totals.too_late : receiver.totals.duplicates);
  note(receiver, too_late ? EventKind::too_late : EventKind::duplicate, now_ms, sequence, sequence);
}

// An answer that brought something: its rest may be on the way, and the server is worth asking again.
void note_answer(Receiver& receiver, std::uint64_t now_ms) {
  receiver.silent = false;
  if (receiver.settings.insist) receiver.tries = 0;
  if (receiver.answer_until != 0) receiver.answer_until = now_ms + receiver.settings.answer_timeout_ms;
}

// The feed stands before what is already known or asked for. Said once where it goes on number by number.
void note_behind(Receiver& receiver, std::uint64_t sequence, std::uint64_t now_ms) {
  const bool goes_on = sequence == receiver.behind_at || sequence == receiver.behind_at + 1;
  if (!goes_on || receiver.behind_at == 0) note(receiver, EventKind::behind, now_ms, sequence, sequence);
  receiver.behind_at = sequence;
}

// A message from before the start is of no use. At first it may merely have been overtaken, later the publisher has
// begun again, or has not yet come to the start that was asked for.
void take_early(Receiver& receiver, std::uint64_t sequence, std::uint64_t now_ms) {
  if (now_ms >= receiver.joined_ms + receiver.settings.reorder_window_ms) note_behind(receiver, sequence, now_ms);
}

void take_message(Receiver& receiver, std::uint64_t sequence, std::string_view bytes, Source source,
                  std::uint64_t now_ms) {
  if (sequence < receiver.joined_at) {
    if (source == Source::feed) take_early(receiver, sequence, now_ms);
    return;
  }
  if (sequence < receiver.next || receiver.held.contains(sequence)) {
    take_again(receiver, sequence, source, now_ms);
    return;
  }
  const bool is_full = receiver.held.size() >= receiver.settings.most_held ||
                       receiver.held_bytes + bytes.size() > receiver.settings.most_held_bytes;
  if (sequence != receiver.next && is_full) {
    ++receiver.totals.overrun;
    return;
  }
  const bool late = source == Source::feed && sequence < receiver.end;
  if (late) note(receiver, EventKind::out_of_order, now_ms, sequence, sequence);
  extend(receiver, sequence, now_ms);
  receiver.end = std::max(receiver.end, sequence + 1);
  const Via via = source == Source::answer ? Via::recovered : late ? Via::late : Via::live;
  receiver.held.emplace(sequence, Held{std::string(bytes), via});
  receiver.held_bytes += bytes.size();
  if (source == Source::answer) note_answer(receiver, now_ms);
  deliver(receiver, now_ms);
}

// A packet without messages: its number is the next one to come, so everything before it exists.
void take_heartbeat(Receiver& receiver, const Packet& packet, std::uint64_t now_ms) {
  if (packet.first < receiver.end) note_behind(receiver, packet.first, now_ms);
  extend(receiver, packet.first, now_ms);
  if (!packet.end_of_session) {
    ++receiver.totals.heartbeats;
    note(receiver, EventKind::heartbeat, now_ms, packet.first, packet.first);
    return;
  }
  ++receiver.totals.end_of_sessions;
  if (!std::exchange(receiver.ended, true)) {
    note(receiver, EventKind::end_of_session, now_ms, packet.first, packet.first);
  }
}

void take_foreign(Receiver& receiver, const Packet& packet, std::uint64_t now_ms) {
  ++receiver.totals.foreign;
  std::string name = session_name(packet.session);
  if (receiver.totals.foreign > 1 && name == receiver.foreign_session) return;
  note(receiver, EventKind::foreign_session, now_ms, packet.first, packet.first).text = name;
  receiver.foreign_session = std::move(name);
}

// Never more than the server is said to have, and never more than one answer can bring; ends with the last number that
// is missing, so that a request spans several gaps but asks for nothing behind them.
Request make_request(Receiver& receiver, std::uint64_t now_ms) {
  const std::uint64_t most = std::max<std::uint64_t>(receiver.settings.most_per_request, 1);
  std::uint64_t last = receiver.next;
  for (const Gap& gap : receiver.gaps) {
    const bool due = now_ms >= gap.opened_ms + receiver.settings.reorder_window_ms;
    // By differences: sums could run over the largest number. Only the first gap may begin below `next`.
    if (gap.first > receiver.next && (!due || gap.first - receiver.next >= most)) break;
    last = gap.last - receiver.next < most ? gap.last : receiver.next + (most - 1);
  }
  ++receiver.tries;
  ++receiver.totals.requests;
  receiver.asked_last = last;
  receiver.answer_until = now_ms + receiver.settings.answer_timeout_ms;
  return {receiver.next, static_cast<std::uint16_t>(last - receiver.next + 1)};
}

}  // namespace

void list_missing(std::vector<Range>& missing, const Range& range) {
  if (!missing.empty() && missing.back().last + 1 == range.first) {
    missing.back().last = range.last;
  } else if (missing.size() < most_missing_listed) {
    missing.push_back(range);
  }
}

Receiver make_receiver(const ReceiverSettings& settings) {
  Receiver receiver;
  receiver.settings = settings;
  receiver.joined_at = receiver.next = receiver.end = settings.first;
  return receiver;
}

void take_packet(Receiver& receiver, std::string_view bytes, Source source, std::uint64_t now_ms) {
  if (source == Source::feed) ++receiver.totals.packets;
  const Packet packet = read_packet(bytes);
  if (!packet.malformed.empty()) {
    ++receiver.totals.malformed;
    Event& event = note(receiver, EventKind::malformed_packet, now_ms, 0, 0);
    event.text = bytes;
    event.reason = packet.malformed;
    return;
  }
  if (packet.session != receiver.settings.session) {
    take_foreign(receiver, packet, now_ms);
    return;
  }
  if (source == Source::feed) ++receiver.totals.ours;
  if (receiver.joined_at == 0) join(receiver, packet.first, now_ms);
  if (packet.messages.empty()) take_heartbeat(receiver, packet, now_ms);
  std::uint64_t sequence = packet.first;
  for (const auto message : packet.messages) take_message(receiver, sequence++, message, source, now_ms);
}

void expect_until(Receiver& receiver, std::uint64_t end, std::uint64_t now_ms) {
  extend(receiver, end, now_ms);
}

std::optional<Request> tick(Receiver& receiver, std::uint64_t now_ms) {
  while (!receiver.gaps.empty()) {
    const Gap gap = receiver.gaps.front();
    if (now_ms < gap.opened_ms + receiver.settings.reorder_window_ms) return {};
    if (!receiver.settings.recover) {
      give_up(receiver, gap.last, now_ms);
      continue;
    }
    if (now_ms < receiver.answer_until) return {};
    const std::uint64_t keeps = receiver.settings.publisher_keeps;
    if (receiver.tries >= (receiver.silent ? 1 : receiver.settings.most_tries)) {
      receiver.silent = true;
      give_up(receiver, std::min(gap.last, receiver.asked_last), now_ms);
    } else if (receiver.end - receiver.next > keeps) {
      give_up(receiver, std::min(gap.last, receiver.end - keeps - 1), now_ms);
    } else {
      return make_request(receiver, now_ms);
    }
  }
  return {};
}

void finish(Receiver& receiver, std::uint64_t now_ms) {
  while (!receiver.gaps.empty()) give_up(receiver, receiver.gaps.front().last, now_ms);
}

std::vector<Event> take_events(Receiver& receiver) {
  return std::exchange(receiver.events, {});
}

bool complete(const Receiver& receiver) {
  return receiver.ended && receiver.gaps.empty();
}

}  // namespace vorbelctl
