// The status lines on the console, byte for byte, and when they are printed.
#include <gtest/gtest.h>

#include <string>

#include "run/statistics.h"
#include "tests/unit/common/console.h"
#include "tests/unit/run/run_fixture.h"

namespace vorbeld {
namespace {

constexpr std::uint64_t period_ms = 10'000;

std::string status_at(RunBench& bench, std::uint64_t now_ms) {
  return console_of([&] { print_status(bench.run, now_ms); });
}

TEST(Status, OfAnIdleRunShowsZeros) {
  RunBench bench;
  bench.run.publisher.heartbeats = 9;
  EXPECT_EQ(status_at(bench, start_ms + period_ms),
            "[vorbeld] seq 0 reports 0 capped 0 cancels 0 corrections 0 halts 0 as-of 0 retrans 0 packets 0 dropped 0 "
            "heartbeats 9 reporters 0\n"
            "vorbeld faults: sent 0 dropped 0 duplicated 0 reordered 0\n");
}

TEST(Status, TellsEachCounterFromTheOthers) {
  RunBench bench;
  MoldPublisher& publisher = bench.run.publisher;
  publisher.next_sequence = 2;
  publisher.packets = 100;
  publisher.retransmission_requests = 8;
  publisher.retransmitted_messages = 999;
  publisher.heartbeats = 11;
  publisher.end_of_session_packets = 999;
  publisher.fault_counters = {.dropped = 10, .duplicated = 13, .reordered = 14};
  RunCounters& counters = bench.run.engine.counters;
  counters.reports = 2;
  counters.capped = 3;
  counters.cancels = 4;
  counters.corrections = 5;
  counters.halts = 6;
  counters.as_of = 7;
  counters.daily_summaries = 999;
  bench.run.intake.accepted = 12;
  EXPECT_EQ(status_at(bench, start_ms + period_ms),
            "[vorbeld] seq 1 reports 2 capped 3 cancels 4 corrections 5 halts 6 as-of 7 retrans 8 packets 100 dropped "
            "10 heartbeats 11 reporters 12\n"
            "vorbeld faults: sent 90 dropped 10 duplicated 13 reordered 14\n");
}

TEST(Status, SaysThatTheSessionIsClosed) {
  RunBench bench;
  bench.run.engine.session_closed = true;
  const std::string lines = status_at(bench, start_ms + period_ms);
  EXPECT_NE(lines.find(" reporters 0 (session closed)\nvorbeld faults: sent 0 "), std::string::npos) << lines;
}

TEST(Status, CountsReportersThatHaveGone) {
  RunBench bench;
  bench.run.intake.accepted = 3;
  ASSERT_TRUE(bench.run.intake.open.empty());
  EXPECT_NE(status_at(bench, start_ms + period_ms).find(" reporters 3\n"), std::string::npos);
}

TEST(Status, CountsDroppedPacketsAsFormedButNotAsSent) {
  RunBench bench;
  bench.run.publisher.faults.armed_drops = 2;
  console_of([&] {
    for (int i = 0; i < 5; ++i) send_trade(bench);
  });
  const std::string lines = status_at(bench, start_ms + period_ms);
  EXPECT_NE(lines.find(" packets 5 dropped 2 "), std::string::npos) << lines;
  EXPECT_NE(lines.find("sent 3 dropped 2 "), std::string::npos) << lines;
}

TEST(Status, ComesTenSecondsAfterTheLast) {
  RunBench bench;
  EXPECT_EQ(status_at(bench, start_ms), "");
  EXPECT_EQ(status_at(bench, start_ms + 9'999), "");
  EXPECT_NE(status_at(bench, start_ms + 10'003), "");
  EXPECT_EQ(bench.run.timers.last_status_ms, start_ms + 10'003);
  EXPECT_EQ(status_at(bench, start_ms + 20'002), "");
  EXPECT_NE(status_at(bench, start_ms + 20'003), "");
}

TEST(Status, IsPrintedHoweverQuiet) {
  RunBench bench;
  bench.run.options.quiet = true;
  ASSERT_TRUE(bench.run.engine.quiet);
  EXPECT_NE(status_at(bench, start_ms + period_ms), "");
}

}  // namespace
}  // namespace vorbeld
