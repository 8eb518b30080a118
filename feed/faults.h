// Faults on the way out: decides for each packet of the live feed whether it is sent, dropped, sent twice or held
// behind the next. Owns the settings and the counters of what was done. Never changes bytes, never touches a socket.
#pragma once

#include <cstdint>
#include <string>

namespace vorbeld {

// What can be set, from the command line, a scenario or the control port; 0 switches a fault off. Packet numbers count
// from 1 and count dropped and held packets too.
struct FaultSettings {
  std::uint32_t drop_every = 0;        // drops packets whose number is a multiple
  std::uint64_t drop_burst_start = 0;  // number of the first packet of a burst of drops
  std::uint32_t drop_burst_length = 0;
  std::uint32_t duplicate_every = 0;
  std::uint32_t reorder_every = 0;
  std::uint32_t armed_drops = 0;  // how many of the next packets are dropped; counted down
  std::uint32_t armed_duplicates = 0;
  std::uint32_t armed_reorders = 0;
};

struct FaultCounters {
  std::uint64_t dropped = 0;
  std::uint64_t duplicated = 0;
  std::uint64_t reordered = 0;
};

enum class Fate { send, send_twice, hold, drop };

// Decides about packet `packet_number` and counts down what was armed. Drop goes before duplicate before reorder: a
// drop leaves the other two armed counts alone, a held packet uses up an armed duplicate without being sent twice.
Fate decide_fate(FaultSettings& faults, std::uint64_t packet_number);

// "vorbeld faults: sent %llu dropped %llu duplicated %llu reordered %llu", without a line feed. `packets` counts all
// packets formed; those held back count as sent.
std::string faults_summary(const FaultCounters& counters, std::uint64_t packets);

}  // namespace vorbeld
