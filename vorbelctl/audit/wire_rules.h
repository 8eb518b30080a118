// What the bench never does otherwise on the wire: the rules of its packets and heartbeats, as far as somebody who
// listens can know them for sure. Packets may be lost and may be read late, so only what no loss and no delay can bring
// about is held. One row a rule: its name, what it says and the check.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "vorbelctl/audit/discrepancy.h"
#include "vorbelctl/audit/situations.h"
#include "vorbelctl/handler/packet.h"

namespace vorbelctl {

// When a packet was here, in ms of any clock that goes on evenly: not before the one, not after the other.
struct Arrived {
  std::uint64_t earliest_ms = 0;
  std::uint64_t latest_ms = 0;
};

// One packet of the feed.
struct Heard {
  std::uint64_t first = 0;     // number of its first message; without messages: of the next one to come
  std::uint64_t messages = 0;  // 0: a heartbeat, or the end of session
  bool end_of_session = false;
  bool closes = false;  // its last message ends the day
  Arrived at;
};

struct Wire {
  std::optional<Heard> previous;
  std::uint64_t from = 0;     // lower numbers are not judged: the feed was joined here, or they are forgotten
  std::uint64_t highest = 0;  // message number; 0: none yet
  std::map<std::uint64_t, std::uint64_t> unheard;  // numbers up to `highest` that have not come, first to last; at most
                                                   // most_unheard ranges
  bool ended = false;                              // the end of session has been announced
  std::uint64_t heartbeats_until = 0;              // the highest number of a heartbeat; 0: there was none
  std::uint64_t ended_from = 0;                    // the lowest number of an end of session
  std::optional<Heard> early;                      // the first heartbeat that came early
  Met heartbeats_lost;                             // that were due, and can only have been sent and lost
  std::vector<std::optional<Cause>> broken;        // by the place in the table: the first breach
};

inline constexpr std::size_t most_unheard = 10000;

struct WireRule {
  std::string_view name;
  std::string_view says;
  std::string (*check)(const Wire& wire, const Heard& packet);  // what was received instead; empty: the rule is kept
};

// Those that packets show one after the other.
std::span<const WireRule> wire_rules();

// Holds the next datagram of the feed against the rules; what is no packet of the session is left out.
void hear_packet(Wire& wire, std::string_view bytes, const Session& session, const Arrived& at,
                 Discrepancies& discrepancies);

// Holds the heartbeats as a whole against the day: `closed_by` is the number of its last control message, 0 where it
// has none, and `last` that of the last message of which all is known.
void hold_heartbeats(Wire& wire, std::uint64_t closed_by, std::uint64_t last, Discrepancies& discrepancies);

}  // namespace vorbelctl
