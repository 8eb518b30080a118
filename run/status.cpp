#include "run/status.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <string_view>

#include "common/clocks.h"
#include "common/numbers.h"
#include "common/text.h"
#include "common/text_line.h"
#include "feed/faults.h"
#include "feed/publisher.h"
#include "trades/engine.h"

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
  append(line, "{\"ts_ms\":", Decimal{wall_ms()},                         //
         ",\"seq\":", Decimal{last_sequence(publisher)},                  //
         ",\"reports\":", Decimal{counters.reports},                      //
         ",\"capped\":", Decimal{counters.capped},                        //
         ",\"cancels\":", Decimal{counters.cancels},                      //
         ",\"corrections\":", Decimal{counters.corrections},              //
         ",\"halts\":", Decimal{counters.halts},                          //
         ",\"retransmissions\":", Decimal{run.retransmissions.requests},  //
         ",\"packets\":", Decimal{publisher.packets},                     //
         ",\"dropped\":", Decimal{publisher.fault_counters.dropped},      //
         ",\"heartbeats\":", Decimal{publisher.heartbeats},               //
         session_closed(run.engine) ? ",\"closed\":true" : ",\"closed\":false", ",\"by_venue\":{");
  append_venues(line, counters.by_venue);
  append(line, "}}\n");
  return std::string(text(line));
}

// Writes `text` beside `path` and renames it, so that a reader never sees half of it. What could not be written whole,
// or not be renamed, is removed, and the file at `path` stays. A file beside it that cannot be opened is left alone.
void replace_file(const std::string& path, const std::string& text) {
  const std::string unfinished = path + ".tmp";
  std::ofstream file(unfinished, std::ios::trunc);
  if (!file.is_open()) return;
  file << text;
  file.close();  // only now is all of it with the system
  if (!file || std::rename(unfinished.c_str(), path.c_str()) != 0) std::remove(unfinished.c_str());
}

}  // namespace

void print_banner(const RunState& run, const BenchOptions& options) {
  const std::string flow =
      options.rate_ms == 0 ? "reported trades only" : "every ~" + std::to_string(options.rate_ms) + " ms";
  std::fprintf(stderr,
               "[vorbeld] BTDS 2.1 / MoldUDP64 %s:%u (iface %s) session %s · retransmission udp :%u · reports tcp :%u"
               " · %zu bonds · flow %s%s%s\n",
               options.group.c_str(), unsigned{options.feed_port}, options.interface.c_str(), options.session.c_str(),
               unsigned{options.retransmission_port}, unsigned{options.report_port}, run.engine.universe.bonds.size(),
               flow.c_str(), options.scenario.empty() ? "" : " · scenario ", options.scenario.c_str());
  if (run.control.socket >= 0) {
    std::fprintf(stderr,
                 "bench: control on 127.0.0.1:%u (pause | resume | drop N | dup N | reorder N | drop_every N | "
                 "dup_every N | reorder_every N | rate MS | cancel N | correct N | halt CUSIP [REASON] | "
                 "resume_halt CUSIP | close | mark LABEL | stats | stop)\n",
                 unsigned{options.control_port});
  }
}

void print_status(RunState& run, std::uint64_t now_ms) {
  constexpr std::uint64_t period_ms = 9999;
  if (now_ms - run.timers.last_status_ms <= period_ms) return;
  const MoldPublisher& publisher = run.publisher;
  const RunCounters& counters = run.engine.counters;
  std::fprintf(stderr,
               "[vorbeld] seq %llu reports %llu capped %llu cancels %llu corrections %llu halts %llu as-of %llu "
               "retrans %llu packets %llu dropped %llu heartbeats %llu reporters %llu%s\n%s\n",
               Llu{last_sequence(publisher)}, Llu{counters.reports}, Llu{counters.capped}, Llu{counters.cancels},
               Llu{counters.corrections}, Llu{counters.halts}, Llu{counters.as_of}, Llu{run.retransmissions.requests},
               Llu{publisher.packets}, Llu{publisher.fault_counters.dropped}, Llu{publisher.heartbeats},
               Llu{run.intake.accepted}, session_closed(run.engine) ? " (session closed)" : "",
               faults_summary(publisher.fault_counters, publisher.packets).c_str());
  run.timers.last_status_ms = now_ms;
}

void write_statistics(RunState& run, std::uint64_t now_ms) {
  constexpr std::uint64_t period_ms = 999;
  const std::string& path = run.stats_path;
  if (path.empty() || now_ms - run.timers.last_stats_ms <= period_ms) return;
  if (run.spare_descriptor >= 0) close(run.spare_descriptor);
  replace_file(path, statistics_line(run));
  run.spare_descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
  run.timers.last_stats_ms = now_ms;
}

void print_stopped(const RunState& run) {
  std::fprintf(stderr, "[vorbeld] stopped: seq %llu reports %llu\n", Llu{last_sequence(run.publisher)},
               Llu{run.engine.counters.reports});
}

}  // namespace vorbeld
