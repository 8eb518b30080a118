#include "vorbelctl/audit/wire_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace vorbelctl {
namespace {

// A heartbeat comes when more than 999 ms have passed. A tenth of them is left to a network that carries one packet
// faster than another.
constexpr std::uint64_t least_silence_ms = 900;

// A bench that does not announce the end at once does so with its next heartbeat, which is due in this range. Another
// delay is that of a busy machine.
constexpr std::uint64_t next_heartbeat_ms = 980;
constexpr std::uint64_t late_heartbeat_ms = 1100;

bool is_heartbeat(const Heard& packet) {
  return packet.messages == 0;
}

std::uint64_t last_number(const Heard& packet) {
  return packet.first + packet.messages - 1;
}

// The range of unheard numbers that holds this one.
auto find_unheard(const Wire& wire, std::uint64_t sequence) {
  const auto after = wire.unheard.upper_bound(sequence);
  if (after == wire.unheard.begin()) return wire.unheard.end();
  const auto range = std::prev(after);
  return range->second >= sequence ? range : wire.unheard.end();
}

std::string carries_one_message(const Wire& /*wire*/, const Heard& packet) {
  return packet.messages > 1 ? fmt::format("{} messages in one packet", packet.messages) : "";
}

std::string repeats_at_once(const Wire& wire, const Heard& packet) {
  if (is_heartbeat(packet) || packet.first > wire.highest || packet.first < wire.from) return "";
  if (find_unheard(wire, packet.first) != wire.unheard.end()) return "";
  const bool in_a_row = wire.previous->messages != 0 && wire.previous->first == packet.first;
  return in_a_row ? "" : fmt::format("again, after #{}", wire.highest);
}

std::string names_the_next_number(const Wire& wire, const Heard& packet) {
  if (!is_heartbeat(packet) || packet.first > wire.highest) return "";
  return fmt::format("{}, though #{} was sent", packet.first, wire.highest);
}

// The first announcement of the end waits for nothing.
bool is_early(const Wire& wire, const Heard& packet) {
  if (!is_heartbeat(packet) || !wire.previous || (packet.end_of_session && !wire.ended)) return false;
  const std::uint64_t before_ms = wire.previous->at.earliest_ms;
  return packet.at.latest_ms >= before_ms && packet.at.latest_ms - before_ms < least_silence_ms;
}

// One early heartbeat may be a clock that was set back; a bench that does not wait does so again.
std::string waits_for_silence(const Wire& wire, const Heard& packet) {
  if (!wire.early || !is_early(wire, packet)) return "";
  return fmt::format("{} ms after the packet before", packet.at.latest_ms - wire.previous->at.earliest_ms);
}

std::string announces_the_end_at_once(const Wire& wire, const Heard& packet) {
  const bool first = packet.end_of_session && !wire.ended && wire.previous && wire.previous->closes;
  if (!first || packet.at.earliest_ms < wire.previous->at.latest_ms) return "";
  const std::uint64_t least_ms = packet.at.earliest_ms - wire.previous->at.latest_ms;
  const std::uint64_t most_ms = packet.at.latest_ms - wire.previous->at.earliest_ms;
  if (least_ms < next_heartbeat_ms || most_ms > late_heartbeat_ms) return "";
  return fmt::format("{} ms after C/Z", most_ms);
}

std::string says_the_end_behind_it(const Wire& wire, const Heard& packet) {
  return is_heartbeat(packet) && !packet.end_of_session && wire.ended ? "a heartbeat behind the end of session" : "";
}

constexpr std::array rules_of_packets{
    WireRule{"one message", "a packet of the feed carries one message", carries_one_message},
    WireRule{"duplicates", "a packet that is sent twice is sent twice in a row", repeats_at_once},
    WireRule{"heartbeat number", "a heartbeat names the next number", names_the_next_number},
    WireRule{"silence", "a heartbeat waits for a second of silence", waits_for_silence},
    WireRule{"end at once", "the end of session is announced at once", announces_the_end_at_once},
    WireRule{"end for good", "behind the end of session heartbeats announce it", says_the_end_behind_it},
};

// The first number behind others is another bench's, or the same one's that was started again: another feed.
bool begins_again(const Wire& wire, const Heard& packet) {
  const bool in_a_row = wire.previous && wire.previous->messages != 0 && wire.previous->first == 1;
  return packet.first == 1 && packet.messages != 0 && wire.highest > 1 && !in_a_row &&
         find_unheard(wire, 1) == wire.unheard.end();
}

// Nothing came for so long that a heartbeat was due meanwhile, though nothing with a number was sent: the next packet
// goes on where the one before stood. A heartbeat that comes late, as from a busy machine, is not lost yet.
void watch_silence(Wire& wire, const Heard& packet) {
  constexpr std::uint64_t lost_heartbeat_ms = 1900;
  if (!wire.previous || packet.first != wire.highest + 1) return;
  const std::uint64_t since_ms = wire.previous->at.latest_ms;
  if (packet.at.earliest_ms < since_ms || packet.at.earliest_ms - since_ms < lost_heartbeat_ms) return;
  if (wire.heartbeats_lost.count++ == 0) wire.heartbeats_lost.first = packet.first;
}

// Notes a breach: the first of each rule is a discrepancy, further ones follow from it.
void note_breach(Wire& wire, std::size_t place, std::uint64_t sequence, std::string received,
                 Discrepancies& discrepancies) {
  if (wire.broken[place]) {
    note_follow_up(discrepancies, *wire.broken[place]);
    return;
  }
  wire.broken[place] = note(discrepancies, {sequence, "packet", Source::rule, std::string(rules_of_packets[place].says),
                                            Source::message, std::move(received)});
}

void forget_oldest(Wire& wire) {
  if (wire.unheard.size() <= most_unheard) return;
  wire.from = wire.unheard.begin()->second + 1;
  wire.unheard.erase(wire.unheard.begin());
}

void take_numbers(Wire& wire, const Heard& packet) {
  const std::uint64_t last = last_number(packet);
  if (wire.highest == 0) {
    wire.from = packet.first;
    wire.highest = last;
  } else if (packet.first > wire.highest) {
    if (packet.first > wire.highest + 1) wire.unheard.emplace(wire.highest + 1, packet.first - 1);
    wire.highest = last;
    forget_oldest(wire);
  } else if (const auto range = find_unheard(wire, packet.first); range != wire.unheard.end()) {
    const auto [first, end] = *range;
    wire.unheard.erase(range);
    if (first < packet.first) wire.unheard.emplace(first, packet.first - 1);
    if (end > packet.first) wire.unheard.emplace(packet.first + 1, end);
  }
}

void take_announcement(Wire& wire, const Heard& packet) {
  if (is_early(wire, packet) && !wire.early) wire.early = packet;
  if (packet.end_of_session) {
    wire.ended_from = wire.ended ? std::min(wire.ended_from, packet.first) : packet.first;
    wire.ended = true;
  } else {
    wire.heartbeats_until = std::max(wire.heartbeats_until, packet.first);
  }
}

Heard heard_in(const Packet& packet, const Arrived& at) {
  const bool closes = !packet.messages.empty() && packet.messages.back().starts_with("CZ");
  return {packet.first, packet.messages.size(), packet.end_of_session, closes, at};
}

}  // namespace

