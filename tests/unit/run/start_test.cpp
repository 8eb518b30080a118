// Start-up: what is opened, announced and set, in an order that observers can see, and what stops it.
#include "run/start.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "common/clocks.h"
#include "run/configuration.h"
#include "tests/unit/run/ports.h"
#include "tests/unit/run/start_fixture.h"

namespace vorbeld {
namespace {

using namespace std::string_view_literals;

TEST(Start, AnnouncesTheDayOnTheFeed) {
  StartBench bench;
  bench.options.session = "a session of mine";
  start(bench);
  const auto packets = received_datagrams(bench.receiver);
  ASSERT_EQ(packets.size(), 2U);
  EXPECT_EQ(packets[0].substr(0, 32),
            "a session \0\0\0\0\0\0\0\x01\0\x01\0\x18"
            "CI       O"sv);
  EXPECT_EQ(packets[1].substr(0, 32),
            "a session \0\0\0\0\0\0\0\x02\0\x01\0\x18"
            "CO       O"sv);
  EXPECT_EQ(last_sequence(bench.run.publisher), 2U);
}

TEST(Start, PrintsTheBannerBeforeTheFirstMessages) {
  StartBench bench;
  bench.options.rate_ms = 250;
  bench.options.scenario = "halt_ms=1";
  EXPECT_EQ(start(bench),
            "[vorbeld] BTDS 2.1 / MoldUDP64 127.0.0.1:" + std::to_string(bench.receiver.port) +
                " (iface 127.0.0.1) session BTDS000001 · retransmission udp :0 · reports tcp :0 · 4 bonds · flow every "
                "~250 ms · scenario halt_ms=1\n"
                "[vorbeld] #1 control C/I\n"
                "[vorbeld] #2 control C/O\n");
}

TEST(Start, PrintsTheBannerAloneWhenQuiet) {
  StartBench bench;
  bench.options.quiet = true;
  const std::string console = start(bench);
  EXPECT_TRUE(console.starts_with("[vorbeld] BTDS 2.1"));
  EXPECT_EQ(console.find('\n'), console.size() - 1);
  EXPECT_TRUE(bench.run.engine.quiet);
}

TEST(Start, OpensNoServiceAtPortZero) {
  StartBench bench;
  start(bench);
  EXPECT_EQ(bench.run.retransmissions.socket, -1);
  EXPECT_EQ(bench.run.intake.listener, -1);
  EXPECT_EQ(bench.run.control.socket, -1);
}

TEST(Start, OpensTheServicesAtTheirPorts) {
  StartBench bench;
  const ClaimedPort reports = claim_port();
  const ClaimedPort retransmissions = claim_port();
  const ClaimedPort control = claim_port();
  bench.options.report_port = reports.number;
  bench.options.retransmission_port = retransmissions.number;
  bench.options.control_port = control.number;
  const std::string console = start(bench);
  EXPECT_EQ(port_of(bench.run.intake.listener), reports.number);
  EXPECT_EQ(port_of(bench.run.retransmissions.socket), retransmissions.number);
  EXPECT_EQ(port_of(bench.run.control.socket), control.number);
  EXPECT_NE(console.find("\nbench: control on 127.0.0.1:" + std::to_string(control.number) + " (pause | "),
            std::string::npos);
}

TEST(Start, HandsTheFaultSettingsOn) {
  StartBench bench;
  bench.options.drop_every = 11;
  bench.options.duplicate_every = 12;
  bench.options.reorder_every = 13;
  bench.options.drop_burst = "100:3";
  start(bench);
  const FaultSettings& faults = bench.run.publisher.faults;
  EXPECT_EQ(faults.drop_every, 11U);
  EXPECT_EQ(faults.duplicate_every, 12U);
  EXPECT_EQ(faults.reorder_every, 13U);
  EXPECT_EQ(faults.drop_burst_start, 100U);
  EXPECT_EQ(faults.drop_burst_length, 3U);
  EXPECT_EQ(faults.armed_drops + faults.armed_duplicates + faults.armed_reorders, 0U);
}

TEST(Start, HandsTheScenarioOn) {
  StartBench bench;
  bench.options.scenario = "cancel_every=5,ats_every=6,close_after_s=7";
  start(bench);
  EXPECT_EQ(bench.run.generator.periods.cancel_every, 5U);
  EXPECT_EQ(bench.run.generator.periods.ats_every, 6U);
  EXPECT_EQ(bench.run.intake.cancel_every, 5U);
  EXPECT_EQ(bench.run.scenario.close_after_s, 7U);
}

TEST(Start, GradesListedBondsHighYield) {
  StartBench bench;
  bench.options.high_yield = "594918BY9,NEW";
  start(bench);
  EXPECT_TRUE(bench.run.engine.universe.bonds.at(1).high_yield);
  EXPECT_FALSE(bench.run.engine.universe.bonds.at(0).high_yield);
  EXPECT_EQ(bench.run.intake.high_yield_cusips, (CusipSet{"594918BY9", "NEW"}));
}

TEST(Start, GoesOnWithAnEmptyUniverse) {
  StartBench bench;
  bench.options.bonds = ",,,";
  EXPECT_NE(start(bench).find(" · 0 bonds · "), std::string::npos);
}

TEST(Start, SeedsTheGenerator) {
  StartBench bench;
  bench.options.seed = 4'294'967'295;
  start(bench);
  EXPECT_EQ(bench.run.generator.chance.engine, std::mt19937_64(4'294'967'295U));
}

TEST(Start, SetsTheClocks) {
  StartBench bench;
  bench.options.rate_ms = 100'000;
  const std::uint64_t before = monotonic_ms();
  start(bench);
  const std::uint64_t after = monotonic_ms();
  const Timers& timers = bench.run.timers;
  EXPECT_GE(timers.start_ms, before);
  EXPECT_LE(timers.start_ms, after);
  EXPECT_EQ(timers.last_status_ms, timers.start_ms);
  EXPECT_EQ(timers.last_stats_ms, 0U);
  EXPECT_EQ(bench.run.flow.rate_ms, 100'000U);
  EXPECT_EQ(bench.run.flow.next_trade_ms, timers.start_ms + 100'000);
  EXPECT_FALSE(bench.run.flow.paused);
  EXPECT_EQ(bench.run.flow.idle_until_ms, 0U);
}

TEST(Start, CatchesTheStopSignals) {
  StartBench bench;
  start(bench);
  for (const int number : {SIGINT, SIGTERM}) {
    struct sigaction action {};
    ASSERT_EQ(sigaction(number, nullptr, &action), 0);
    EXPECT_NE(action.sa_handler, SIG_DFL);
    EXPECT_NE(action.sa_handler, SIG_IGN);
  }
}

TEST(Start, AppendsToTheFiles) {
  StartBench bench;
  bench.options.truth_path = bench.folder.path / "truth";
  bench.options.tape_path = bench.folder.path / "tape";
  write_file(bench.folder.path / "truth", "{\"of\":\"an earlier run\"}\n");
  start(bench);
  EXPECT_EQ(file_text(bench.folder.path / "truth"),
            "{\"of\":\"an earlier run\"}\n"
            "{\"seq\":1,\"cat\":\"C\",\"type\":\"I\",\"event\":\"control\"}\n"
            "{\"seq\":2,\"cat\":\"C\",\"type\":\"O\",\"event\":\"control\"}\n");
  EXPECT_TRUE(std::filesystem::exists(bench.folder.path / "tape"));
}

TEST(Start, GoesOnSilentlyWithoutFilesThatCannotBeOpened) {
  StartBench bench;
  bench.options.quiet = true;
  bench.options.truth_path = bench.folder.path / "absent" / "truth";
  bench.options.tape_path = bench.folder.path;
  const std::string console = start(bench);
  EXPECT_EQ(console.find('\n'), console.size() - 1);
  EXPECT_FALSE(takes_lines(bench.run.engine.truth));
  EXPECT_FALSE(takes_lines(bench.run.engine.tape));
}

TEST(Start, OpensEitherFileWithoutTheOther) {
  StartBench truth_only;
  truth_only.options.truth_path = truth_only.folder.path / "truth";
  start(truth_only);
  EXPECT_TRUE(takes_lines(truth_only.run.engine.truth));
  EXPECT_FALSE(takes_lines(truth_only.run.engine.tape));
  StartBench tape_only;
  tape_only.options.tape_path = tape_only.folder.path / "tape";
  start(tape_only);
  EXPECT_FALSE(takes_lines(tape_only.run.engine.truth));
  EXPECT_TRUE(takes_lines(tape_only.run.engine.tape));
}

TEST(Start, FailsWithoutItsRetransmissionPort) {
  StartBench bench;
  const UdpSocket holder = open_udp();
  bench.options.retransmission_port = holder.port;
  bench.options.drop_burst = "not read any more";
  bench.options.truth_path = bench.folder.path / "truth";
  EXPECT_EQ(fail_to_start(bench), "vorbeld: retransmission port: Address already in use\n");
  EXPECT_FALSE(std::filesystem::exists(bench.folder.path / "truth"));
  EXPECT_TRUE(received_datagrams(bench.receiver).empty());
}

TEST(Start, FailsWithoutItsReportPort) {
  StartBench bench;
  const ClaimedPort port = claim_port();
  const Descriptor holder(open_report_listener(port.number));
  bench.options.report_port = port.number;
  bench.options.truth_path = bench.folder.path / "truth";
  EXPECT_EQ(fail_to_start(bench), "vorbeld: listen: Address already in use\n");
  EXPECT_TRUE(std::filesystem::exists(bench.folder.path / "truth"));
  EXPECT_EQ(bench.run.engine.universe.bonds.size(), 4U);
  EXPECT_TRUE(received_datagrams(bench.receiver).empty());
}

TEST(Start, GoesOnWithoutItsControlPort) {
  StartBench bench;
  const UdpSocket holder = open_udp();
  bench.options.quiet = true;
  bench.options.control_port = holder.port;
  const std::string console = start(bench);
  EXPECT_TRUE(console.starts_with("vorbeld: control port: Address already in use\n[vorbeld] BTDS 2.1")) << console;
  EXPECT_EQ(console.find("bench: control"), std::string::npos);
  EXPECT_EQ(bench.run.control.socket, -1);
  EXPECT_EQ(received_datagrams(bench.receiver).size(), 2U);
}

TEST(Start, ReadsTheScenarioBeforeItOpensAnything) {
  StartBench bench;
  bench.options.scenario = "foo=";
  EXPECT_THROW(start_run(bench.run, bench.options), std::invalid_argument);
  EXPECT_EQ(bench.run.publisher.feed_socket, -1);
}

TEST(Start, ReadsTheDropBurstBehindTheRetransmissionSocket) {
  StartBench bench;
  const ClaimedPort port = claim_port();
  bench.options.retransmission_port = port.number;
  bench.options.drop_burst = "x";
  bench.options.truth_path = bench.folder.path / "truth";
  EXPECT_THROW(start_run(bench.run, bench.options), std::invalid_argument);
  EXPECT_GE(bench.run.retransmissions.socket, 0);
  EXPECT_FALSE(std::filesystem::exists(bench.folder.path / "truth"));
}

TEST(Start, ReadsTheBondsBetweenTheFilesAndTheReportPort) {
  StartBench bench;
  const ClaimedPort port = claim_port();
  bench.options.report_port = port.number;
  bench.options.bonds = "A:d:s:IG:x98";
  bench.options.truth_path = bench.folder.path / "truth";
  EXPECT_THROW(start_run(bench.run, bench.options), std::invalid_argument);
  EXPECT_TRUE(std::filesystem::exists(bench.folder.path / "truth"));
  EXPECT_EQ(bench.run.intake.listener, -1);
}

}  // namespace
}  // namespace vorbeld
