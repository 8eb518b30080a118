#include "vorbelctl/handler/receiver.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace vorbelctl {
namespace {

// Adds an event; the caller fills its other fields. The reference is valid until the next event is added.
Event& add_event(Receiver& receiver, EventKind kind, std::uint64_t now_ms, std::uint64_t first, std::uint64_t last) {
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
  add_event(receiver, EventKind::joined, now_ms, first, first);
}

// All numbers below `end` have been sent. Those that nobody has mentioned before make a gap.
void learn_end(Receiver& receiver, std::uint64_t end, std::uint64_t now_ms) {
  if (end <= receiver.end) return;
  Gap gap;
  gap.first = receiver.end;
  gap.last = end - 1;
  gap.opened_ms = now_ms;
  gap.left = end - receiver.end;
  Gap* const before = receiver.gaps.empty() ? nullptr : &receiver.gaps.back();
  if (before != nullptr && before->last + 1 == gap.first && before->left != 0) {
    before->last = gap.last;
    before->left += gap.left;
  } else {
    receiver.gaps.push_back(gap);
    ++receiver.totals.gaps;
  }
  receiver.totals.skipped += gap.left;
  add_event(receiver, EventKind::gap, now_ms, gap.first, gap.last);
  receiver.end = end;
}

void close_gap(Receiver& receiver) {
  const Gap& gap = receiver.gaps.front();
  Event& event = add_event(receiver, EventKind::gap_closed, gap.filled_ms, gap.first, gap.last);
  event.open_ms = gap.filled_ms - gap.opened_ms;
  event.missing = gap.given_up;
  receiver.gaps.pop_front();
}

// A number of a gap has come.
void note_filled(Receiver& receiver, std::uint64_t sequence, std::uint64_t now_ms) {
  const auto gap = std::lower_bound(receiver.gaps.begin(), receiver.gaps.end(), sequence,
                                    [](const Gap& each, std::uint64_t number) { return each.last < number; });
  if (gap == receiver.gaps.end() || gap->first > sequence) return;
  --gap->left;
  gap->filled_ms = now_ms;
}

void forget_request(Receiver& receiver) {
  receiver.tries = 0;
  receiver.answer_until = 0;
}

// Delivers the message that is next in order, and closes the gap that ends with it: here, so that a gap ends in the
// events where its last number stands.
void deliver_next(Receiver& receiver, Held&& message, std::uint64_t now_ms) {
  Event& event = add_event(receiver, EventKind::message, now_ms, receiver.next, receiver.next);
  event.via = message.via;
  event.came_ms = message.came_ms;
  event.text = std::move(message.bytes);
  remember(receiver.delivered, receiver.next, event.text);
  ++receiver.totals.messages;
  if (event.via == Via::late) ++receiver.totals.late;
  if (event.via == Via::recovered) ++receiver.totals.recovered;
  ++receiver.next;
  if (!receiver.gaps.empty() && receiver.gaps.front().last < receiver.next) close_gap(receiver);
}

// Delivers the held messages that are next in order.
void deliver(Receiver& receiver, std::uint64_t now_ms) {
  while (!receiver.held.empty() && receiver.held.begin()->first == receiver.next) {
    auto node = receiver.held.extract(receiver.held.begin());
    receiver.held_bytes -= node.mapped().bytes.size();
    deliver_next(receiver, std::move(node.mapped()), now_ms);
  }
  if (receiver.next > receiver.asked_last) forget_request(receiver);
}

// Gives up the missing numbers up to `last`, which lies in the first gap, and delivers the messages held between them.
void give_up(Receiver& receiver, std::uint64_t last, std::uint64_t now_ms) {
  while (!receiver.gaps.empty() && receiver.next <= last) {
    const std::uint64_t before_held = receiver.held.empty() ? last : receiver.held.begin()->first - 1;
    const Range range{receiver.next, std::min(last, before_held)};
    const std::uint64_t count = range.last - range.first + 1;
    list_missing(receiver.missing, range);
    skip(receiver.delivered, range);
    receiver.totals.missing += count;
    add_event(receiver, EventKind::missing, now_ms, range.first, range.last);
    receiver.next = range.last + 1;
    Gap& gap = receiver.gaps.front();
    gap.left -= count;
    gap.given_up += count;
    gap.filled_ms = now_ms;
    if (gap.last < receiver.next) close_gap(receiver);
    deliver(receiver, now_ms);
  }
  forget_request(receiver);
}

bool was_given_up(const Receiver& receiver, std::uint64_t sequence) {
  const auto after = std::upper_bound(receiver.missing.begin(), receiver.missing.end(), sequence,
                                      [](std::uint64_t number, const Range& range) { return number < range.first; });
  return after != receiver.missing.begin() && std::prev(after)->last >= sequence;
}

// How the bytes compare with those that are here under this number, delivered or held.
Repeat compare_with_known(const Receiver& receiver, std::uint64_t sequence, std::string_view bytes) {
  if (sequence < receiver.next) return compare_repeat(receiver.delivered, sequence, bytes);
  const auto held = receiver.held.find(sequence);
  if (held == receiver.held.end()) return Repeat::unknown;
  return held->second.bytes == bytes ? Repeat::same : Repeat::other;
}

void report_altered(Receiver& receiver, std::uint64_t sequence, std::string_view bytes, Channel channel,
                    std::uint64_t now_ms) {
  ++receiver.totals.altered;
  Event& event = add_event(receiver, EventKind::altered, now_ms, sequence, sequence);
  event.via = channel == Channel::answer ? Via::recovered : Via::live;
  event.text = bytes;
  event.earlier = sequence < receiver.next ? text_of(receiver.delivered, sequence)
                                           : std::string_view(receiver.held.find(sequence)->second.bytes);
}

// A message whose number is settled or held already. In an answer that is no fault: the feed may have been quicker.
void take_known(Receiver& receiver, std::uint64_t sequence, std::string_view bytes, Channel channel,
                std::uint64_t now_ms) {
  const Repeat repeat = compare_with_known(receiver, sequence, bytes);
  if (repeat == Repeat::other) {
    report_altered(receiver, sequence, bytes, channel, now_ms);
    return;
  }
  if (channel == Channel::answer) return;
  const bool too_late = was_given_up(receiver, sequence);
  if (too_late && repeat == Repeat::unknown) remember(receiver.delivered, sequence, bytes);
  ++(too_late ? receiver.totals.too_late : receiver.totals.duplicates);
  add_event(receiver, too_late ? EventKind::too_late : EventKind::duplicate, now_ms, sequence, sequence);
}

// An answer brought something. More of it may be on the way, and the server is worth asking again.
void note_answer(Receiver& receiver, std::uint64_t now_ms) {
  receiver.silent = false;
  if (receiver.settings.insist) receiver.tries = 0;
  if (receiver.answer_until != 0) receiver.answer_until = now_ms + receiver.settings.answer_timeout_ms;
}

// The feed is at a number below one that is already known or asked for. Reported once while it goes on from there
// number by number.
void report_behind(Receiver& receiver, std::uint64_t sequence, std::uint64_t now_ms) {
  const bool goes_on = sequence == receiver.behind_at || sequence == receiver.behind_at + 1;
  if (!goes_on || receiver.behind_at == 0) add_event(receiver, EventKind::behind, now_ms, sequence, sequence);
  receiver.behind_at = sequence;
}

// A message from before the start is left out. Within the reorder window another packet may have overtaken it. Later
// it means that the publisher has begun again, or has not yet come to the start that was asked for.
void take_early(Receiver& receiver, std::uint64_t sequence, std::uint64_t now_ms) {
  if (now_ms >= receiver.joined_ms + receiver.settings.reorder_window_ms) report_behind(receiver, sequence, now_ms);
}

void take_message(Receiver& receiver, std::uint64_t sequence, std::string_view bytes, Channel channel,
                  std::uint64_t now_ms) {
  if (sequence < receiver.joined_at) {
    if (channel == Channel::feed) take_early(receiver, sequence, now_ms);
    return;
  }
  if (sequence < receiver.next || receiver.held.contains(sequence)) {
    take_known(receiver, sequence, bytes, channel, now_ms);
    return;
  }
  const bool is_full = receiver.held.size() >= receiver.settings.most_held ||
                       receiver.held_bytes + bytes.size() > receiver.settings.most_held_bytes;
  if (sequence != receiver.next && is_full) {
    ++receiver.totals.overrun;
    return;
  }
  if (sequence < receiver.end) note_filled(receiver, sequence, now_ms);
  const bool late = channel == Channel::feed && sequence < receiver.end;
  if (late) add_event(receiver, EventKind::out_of_order, now_ms, sequence, sequence);
  learn_end(receiver, sequence, now_ms);
  receiver.end = std::max(receiver.end, sequence + 1);
  const Via via = channel == Channel::answer ? Via::recovered : late ? Via::late : Via::live;
  Held message{std::string(bytes), via, now_ms};
  if (channel == Channel::answer) note_answer(receiver, now_ms);
  if (sequence == receiver.next) {
    deliver_next(receiver, std::move(message), now_ms);
    deliver(receiver, now_ms);
  } else {
    receiver.held.emplace(sequence, std::move(message));
    receiver.held_bytes += bytes.size();
  }
}

// A packet without messages. Its number is the next one to come, so all before it have been sent.
void take_heartbeat(Receiver& receiver, const Packet& packet, std::uint64_t now_ms) {
  if (packet.first < receiver.end) report_behind(receiver, packet.first, now_ms);
  learn_end(receiver, packet.first, now_ms);
  if (!packet.end_of_session) {
    ++receiver.totals.heartbeats;
    add_event(receiver, EventKind::heartbeat, now_ms, packet.first, packet.first);
    return;
  }
  ++receiver.totals.end_of_sessions;
  if (!std::exchange(receiver.ended, true)) {
    add_event(receiver, EventKind::end_of_session, now_ms, packet.first, packet.first);
  }
}

void take_foreign(Receiver& receiver, const Packet& packet, std::uint64_t now_ms) {
  ++receiver.totals.foreign;
  std::string name = session_name(packet.session);
  if (receiver.totals.foreign > 1 && name == receiver.foreign_session) return;
  add_event(receiver, EventKind::foreign_session, now_ms, packet.first, packet.first).text = name;
  receiver.foreign_session = std::move(name);
}

// The request begins with the first missing number and may span several gaps. It asks for no more than one answer can
// bring, and for nothing behind the last missing number.
Request make_request(Receiver& receiver, std::uint64_t now_ms) {
  const std::uint64_t most = std::max<std::uint64_t>(receiver.settings.most_per_request, 1);
  std::uint64_t last = receiver.next;
  for (const Gap& gap : receiver.gaps) {
    if (gap.left == 0) continue;
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

// Takes a packet for one of the run that is followed.
void take_of_run(Receiver& receiver, const Packet& packet, Channel channel, std::uint64_t now_ms) {
  if (receiver.joined_at == 0) join(receiver, packet.first, now_ms);
  if (packet.messages.empty()) take_heartbeat(receiver, packet, now_ms);
  std::uint64_t sequence = packet.first;
  for (const auto message : packet.messages) take_message(receiver, sequence++, message, channel, now_ms);
}

std::uint64_t end_of_packet(const Packet& packet) {
  return packet.first + packet.messages.size();
}

// True when a message of the feed cannot be of the run that is followed, or is not likely to be: `stranger`: somebody
// else sends it.
bool message_contradicts(const Receiver& receiver, std::uint64_t sequence, std::string_view bytes, bool stranger,
                         std::uint64_t now_ms) {
  if (sequence < receiver.joined_at) {
    return stranger || now_ms >= receiver.joined_ms + receiver.settings.reorder_window_ms;
  }
  switch (compare_with_known(receiver, sequence, bytes)) {
    case Repeat::other:
      return true;
    case Repeat::same:
      return false;
    case Repeat::unknown:
      break;
  }
  // Late, too late, or so old that nothing is known of it any more.
  return stranger || (sequence < receiver.next && !was_given_up(receiver, sequence));
}

bool contradicts(const Receiver& receiver, const Packet& packet, SenderId sender, std::uint64_t now_ms) {
  const Senders& senders = receiver.senders;
  if (packet.first >= senders.feed_end) return false;
  if (packet.messages.empty()) return true;
  const bool stranger = sender != senders.followed;
  std::uint64_t sequence = packet.first;
  for (const auto message : packet.messages) {
    if (sequence >= senders.feed_end) return false;
    if (message_contradicts(receiver, sequence++, message, stranger, now_ms)) return true;
  }
  return false;
}

// Keeps a packet of the rival aside. A heartbeat is not kept: the next one will tell more.
void keep_aside(Receiver& receiver, const Packet& packet, std::string_view bytes, std::uint64_t now_ms) {
  Rival& rival = *receiver.senders.rival;
  rival.next = std::max(rival.next, end_of_packet(packet));
  // Of a message that is here already, it is soon told what it is.
  const bool is_known = !packet.messages.empty() && packet.first >= receiver.joined_at;
  if (!is_known && packet.first < receiver.end) report_behind(receiver, packet.first, now_ms);
  if (!packet.messages.empty() || packet.end_of_session) {
    rival.packets.push_back({std::string(bytes), now_ms});
    // It goes on behind the last message of the packet.
    if (!packet.messages.empty()) receiver.behind_at = end_of_packet(packet) - 1;
  } else {
    rival.heartbeat_ms = now_ms;
    ++receiver.totals.heartbeats;
    add_event(receiver, EventKind::heartbeat, now_ms, packet.first, packet.first);
  }
}

void begin_rival(Receiver& receiver, const Packet& packet, SenderId sender, std::uint64_t now_ms) {
  Rival& rival = receiver.senders.rival.emplace();
  rival.sender = sender;
  rival.first = rival.next = packet.first;
  rival.since_ms = now_ms;
}

void report_second(Receiver& receiver, SenderId sender, std::uint64_t sequence, std::uint64_t now_ms) {
  ++receiver.totals.second_senders;
  Event& event = add_event(receiver, EventKind::second_sender, now_ms, sequence, sequence);
  event.text = sender_text(sender);
  event.earlier = sender_text(receiver.senders.followed);
  ignore(receiver.senders, sender);
}

// The packets kept aside are of this run after all. What is from before its start has been reported.
void take_repeats(Receiver& receiver, const Rival& rival) {
  for (const KeptPacket& kept : rival.packets) {
    const Packet packet = read_packet(kept.bytes);
    if (packet.messages.empty()) take_heartbeat(receiver, packet, kept.at_ms);
    std::uint64_t sequence = packet.first;
    for (const auto message : packet.messages) {
      if (sequence >= receiver.joined_at) take_message(receiver, sequence, message, Channel::feed, kept.at_ms);
      ++sequence;
    }
  }
}

bool take_of_feed(Receiver& receiver, const Packet& packet, std::string_view bytes, SenderId sender,
                  std::uint64_t now_ms);

// Everything of the run before is settled; the receiver stands where it did when it was made, and has the rival's
// packets before it.
void begin_again(Receiver& receiver, const Rival& rival, std::uint64_t now_ms) {
  finish(receiver, now_ms);
  Event& event = add_event(receiver, EventKind::began_again, rival.since_ms, rival.first,
                           receiver.end - std::min<std::uint64_t>(receiver.end, 1));
  event.text = sender_text(rival.sender);
  event.earlier = sender_text(receiver.senders.followed);
  Receiver anew = make_receiver(receiver.settings);
  anew.totals = receiver.totals;
  anew.totals.ours -= rival.packets.size();  // they are taken once more
  ++anew.totals.began_again;
  anew.events = std::move(receiver.events);
  anew.foreign_session = std::move(receiver.foreign_session);
  anew.senders.ignored = std::move(receiver.senders.ignored);
  anew.senders.followed = rival.sender;
  anew.senders.heard_ms = now_ms;
  receiver = std::move(anew);
  for (const KeptPacket& kept : rival.packets) {
    take_of_feed(receiver, read_packet(kept.bytes), kept.bytes, rival.sender, kept.at_ms);
  }
}

void end_rival(Receiver& receiver, Ruling ruling, std::uint64_t now_ms) {
  if (ruling == Ruling::open) return;
  const Rival rival = std::move(*receiver.senders.rival);
  receiver.senders.rival.reset();
  forget_request(receiver);
  if (ruling == Ruling::began_again) begin_again(receiver, rival, now_ms);
  if (ruling == Ruling::second_sender) {
    receiver.totals.ignored += rival.packets.size();
    report_second(receiver, rival.sender, rival.first, now_ms);
  }
  if (ruling == Ruling::repeats) take_repeats(receiver, rival);
}

// True when the packet has been put aside.
bool put_aside(Receiver& receiver, const Packet& packet, std::string_view bytes, SenderId sender,
               std::uint64_t now_ms) {
  const Senders& senders = receiver.senders;
  const bool against = contradicts(receiver, packet, sender, now_ms);
  const bool of_rival = senders.rival && is_of_rival(senders, packet.first, sender, against);
  if (senders.rival && !of_rival && tells_of_rival(senders, packet.first, sender)) {
    end_rival(receiver, rule_on_return(senders, sender), now_ms);
  }
  if (!of_rival && !against) return false;
  if (!senders.rival) begin_rival(receiver, packet, sender, now_ms);
  keep_aside(receiver, packet, bytes, now_ms);
  return true;
}

bool take_of_feed(Receiver& receiver, const Packet& packet, std::string_view bytes, SenderId sender,
                  std::uint64_t now_ms) {
  Senders& senders = receiver.senders;
  if (is_ignored(senders, sender) && !heed_again(senders, sender, now_ms)) {
    ++receiver.totals.ignored;
    return false;
  }
  ++receiver.totals.ours;
  if (put_aside(receiver, packet, bytes, sender, now_ms)) return packet.messages.empty() && sender == senders.followed;
  const bool goes_on = !packet.messages.empty() && packet.first >= senders.feed_end;
  if (const SenderId second = note_sender(senders, sender, goes_on, now_ms)) {
    report_second(receiver, second, packet.first, now_ms);
    if (second == sender) return false;
  }
  senders.feed_end = std::max(senders.feed_end, end_of_packet(packet));
  take_of_run(receiver, packet, Channel::feed, now_ms);
  return true;
}

}  // namespace

Receiver make_receiver(const ReceiverSettings& settings) {
  Receiver receiver;
  receiver.settings = settings;
  receiver.joined_at = receiver.next = receiver.end = settings.first;
  receiver.delivered.keeps = std::max<std::uint64_t>(settings.publisher_keeps, 1);
  return receiver;
}

bool take_packet(Receiver& receiver, std::string_view bytes, Channel channel, std::uint64_t now_ms, SenderId sender) {
  if (channel == Channel::feed) ++receiver.totals.packets;
  const Packet packet = read_packet(bytes);
  if (!packet.malformed.empty()) {
    ++receiver.totals.malformed;
    Event& event = add_event(receiver, EventKind::malformed_packet, now_ms, 0, 0);
    event.text = bytes;
    event.reason = packet.malformed;
    return false;
  }
  if (packet.session != receiver.settings.session) {
    take_foreign(receiver, packet, now_ms);
    return false;
  }
  if (channel == Channel::feed) return take_of_feed(receiver, packet, bytes, sender, now_ms);
  if (!receiver.senders.rival) take_of_run(receiver, packet, channel, now_ms);
  return false;
}

void expect_until(Receiver& receiver, std::uint64_t end, std::uint64_t now_ms) {
  learn_end(receiver, end, now_ms);
}

std::optional<Request> tick(Receiver& receiver, std::uint64_t now_ms) {
  if (receiver.senders.rival) {
    end_rival(receiver, rule_on_rival(receiver.senders, now_ms, false), now_ms);
    if (receiver.senders.rival) return {};
  }
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

void settle_rival(Receiver& receiver, std::uint64_t now_ms) {
  if (receiver.senders.rival) end_rival(receiver, rule_on_rival(receiver.senders, now_ms, true), now_ms);
}

void finish(Receiver& receiver, std::uint64_t now_ms) {
  settle_rival(receiver, now_ms);
  while (!receiver.gaps.empty()) give_up(receiver, receiver.gaps.front().last, now_ms);
}

std::vector<Event> take_events(Receiver& receiver) {
  return std::exchange(receiver.events, {});
}

bool could_not_keep_up(const ReceiverTotals& totals) {
  const bool contradicted = totals.altered != 0 || totals.second_senders != 0;
  return totals.dropped_here != 0 && totals.skipped > totals.late && !contradicted;
}

bool complete(const Receiver& receiver) {
  return receiver.ended && receiver.gaps.empty();
}

}  // namespace vorbelctl