std::span<const WireRule> wire_rules() {
  return rules_of_packets;
}

void hear_packet(Wire& wire, std::string_view bytes, const Session& session, const Arrived& at,
                 Discrepancies& discrepancies) {
  const Packet packet = read_packet(bytes);
  if (!packet.malformed.empty() || packet.session != session || packet.first == 0) return;
  const Heard heard = heard_in(packet, at);
  if (begins_again(wire, heard)) wire = Wire{};
  wire.broken.resize(rules_of_packets.size());
  for (std::size_t i = 0; i < rules_of_packets.size(); ++i) {
    std::string received = rules_of_packets[i].check(wire, heard);
    if (!received.empty()) note_breach(wire, i, heard.first, std::move(received), discrepancies);
  }
  watch_silence(wire, heard);
  if (is_heartbeat(heard)) {
    take_announcement(wire, heard);
  } else {
    take_numbers(wire, heard);
  }
  wire.previous = heard;
}

void hold_heartbeats(Wire& wire, std::uint64_t closed_by, std::uint64_t last, Discrepancies& discrepancies) {
  if (closed_by != 0 && wire.heartbeats_until > closed_by) {
    note(discrepancies, {closed_by, "packet", Source::rule, "heartbeats behind C/Z announce the end of session",
                         Source::message, "a heartbeat"});
  }
  const bool all_known = wire.ended && last + 1 >= wire.ended_from;
  if (!all_known || (closed_by != 0 && closed_by < wire.ended_from)) return;
  note(discrepancies, {wire.ended_from - 1, "packet", Source::rule, "the end of session comes behind C/Z",
                       Source::message, "an end of session"});
}

}  // namespace vorbelctl
