// What a run can put its receiver through, as a table: a row for each situation with its name, what it is and how it is
// told. Counts which of them were met. Who meets them is elsewhere: messages and their bonds (message_situations.h),
// the wire (wire_situations.h, wire_rules.h) and the course of the run (audit.cpp).
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vorbelctl {

// In the order of the table.
enum class Situation : std::uint8_t {
  control_i,
  control_o,
  control_c,
  control_x,
  control_j,
  control_z,
  trade,
  cancel,
  correction,
  halt,
  resume,
  summary,
  as_of,
  reversal,
  special_price,
  late_sale,
  after_hours,
  weighted_average,
  ats,
  capped_investment_grade,
  capped_high_yield,
  yield_absent,
  cancel_high,
  cancel_low,
  cancel_last,
  cancel_only,
  cancel_earlier_day,
  correction_high,
  correction_low,
  correction_last,
  correction_only,
  correction_earlier_day,
  halt_traded,
  halt_untraded,
  resume_traded,
  resume_untraded,
  idle,
  gap_one,
  gap_burst,
  gap_tail,
  gap_in_gap,
  gap_across_halt,
  gap_across_close,
  gap_beyond_packet,
  gap_beyond_request,
  gap_beyond_store,
  duplicate,
  duplicate_before_recovery,
  duplicate_after_recovery,
  reorder,
  reorder_across_gap,
  heartbeat_lost,
  close_in_gap
};

inline constexpr std::size_t situation_count = static_cast<std::size_t>(Situation::close_in_gap) + 1;

struct SituationRow {
  Situation situation;
  std::string_view name;
  std::string_view says;  // what the receiver is put through
  std::string_view told;  // by what it is known
  bool of_wire = false;   // known only to those who have the packets of the feed
};

// All of them; each stands at its place.
std::span<const SituationRow, situation_count> all_situations();

const SituationRow& situation_row(Situation situation);

struct Met {
  std::uint64_t count = 0;
  std::uint64_t first = 0;  // the sequence number with which it was met first; 0: never
};

struct Situations {
  std::array<Met, situation_count> met;
};

inline const Met& met_of(const Situations& situations, Situation situation) {
  return situations.met[static_cast<std::size_t>(situation)];
}

inline void meet(Situations& situations, Situation situation, std::uint64_t sequence) {
  Met& met = situations.met[static_cast<std::size_t>(situation)];
  if (met.count++ == 0) met.first = sequence;
}

// Whether it can be known of messages that came `on_the_wire`, or of others.
inline bool is_knowable(const SituationRow& row, bool on_the_wire) {
  return on_the_wire || !row.of_wire;
}

// The situations of a list of names with commas between them, in the order of the table and each once. Throws
// std::invalid_argument for a name that no row has, an empty one too, with the near one, and for a situation that
// cannot be known of such messages.
std::vector<Situation> read_situations(const std::string& names, bool on_the_wire);

// How many of those that can be known were met, and how many there are.
struct MetCount {
  std::uint64_t met = 0;
  std::uint64_t known = 0;
};
MetCount count_met(const Situations& situations, bool on_the_wire);

}  // namespace vorbelctl
