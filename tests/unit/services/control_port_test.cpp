// The control port over its socket: from a datagram to a line, from a reply to a datagram, and the echo on the console.
#include "services/control_port.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "tests/unit/common/console.h"
#include "tests/unit/services/service_fixture.h"

namespace vorbeld {
namespace {

using namespace std::string_view_literals;
using Replies = std::vector<std::string>;

struct ControlBench {
  ServiceBench services;
  UdpSocket service = open_service_socket();
  UdpSocket client = open_udp();
};

void send_command(const ControlBench& bench, std::string_view datagram) {
  send_datagram(bench.client, bench.service.port, datagram);
}

// One pass of the control port; returns what it prints.
std::string serve_pass(ControlBench& bench) {
  ServiceBench& services = bench.services;
  return console_of([&] {
    serve_commands({bench.service.descriptor.value},
                   {services.engine, services.flow, services.pending, services.retransmissions});
  });
}

// Sends one command, serves it, and returns the reply datagrams.
Replies replies_to(ControlBench& bench, std::string_view datagram) {
  send_command(bench, datagram);
  serve_pass(bench);
  return received_datagrams(bench.client);
}

TEST(ControlPort, AnswersACommandWithALine) {
  ControlBench bench;
  EXPECT_EQ(replies_to(bench, "pause"), Replies{"ok\n"});
  EXPECT_TRUE(bench.services.flow.paused);
}

TEST(ControlPort, EchoesACommandAndItsReply) {
  ControlBench bench;
  send_command(bench, "cancel 7");
  EXPECT_EQ(serve_pass(bench), "bench: cancel 7 → cancelled 0\n");
}

TEST(ControlPort, EchoesHoweverQuiet) {
  ControlBench bench;
  ASSERT_TRUE(bench.services.engine.quiet);
  send_command(bench, "resume");
  EXPECT_EQ(serve_pass(bench), "bench: resume → ok\n");
}

TEST(ControlPort, DoesNotEchoStats) {
  ControlBench bench;
  send_command(bench, "stats");
  EXPECT_EQ(serve_pass(bench), "");
  EXPECT_EQ(received_datagrams(bench.client),
            Replies{"seq 0 messages 0 packets 0 reports 0 capped 0 cancels 0 corrections 0 halts 0 retrans 0 "
                    "vorbeld faults: sent 0 dropped 0 duplicated 0 reordered 0\n"});
}

TEST(ControlPort, DropsLineEndsAndBlanksBehindTheCommand) {
  ControlBench bench;
  for (const std::string_view datagram : {"pause\r\n", "pause\n", "pause  ", "pause \r \n \n"}) {
    EXPECT_EQ(replies_to(bench, datagram), Replies{"ok\n"});
  }
}

TEST(ControlPort, DropsNothingElse) {
  ControlBench bench;
  EXPECT_EQ(replies_to(bench, "pause\t"), Replies{"unknown command\n"});
  EXPECT_EQ(replies_to(bench, " pause"), Replies{"unknown command\n"});
  EXPECT_EQ(replies_to(bench, "pause\v\n"), Replies{"unknown command\n"});
  EXPECT_FALSE(bench.services.flow.paused);
}

TEST(ControlPort, EchoesTheTrimmedLine) {
  ControlBench bench;
  send_command(bench, "What is\tthis?  \r\n");
  EXPECT_EQ(serve_pass(bench), "bench: What is\tthis? → unknown command\n");
}

TEST(ControlPort, AnswersALineOfNothing) {
  ControlBench bench;
  for (const std::string_view datagram : {"\n"sv, "   "sv, "\0"sv, "\0pause"sv}) {
    send_command(bench, datagram);
    EXPECT_EQ(serve_pass(bench), "bench:  → unknown command\n");
    EXPECT_EQ(received_datagrams(bench.client), Replies{"unknown command\n"});
  }
}

TEST(ControlPort, CutsACommandAtAZeroByte) {
  ControlBench bench;
  send_command(bench, "drop 5\0 9\n"sv);
  EXPECT_EQ(serve_pass(bench), "bench: drop 5 → ok\n");
  EXPECT_EQ(bench.services.feed.publisher.faults.armed_drops, 5U);
  send_command(bench, "pause \r\0x"sv);
  EXPECT_EQ(serve_pass(bench), "bench: pause → ok\n");
}

TEST(ControlPort, CutsACommandAfter255Bytes) {
  ControlBench bench;
  open_truth(bench.services);
  replies_to(bench, "mark " + std::string(249, 'x') + "yz");
  EXPECT_EQ(truth_lines(bench.services).at(0), "{\"mark\":\"" + std::string(249, 'x') + "y\",\"seq\":0}");
  replies_to(bench, "mark " + std::string(250, 'x'));
  EXPECT_EQ(truth_lines(bench.services).at(1), "{\"mark\":\"" + std::string(250, 'x') + "\",\"seq\":0}");
}

TEST(ControlPort, TrimsWhatIsLeftOfALongCommand) {
  ControlBench bench;
  EXPECT_EQ(replies_to(bench, "pause" + std::string(300, ' ') + "x"), Replies{"ok\n"});
}

TEST(ControlPort, MarksWithTheMarkLineAndTheEcho) {
  ControlBench bench;
  open_truth(bench.services);
  bench.services.feed.publisher.store.appended = 41;
  send_command(bench, "mark before fault \n");
  EXPECT_EQ(serve_pass(bench),
            "bench: mark before fault at seq 41\n"
            "bench: mark before fault → ok\n");
  EXPECT_EQ(truth_lines(bench.services), Replies{"{\"mark\":\"before fault\",\"seq\":41}"});
  EXPECT_EQ(received_datagrams(bench.client), Replies{"ok\n"});
}

TEST(ControlPort, ServesAllThatWaitsInOrder) {
  ControlBench bench;
  send_command(bench, "drop 5");
  send_command(bench, "drop 6");
  send_command(bench, "nonsense");
  send_command(bench, "drop 7");
  EXPECT_EQ(serve_pass(bench),
            "bench: drop 5 → ok\n"
            "bench: drop 6 → ok\n"
            "bench: nonsense → unknown command\n"
            "bench: drop 7 → ok\n");
  EXPECT_EQ(bench.services.feed.publisher.faults.armed_drops, 7U);
  EXPECT_EQ(received_datagrams(bench.client), (Replies{"ok\n", "ok\n", "unknown command\n", "ok\n"}));
}

TEST(ControlPort, EndsThePassAtAnEmptyDatagramWithoutAReply) {
  ControlBench bench;
  send_command(bench, "");
  send_command(bench, "pause");
  EXPECT_EQ(serve_pass(bench), "");
  EXPECT_EQ(received_datagrams(bench.client), Replies{});
  EXPECT_EQ(serve_pass(bench), "bench: pause → ok\n");
}

TEST(ControlPort, DoesNothingWhenNothingWaits) {
  ControlBench bench;
  EXPECT_EQ(serve_pass(bench), "");
}

TEST(ControlPort, AnswersEachSenderAlone) {
  ControlBench bench;
  const UdpSocket other = open_udp();
  send_command(bench, "cancel");
  send_datagram(other, bench.service.port, "correct");
  serve_pass(bench);
  EXPECT_EQ(received_datagrams(bench.client), Replies{"cancelled 0\n"});
  EXPECT_EQ(received_datagrams(other), Replies{"corrected 0\n"});
}

TEST(ControlPort, ServesCommandsBehindAStopInTheSamePass) {
  ControlBench bench;
  send_command(bench, "stop");
  send_command(bench, "drop 3");
  EXPECT_EQ(serve_pass(bench),
            "bench: stop → ok\n"
            "bench: drop 3 → ok\n");
  EXPECT_TRUE(bench.services.flow.stop_now);
  EXPECT_EQ(bench.services.feed.publisher.faults.armed_drops, 3U);
}

TEST(ControlPort, GoesOnAfterTheClose) {
  ControlBench bench;
  EXPECT_EQ(replies_to(bench, "close"), Replies{"ok\n"});
  EXPECT_EQ(replies_to(bench, "halt 037833DT4"), Replies{"ok\n"});
  EXPECT_EQ(replies_to(bench, "close"), Replies{"ok\n"});
  EXPECT_EQ(last_sequence(bench.services.feed.publisher), 5U);  // C, X, J and Z, and the halt
}

TEST(ControlPort, TakesBytesOfEveryKind) {
  ControlBench bench;
  std::string bytes;
  for (int value = 255; value > 0; --value) bytes += static_cast<char>(value);
  send_command(bench, bytes);
  EXPECT_EQ(serve_pass(bench), "bench: " + bytes + " → unknown command\n");
}

}  // namespace
}  // namespace vorbeld
