// The lines that announce a run, byte for byte.
#include "run/banner.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/common/console.h"
#include "tests/unit/run/run_fixture.h"

namespace vorbeld {
namespace {

std::string banner_of(const RunState& run) {
  return console_of([&] { print_banner(run); });
}

TEST(Banner, NamesTheDefaults) {
  const RunBench bench;
  EXPECT_EQ(banner_of(bench.run),
            "[vorbeld] BTDS 2.1 / MoldUDP64 233.54.19.111:28977 (iface 127.0.0.1) session BTDS000001 \xC2\xB7 "
            "retransmission udp :28979 \xC2\xB7 reports tcp :28978 \xC2\xB7 4 bonds \xC2\xB7 flow reported trades "
            "only\n");
}

TEST(Banner, NamesWhatWasGiven) {
  RunState run;
  run.options.group = "not an address";
  run.options.feed_port = 1;
  run.options.interface = "10.0.0.1";
  run.options.session = "longer than ten characters";
  run.options.retransmission_port = 0;
  run.options.report_port = 65535;
  run.options.rate_ms = 4'294'967'295;
  run.options.scenario = "a=1,cancel_every=5";
  EXPECT_EQ(banner_of(run),
            "[vorbeld] BTDS 2.1 / MoldUDP64 not an address:1 (iface 10.0.0.1) session longer than ten characters · "
            "retransmission udp :0 · reports tcp :65535 · 0 bonds · flow every ~4294967295 ms · scenario "
            "a=1,cancel_every=5\n");
}

TEST(Banner, IsPrintedHoweverQuiet) {
  RunBench bench;
  bench.run.options.quiet = true;
  EXPECT_NE(banner_of(bench.run), "");
}

TEST(Banner, IsFollowedByTheCommandsWhereTheControlPortIsOpen) {
  RunBench bench;
  bench.run.control.socket = 99;
  bench.run.options.control_port = 28980;
  const std::string lines = banner_of(bench.run);
  EXPECT_EQ(lines.substr(lines.find('\n') + 1),
            "bench: control on 127.0.0.1:28980 (pause | resume | drop N | dup N | reorder N | drop_every N | dup_every "
            "N | reorder_every N | rate MS | cancel N | correct N | halt CUSIP [REASON] | resume_halt CUSIP | close | "
            "mark LABEL | stats | stop)\n");
}

TEST(Banner, NamesNoControlPortThatCouldNotBeHad) {
  RunBench bench;
  bench.run.options.control_port = 28980;
  EXPECT_EQ(banner_of(bench.run).find("bench: control"), std::string::npos);
}

}  // namespace
}  // namespace vorbeld
