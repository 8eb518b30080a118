#include "run/statistics.h"

#include <cstdio>
#include <fstream>
#include <string>

#include "common/clocks.h"
#include "common/llu.h"
#include "common/text_line.h"

namespace vorbeld {
namespace {

void append_venues(TextLine& line, const TextMap<std::uint64_t>& by_venue) {
  std::string_view separator = "\"";
  for (const auto& [venue, count] : by_venue) {
    append(line, separator, Escaped{venue}, "\":", Decimal{count});
    separator = ",\"";
  }
}

std::string statistics_line(const RunState& run) {
  const MoldPublisher& publisher = run.publisher;
  const RunCounters& counters = run.engine.counters;
  TextLine line;
  append(line, "{\"ts_ms\":", Decimal{wall_ms()},                              //
         ",\"seq\":", Decimal{publisher.next_sequence - 1},                    //
         ",\"reports\":", Decimal{counters.reports},                           //
         ",\"capped\":", Decimal{counters.capped},                             //
         ",\"cancels\":", Decimal{counters.cancels},                           //
         ",\"corrections\":", Decimal{counters.corrections},                   //
         ",\"halts\":", Decimal{counters.halts},                               //
         ",\"retransmissions\":", Decimal{publisher.retransmission_requests},  //
         ",\"packets\":", Decimal{publisher.packets},                          //
         ",\"dropped\":", Decimal{publisher.fault_counters.dropped},           //
         ",\"heartbeats\":", Decimal{publisher.heartbeats},                    //
         run.engine.session_closed ? ",\"closed\":true" : ",\"closed\":false", ",\"by_venue\":{");
  append_venues(line, counters.by_venue);
  append(line, "}}\n");
  return std::string(text(line));
}

}  // namespace

void print_status(RunState& run, std::uint64_t now_ms) {
  constexpr std::uint64_t period_ms = 9999;
  if (now_ms - run.timers.last_status_ms <= period_ms) return;
  const MoldPublisher& publisher = run.publisher;
  const RunCounters& counters = run.engine.counters;
  std::fprintf(stderr,
               "[vorbeld] seq %llu reports %llu capped %llu cancels %llu corrections %llu halts %llu as-of %llu "
               "retrans %llu packets %llu dropped %llu heartbeats %llu reporters %llu%s\n%s\n",
               Llu{publisher.next_sequence - 1}, Llu{counters.reports}, Llu{counters.capped}, Llu{counters.cancels},
               Llu{counters.corrections}, Llu{counters.halts}, Llu{counters.as_of},
               Llu{publisher.retransmission_requests}, Llu{publisher.packets}, Llu{publisher.fault_counters.dropped},
               Llu{publisher.heartbeats}, Llu{run.intake.accepted},
               run.engine.session_closed ? " (session closed)" : "",
               faults_summary(publisher.fault_counters, publisher.packets).c_str());
  run.timers.last_status_ms = now_ms;
}

void write_statistics(RunState& run, std::uint64_t now_ms) {
  constexpr std::uint64_t period_ms = 999;
  const std::string& path = run.options.stats_path;
  if (path.empty() || now_ms - run.timers.last_stats_ms <= period_ms) return;
  const std::string unfinished = path + ".tmp";
  std::ofstream(unfinished, std::ios::trunc) << statistics_line(run);
  std::rename(unfinished.c_str(), path.c_str());
  run.timers.last_stats_ms = now_ms;
}

}  // namespace vorbeld
