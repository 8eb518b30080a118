#include "feed/faults.h"

namespace vorbeld {
namespace {

bool due(std::uint32_t every, std::uint64_t packet_number) {
  return every > 0 && packet_number % every == 0;
}

bool in_burst(const FaultSettings& faults, std::uint64_t packet_number) {
  return faults.drop_burst_length > 0 && faults.drop_burst_start <= packet_number &&
         packet_number - faults.drop_burst_start < faults.drop_burst_length;
}

bool use_armed(std::uint32_t& armed) {
  if (armed == 0) return false;
  --armed;
  return true;
}

}  // namespace

Fate decide_fate(FaultSettings& faults, std::uint64_t packet_number) {
  // Each armed count is used up even where a periodic rule alone would have decided, so it is asked first.
  if (use_armed(faults.armed_drops) || due(faults.drop_every, packet_number) || in_burst(faults, packet_number)) {
    return Fate::drop;
  }
  const bool duplicate = use_armed(faults.armed_duplicates) || due(faults.duplicate_every, packet_number);
  const bool reorder = use_armed(faults.armed_reorders) || due(faults.reorder_every, packet_number);
  if (reorder) return Fate::hold;
  return duplicate ? Fate::send_twice : Fate::send;
}

std::string faults_summary(const FaultCounters& counters, std::uint64_t packets) {
  return "vorbeld faults: sent " + std::to_string(packets - counters.dropped) +  //
         " dropped " + std::to_string(counters.dropped) +                        //
         " duplicated " + std::to_string(counters.duplicated) +                  //
         " reordered " + std::to_string(counters.reordered);
}

}  // namespace vorbeld
