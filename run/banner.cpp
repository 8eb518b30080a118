#include "run/banner.h"

#include <cstdio>
#include <string>

namespace vorbeld {

void print_banner(const RunState& run) {
  const BenchOptions& options = run.options;
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

}  // namespace vorbeld
