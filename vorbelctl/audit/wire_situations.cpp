#include "vorbelctl/audit/wire_situations.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace vorbelctl {
namespace {

using vorbeld::mold::block_prefix;

constexpr std::uint64_t packet_room = vorbeld::mold::largest_packet - vorbeld::mold::header_length;
constexpr std::uint64_t most_per_request = std::numeric_limits<decltype(Request::count)>::max();
// Of a message that never came, so that a gap counts as long only where it surely was.
constexpr std::uint64_t least_block = block_prefix + vorbeld::row_of(Kind::control).length;

// The open gap that holds this number, or null.
OpenGap* open_gap(WireSituations& wire, std::uint64_t sequence) {
  const auto gap = std::lower_bound(wire.gaps.begin(), wire.gaps.end(), sequence,
                                    [](const OpenGap& each, std::uint64_t number) { return each.last < number; });
  return gap == wire.gaps.end() || gap->first > sequence ? nullptr : &*gap;
}

// Numbers beside a gap that is open belong to it, as they do in the receiver.
void open_or_widen(WireSituations& wire, const Event& event) {
  if (!wire.gaps.empty() && wire.gaps.back().last + 1 == event.first) {
    wire.gaps.back().last = event.last;
    return;
  }
  OpenGap gap;
  gap.first = event.first;
  gap.last = event.last;
  gap.behind_open = !wire.gaps.empty();
  wire.gaps.push_back(gap);
}

void keep_recovered(WireSituations& wire, std::uint64_t sequence) {
  if (!wire.recovered.empty() && wire.recovered.back().last + 1 == sequence) {
    wire.recovered.back().last = sequence;
    return;
  }
  if (wire.recovered.size() >= most_recovered_kept) wire.recovered.pop_front();
  wire.recovered.push_back({sequence, sequence});
}

bool was_recovered(const WireSituations& wire, std::uint64_t sequence) {
  const auto after = std::upper_bound(wire.recovered.begin(), wire.recovered.end(), sequence,
                                      [](std::uint64_t number, const Range& range) { return number < range.first; });
  return after != wire.recovered.begin() && std::prev(after)->last >= sequence;
}

void take_filled(WireSituations& wire, Situations& situations, const Event& event) {
  OpenGap* const gap = open_gap(wire, event.first);
  if (event.via == Via::late && gap != nullptr) ++gap->late;
  if (event.via != Via::recovered) return;
  keep_recovered(wire, event.first);
  if (gap != nullptr) {
    ++gap->lost;
    gap->lost_bytes += block_prefix + event.text.size();
  }
  if (event.text.starts_with("AH")) meet_lost(situations, event.first, Kind::halt, 'H');
  if (event.text.starts_with("CC")) meet_lost(situations, event.first, Kind::control, 'C');
}

void take_missing(WireSituations& wire, Situations& situations, const Event& event) {
  const std::uint64_t publisher_keeps = ReceiverSettings().publisher_keeps;
  OpenGap* const gap = open_gap(wire, event.first);
  if (gap == nullptr) return;
  const std::uint64_t count = event.last - event.first + 1;
  gap->lost += count;
  gap->lost_bytes += std::min(count, packet_room) * least_block;
  // All numbers of the gaps have been sent, so the oldest ones may have left the store.
  if (wire.gaps.back().last - event.first >= publisher_keeps) {
    meet(situations, Situation::gap_beyond_store, event.first);
  }
}

void take_duplicate(WireSituations& wire, Situations& situations, std::uint64_t sequence) {
  if (was_recovered(wire, sequence)) {
    meet(situations, Situation::duplicate_after_recovery, sequence);
  } else if (wire.gaps.empty()) {
    meet(situations, Situation::duplicate, sequence);
  } else if (OpenGap& gap = wire.gaps.back(); gap.duplicates++ == 0) {
    gap.first_duplicate = sequence;
  }
}

// A heartbeat or the end of session names the next number.
void take_announcement_of(WireSituations& wire, const Event& event) {
  if (!wire.gaps.empty() && wire.gaps.back().last + 1 == event.first) wire.gaps.back().at_tail = true;
  if (event.kind != EventKind::end_of_session) return;
  for (OpenGap& gap : wire.gaps) gap.at_end = true;
}

// What the gap was, now that all of its numbers came or were given up.
void judge_gap(WireSituations& wire, Situations& situations, const OpenGap& gap) {
  const bool behind_lost = gap.behind_open && wire.before_was_lost;
  const bool is_lost = gap.lost != 0;
  wire.before_was_lost = is_lost;
  const auto meet_if = [&](bool is_met, Situation situation) {
    if (is_met) meet(situations, situation, gap.first);
  };
  meet_if(gap.late != 0, Situation::reorder);
  meet_if(gap.late != 0 && (is_lost || behind_lost), Situation::reorder_across_gap);
  const Situation twice = is_lost ? Situation::duplicate_before_recovery : Situation::duplicate;
  for (std::uint64_t i = 0; i < gap.duplicates; ++i) meet(situations, twice, gap.first_duplicate);
  if (!is_lost) return;
  meet(situations, gap.lost == 1 ? Situation::gap_one : Situation::gap_burst, gap.first);
  meet_if(gap.at_tail, Situation::gap_tail);
  meet_if(behind_lost, Situation::gap_in_gap);
  meet_if(gap.lost_bytes > packet_room, Situation::gap_beyond_packet);
  meet_if(gap.lost > most_per_request, Situation::gap_beyond_request);
  meet_if(gap.at_end && met_of(situations, Situation::close_in_gap).count == 0, Situation::close_in_gap);
}

void take_closed(WireSituations& wire, Situations& situations, const Event& event, bool of_wire) {
  while (!wire.gaps.empty() && wire.gaps.front().last <= event.last) {
    const OpenGap gap = wire.gaps.front();
    wire.gaps.pop_front();
    if (of_wire) judge_gap(wire, situations, gap);
  }
}

}  // namespace

void meet_event(WireSituations& wire, Situations& situations, const Event& event, bool of_wire) {
  switch (event.kind) {
    case EventKind::message:
      if (of_wire && event.via != Via::live) take_filled(wire, situations, event);
      break;
    case EventKind::gap:
      if (of_wire) open_or_widen(wire, event);
      break;
    case EventKind::missing:
      if (of_wire) take_missing(wire, situations, event);
      break;
    case EventKind::gap_closed:
      take_closed(wire, situations, event, of_wire);
      break;
    case EventKind::duplicate:
      if (of_wire) take_duplicate(wire, situations, event.first);
      break;
    case EventKind::heartbeat:
    case EventKind::end_of_session:
      take_announcement_of(wire, event);
      break;
    case EventKind::joined:
    case EventKind::out_of_order:
    case EventKind::altered:
    case EventKind::too_late:
    case EventKind::foreign_session:
    case EventKind::malformed_packet:
    case EventKind::behind:
    case EventKind::began_again:
    case EventKind::second_sender:
      break;
  }
}

void meet_lost(Situations& situations, std::uint64_t sequence, Kind kind, char type) {
  if (kind == Kind::halt) meet(situations, Situation::gap_across_halt, sequence);
  if (kind == Kind::control && type == 'C') meet(situations, Situation::gap_across_close, sequence);
}

}  // namespace vorbelctl
