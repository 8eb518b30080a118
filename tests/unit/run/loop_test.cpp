// The main loop over real sockets: the order of what a pass does, and how the loop ends.
#include "run/loop.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "common/clocks.h"
#include "run/start.h"
#include "tests/unit/common/console.h"
#include "tests/unit/run/ports.h"
#include "tests/unit/run/run_fixture.h"

namespace vorbeld {
namespace {

// A run with a control port, which is what ends its loop, on the real clock.
struct LoopBench {
  RunBench bench;
  UdpSocket control = open_udp();
  UdpSocket client = open_udp();
  RunState& run = bench.run;

  LoopBench() {
    fcntl(control.descriptor.value, F_SETFL, O_NONBLOCK);
    run.control.socket = control.descriptor.value;
    run.timers.start_ms = run.timers.last_status_ms = monotonic_ms();
    run.publisher.last_send_ms = static_cast<std::int64_t>(monotonic_ms());
  }
};

void send_command(const LoopBench& loop, std::string_view command) {
  send_datagram(loop.client, loop.control.port, command);
}

// Runs the loop beside `outside`, at whose end it is stopped; returns what the loop prints.
template <class Outside>
std::string run_beside(LoopBench& loop, const Outside& outside) {
  std::thread other([&] {
    outside();
    send_command(loop, "stop");
  });
  std::string console = console_of([&] { run_loop(loop.run); });
  other.join();
  return console;
}

// The next packets of the feed until one satisfies `wanted`, it included.
template <class Wanted>
std::vector<std::string> packets_until(const LoopBench& loop, const Wanted& wanted) {
  std::vector<std::string> packets;
  while (const auto packet = receive_datagram(loop.bench.receiver)) {
    packets.push_back(*packet);
    if (wanted(*packet)) return packets;
  }
  ADD_FAILURE() << "the packet did not come";
  return packets;
}

bool is_heartbeat(std::string_view packet) {
  return packet.size() == 20 && packet.substr(18) == std::string_view("\0\0", 2);
}

bool is_end_of_session(std::string_view packet) {
  return packet.size() == 20 && packet.substr(18) == "\xff\xff";
}

bool carries(std::string_view packet, std::string_view kind) {
  return packet.size() > 24 && packet.substr(22, 2) == kind;
}

std::vector<std::string> kinds_of(const std::vector<std::string>& packets) {
  std::vector<std::string> kinds;
  for (const std::string& packet : packets) {
    kinds.push_back(is_heartbeat(packet) ? "heartbeat" : is_end_of_session(packet) ? "end" : packet.substr(22, 2));
  }
  return kinds;
}

using Kinds = std::vector<std::string>;

TEST(Loop, LeavesAtOnceWhenTold) {
  LoopBench loop;
  loop.run.flow.rate_ms = 1;  // due, as is all that follows
  loop.run.stats_path = loop.bench.folder.path / "stats.json";
  loop.run.publisher.last_send_ms = 0;
  loop.run.timers.last_status_ms = 0;
  loop.run.scenario.close_after_s = 1;
  loop.run.timers.start_ms -= 1'000;
  send_command(loop, "stop");
  EXPECT_EQ(console_of([&] { run_loop(loop.run); }), "bench: stop → ok\n");
  EXPECT_TRUE(received_datagrams(loop.bench.receiver).empty());
  EXPECT_FALSE(std::filesystem::exists(loop.run.stats_path));
}

TEST(Loop, ServesReportsThenRetransmissionsThenCommands) {
  LoopBench loop;
  const ClaimedPort port = claim_port();
  const Descriptor listener(open_report_listener(port.number));
  const UdpSocket retransmissions = open_udp();
  fcntl(retransmissions.descriptor.value, F_SETFL, O_NONBLOCK);
  loop.run.intake.listener = listener.value;
  loop.run.retransmissions.socket = retransmissions.descriptor.value;

  const Descriptor reporter = connect_tcp(port.number);
  ASSERT_TRUE(eventually([&] { return accept_reports(loop.run.intake), loop.run.intake.accepted == 1; }));
  send_bytes(reporter, "T|037833DT4|X|98.5|1000|B|V|1700000000000|20231116|away\n");
  pollfd reported{loop.run.intake.open.at(0).descriptor, POLLIN, 0};
  ASSERT_EQ(poll(&reported, 1, 5'000), 1);
  const UdpSocket receiver = open_udp();
  send_datagram(receiver, retransmissions.port, std::string_view("BTDS000001\0\0\0\0\0\0\0\x01\0\x05", 20));
  send_command(loop, "cancel 5");
  send_command(loop, "stop");
  console_of([&] { run_loop(loop.run); });

  EXPECT_EQ(receive_bytes(reporter, 10), "A 0000001\n");
  const auto answers = received_datagrams(receiver);
  ASSERT_EQ(answers.size(), 1U);
  EXPECT_EQ(answers[0].substr(18, 2), std::string_view("\0\x01", 2));  // the trade, not yet its cancel
  EXPECT_EQ(received_datagrams(loop.client), (Kinds{"cancelled 1\n", "ok\n"}));
  close(loop.run.intake.open.at(0).descriptor);
}

TEST(Loop, SendsAHeartbeatAndWritesTheStatisticsInItsFirstPass) {
  LoopBench loop;
  loop.run.publisher.last_send_ms = 0;
  loop.run.stats_path = loop.bench.folder.path / "stats.json";
  run_beside(loop, [&] { packets_until(loop, is_heartbeat); });
  EXPECT_EQ(loop.run.publisher.heartbeats, 1U);
  const std::string stats = file_text(loop.run.stats_path);
  EXPECT_NE(stats.find("\"heartbeats\":1,"), std::string::npos) << stats;  // written behind the heartbeat
}

TEST(Loop, PrintsTheStatusTenSecondsAfterTheLast) {
  LoopBench loop;
  loop.run.publisher.last_send_ms = 0;
  loop.run.timers.last_status_ms -= 10'000;
  const std::string console = run_beside(loop, [&] { packets_until(loop, is_heartbeat); });
  EXPECT_NE(console.find("[vorbeld] seq 0 reports 0 "), std::string::npos) << console;
}

TEST(Loop, ClosesBeforeItCarriesOutWhatIsPending) {
  LoopBench loop;
  send_trade(loop.bench);
  loop.run.pending = {{0, Amendment::cancel, 1}};
  loop.run.scenario.close_after_s = 1;
  loop.run.timers.start_ms -= 1'000;
  std::vector<std::string> packets;
  run_beside(loop, [&] { packets = packets_until(loop, is_end_of_session); });
  EXPECT_EQ(kinds_of(packets), (Kinds{"TM", "CC", "AE", "CX", "CJ", "CZ", "end"}));
}

TEST(Loop, CarriesOutWhatIsPendingBeforeItGenerates) {
  LoopBench loop;
  send_trade(loop.bench);
  loop.run.pending = {{0, Amendment::cancel, 1}, {0, Amendment::cancel, 2}};  // the second trade is not there yet
  loop.run.flow.rate_ms = 1;
  std::vector<std::string> packets;
  run_beside(loop, [&] {
    packets = packets_until(loop, [](std::string_view packet) { return carries(packet, "TN"); });
    packets_until(loop, [](std::string_view packet) { return carries(packet, "TM"); });
  });
  EXPECT_EQ(kinds_of(packets), (Kinds{"TM", "TN"}));
  EXPECT_EQ(loop.run.engine.counters.cancels, 1U);
}

TEST(Loop, HaltsBeforeItGenerates) {
  LoopBench loop;
  loop.run.engine.universe.bonds.resize(1);
  loop.run.scenario.halt_after_s = 1;
  loop.run.timers.start_ms -= 1'000;
  loop.run.flow.rate_ms = 1;
  std::vector<std::string> packets;
  run_beside(loop, [&] { packets = packets_until(loop, is_heartbeat); });
  EXPECT_EQ(kinds_of(packets), (Kinds{"AH", "heartbeat"}));
}

TEST(Loop, GoesIdleBeforeItGenerates) {
  LoopBench loop;
  loop.run.scenario.idle_after_s = 1;
  loop.run.timers.start_ms -= 1'000;
  loop.run.flow.rate_ms = 1;
  loop.run.publisher.last_send_ms = 0;
  const std::string console = run_beside(loop, [&] { packets_until(loop, is_heartbeat); });
  EXPECT_TRUE(console.starts_with("bench: idle for 5000 ms (heartbeats only)\n")) << console;
  EXPECT_EQ(loop.run.engine.counters.reports, 0U);
}

TEST(Loop, KeepsTheTradesComing) {
  LoopBench loop;
  loop.run.flow.rate_ms = 3;
  int trades = 0;
  std::vector<std::string> packets;
  run_beside(loop, [&] {
    packets = packets_until(loop, [&](std::string_view packet) { return carries(packet, "TM") && ++trades == 5; });
  });
  EXPECT_EQ(kinds_of(packets), (Kinds{"TM", "TM", "TM", "TM", "TM"}));
}

TEST(Loop, SendsAHeartbeatOnlyWhenThePassHasSentNothing) {
  LoopBench loop;
  loop.run.publisher.last_send_ms = 0;  // a heartbeat is due, and so is a trade
  loop.run.flow.rate_ms = 1;
  std::vector<std::string> packets;
  run_beside(loop,
             [&] { packets = packets_until(loop, [](std::string_view packet) { return carries(packet, "TM"); }); });
  EXPECT_EQ(kinds_of(packets), (Kinds{"TM"}));
  EXPECT_EQ(loop.run.publisher.heartbeats, 0U);
}

TEST(Loop, DoesNothingMoreWhenTheDrainIsOver) {
  LoopBench loop;
  loop.run.engine.universe.bonds.resize(1);
  loop.run.timers.stop_deadline_ms = 1;  // long past
  loop.run.scenario.halt_after_s = 1;    // due
  loop.run.timers.start_ms -= 1'000;
  console_of([&] { run_loop(loop.run); });
  EXPECT_EQ(last_sequence(loop.run.publisher), 0U);
}

TEST(Loop, AnswersReportersThatComeAndGo) {
  LoopBench loop;
  const ClaimedPort port = claim_port();
  const Descriptor listener(open_report_listener(port.number));
  loop.run.intake.listener = listener.value;
  std::string replies;
  run_beside(loop, [&] {
    for (int i = 0; i < 3; ++i) {
      const Descriptor reporter = connect_tcp(port.number);
      send_bytes(reporter, "T|037833DT4|X|98.5|1000|B|V|1700000000000|20231116|away\n");
      replies += receive_bytes(reporter, 10);
    }
  });
  EXPECT_EQ(replies, "A 0000001\nA 0000002\nA 0000003\n");
  EXPECT_EQ(loop.run.intake.accepted, 3U);
  for (const ReportConnection& connection : loop.run.intake.open) close(connection.descriptor);
}

TEST(Loop, AnswersRetransmissionRequestsThoughTheyDoNotWakeIt) {
  LoopBench loop;
  const UdpSocket retransmissions = open_udp();
  fcntl(retransmissions.descriptor.value, F_SETFL, O_NONBLOCK);
  loop.run.retransmissions.socket = retransmissions.descriptor.value;
  send_trade(loop.bench);
  const UdpSocket receiver = open_udp();
  run_beside(loop, [&] {
    for (int i = 0; i < 3; ++i) {
      send_datagram(receiver, retransmissions.port, std::string_view("BTDS000001\0\0\0\0\0\0\0\x01\0\x01", 20));
      EXPECT_TRUE(receive_datagram(receiver).has_value());
    }
  });
  EXPECT_EQ(loop.run.retransmissions.requests, 3U);
}

}  // namespace
}  // namespace vorbeld
