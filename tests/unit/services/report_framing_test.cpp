// Report connections: from bytes to lines, from lines to replies, and how a connection begins and ends.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/tcp.h>

#include <stdexcept>
#include <string>

#include "services/report_intake.h"
#include "tests/unit/common/console.h"
#include "tests/unit/services/report_fixture.h"

namespace vorbeld {
namespace {

// Has the client's end answer everything with a reset, and waits until the bench's end has learnt of it.
void reset_connection(ReportBench& bench, Descriptor& client) {
  const linger at_once{1, 0};
  setsockopt(client.value, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  hang_up(bench, client);
}

TEST(ReportConnections, AreNonBlockingAndSendAtOnce) {
  ReportBench bench;
  const Descriptor client = connect_client(bench);
  const int descriptor = bench.intake.open.front().descriptor;
  int no_delay = 0;
  socklen_t length = sizeof no_delay;
  getsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &no_delay, &length);
  EXPECT_NE(no_delay, 0);
  EXPECT_NE(fcntl(descriptor, F_GETFL) & O_NONBLOCK, 0);
}

TEST(ReportConnections, AreTakenAllInOnePass) {
  ReportBench bench;
  const Descriptor clients[] = {connect_tcp(port_of(bench.listener.value)), connect_tcp(port_of(bench.listener.value)),
                                connect_tcp(port_of(bench.listener.value))};
  // Of a listener, the system tells how many connections wait to be accepted.
  ASSERT_TRUE(eventually([&] {
    tcp_info info{};
    socklen_t length = sizeof info;
    getsockopt(bench.listener.value, IPPROTO_TCP, TCP_INFO, &info, &length);
    return info.tcpi_unacked == 3;
  }));
  accept_reports(bench.intake);
  EXPECT_EQ(bench.intake.accepted, 3U);
  EXPECT_EQ(bench.intake.open.size(), 3U);
}

TEST(ReportConnections, AreNotThereBeforeAnyoneConnects) {
  ReportBench bench;
  accept_reports(bench.intake);
  serve_pass(bench);
  EXPECT_EQ(bench.intake.accepted, 0U);
  EXPECT_TRUE(bench.intake.open.empty());
}

TEST(ReportConnections, StayCountedAfterTheyHaveGone) {
  ReportBench bench;
  for (int i = 0; i < 3; ++i) {
    Descriptor client = connect_client(bench);
    hang_up(bench, client);
    serve_pass(bench);
    EXPECT_TRUE(bench.intake.open.empty());
  }
  EXPECT_EQ(bench.intake.accepted, 3U);
}

TEST(ReportConnections, EndOneWithoutTheOthers) {
  ReportBench bench;
  const Descriptor first = connect_client(bench);
  Descriptor second = connect_client(bench);
  const Descriptor third = connect_client(bench);
  hang_up(bench, second, 1);
  serve_pass(bench);
  ASSERT_EQ(bench.intake.open.size(), 2U);
  report(bench, first, report_line("98.5"), 0);
  report(bench, third, report_line("98.6"), 1);
  EXPECT_EQ(replies(bench, first, 0), "A 0000001\n");
  EXPECT_EQ(replies(bench, third, 1), "A 0000002\n");
}

TEST(ReportConnections, LoseWhatArrivesTogetherWithTheEnd) {
  ReportBench bench;
  Descriptor client = connect_client(bench);
  send_bytes(client, report_line("98.5"));
  hang_up(bench, client);
  serve_pass(bench);
  EXPECT_EQ(bench.services.engine.counters.reports, 0U);
  EXPECT_TRUE(bench.intake.open.empty());
}

TEST(ReportConnections, LoseWhatArrivesTogetherWithTheEndOfTheSendingSide) {
  ReportBench bench;
  const Descriptor client = connect_client(bench);
  send_bytes(client, report_line("98.5"));
  shutdown(client.value, SHUT_WR);
  const int descriptor = bench.intake.open.front().descriptor;
  ASSERT_TRUE(eventually([&] { return has_arrived(descriptor, 0, true); }));
  serve_pass(bench);
  EXPECT_EQ(receive_bytes(client, 1), "");  // no reply, and the connection is closed
  EXPECT_EQ(bench.services.engine.counters.reports, 0U);
}

TEST(ReportConnections, KeepWhatAnEarlierPassHandled) {
  ReportBench bench;
  Descriptor client = connect_client(bench);
  report(bench, client, report_line("98.5"));
  hang_up(bench, client);
  serve_pass(bench);
  EXPECT_EQ(bench.services.engine.counters.reports, 1U);
}

TEST(ReportConnections, EndQuietlyWhenReset) {
  ReportBench bench;
  Descriptor client = connect_client(bench);
  send_bytes(client, report_line("98.5"));
  const std::string console = console_of([&] {
    reset_connection(bench, client);
    serve_pass(bench);
  });
  EXPECT_EQ(console, "");
  EXPECT_TRUE(bench.intake.open.empty());
  EXPECT_EQ(bench.services.engine.counters.reports, 0U);
}

TEST(ReportConnections, SurviveAClientThatTakesNoReply) {
  ReportBench bench;
  Descriptor client = connect_client(bench);
  send_bytes(client, "x\n");
  const int descriptor = bench.intake.open.front().descriptor;
  ASSERT_TRUE(eventually([&] { return has_arrived(descriptor, 2, false); }));
  shutdown(descriptor, SHUT_WR);  // as if the peer had gone; the reply can only fail
  serve_pass(bench);
  report(bench, client, report_line("98.5"));
  EXPECT_EQ(bench.services.engine.counters.reports, 1U);
}

TEST(ReportFraming, AnswersLinesOfOneSegmentInOrder) {
  ReportBench bench;
  const Descriptor client = connect_client(bench);
  report(bench, client, report_line("98.5") + report_line("98.6") + "bad\n" + report_line("98.7"));
  EXPECT_EQ(replies(bench, client), "A 0000001\nA 0000002\nE malformed\nA 0000003\n");
  EXPECT_EQ(record_of(bench.services, 2).price, 98.6);
}

TEST(ReportFraming, AnswersALineOnceItsLineFeedHasCome) {
  ReportBench bench;
  const Descriptor client = connect_client(bench);
  const std::string line = report_line("98.5");
  report(bench, client, line.substr(0, 20));
  EXPECT_EQ(bench.services.engine.counters.reports, 0U);
  report(bench, client, line.substr(20, line.size() - 21));
  EXPECT_EQ(bench.services.engine.counters.reports, 0U);
  report(bench, client, "\n");
  EXPECT_EQ(bench.services.engine.counters.reports, 1U);
  EXPECT_EQ(replies(bench, client), "A 0000001\n");
}

TEST(ReportFraming, KeepsWhatStandsBehindTheLastLineFeed) {
  ReportBench bench;
  const Descriptor client = connect_client(bench);
  const std::string line = report_line("98.6");
  report(bench, client, report_line("98.5") + line.substr(0, 5));
  EXPECT_EQ(bench.services.engine.counters.reports, 1U);
  report(bench, client, line.substr(5) + line.substr(0, 7));
  EXPECT_EQ(bench.services.engine.counters.reports, 2U);
  report(bench, client, line.substr(7));
  EXPECT_EQ(replies(bench, client), "A 0000001\nA 0000002\nA 0000003\n");
}

TEST(ReportFraming, FramesBytesThatComeOneByOne) {
  ReportBench bench;
  const Descriptor client = connect_client(bench);
  for (const char byte : "x\n" + report_line("98.5") + "\n" + report_line("98.6")) {
    report(bench, client, std::string_view(&byte, 1));
  }
  EXPECT_EQ(replies(bench, client), "E malformed\nA 0000001\nE malformed\nA 0000002\n");
}

TEST(ReportFraming, TakesLinesOfAnyLength) {
  ReportBench bench;
  const Descriptor client = connect_client(bench);
  const std::string long_where(100'000, 'w');
  open_tape(bench.services);
  const std::string line = "T|037833DT4|X|98.5|1000|B|V|1700000000000|20231116|" + long_where + "\n";
  for (std::size_t at = 0; at < line.size(); at += 10'000) report(bench, client, line.substr(at, 10'000));
  EXPECT_EQ(replies(bench, client), "A 0000001\n");
  EXPECT_NE(tape_lines(bench.services).at(0).find("\"where\":\"" + long_where + "\""), std::string::npos);
}

TEST(ReportFraming, KeepsConnectionsApart) {
  ReportBench bench;
  const Descriptor first = connect_client(bench);
  const Descriptor second = connect_client(bench);
  const std::string line = report_line("98.5");
  report(bench, first, line.substr(0, 10), 0);
  report(bench, second, line, 1);
  report(bench, first, line.substr(10), 0);
  EXPECT_EQ(replies(bench, second, 1), "A 0000001\n");
  EXPECT_EQ(replies(bench, first, 0), "A 0000002\n");
}

TEST(ReportFraming, ServesConnectionsInOrderOfAcceptance) {
  ReportBench bench;
  const Descriptor first = connect_client(bench);
  const Descriptor second = connect_client(bench);
  send_bytes(second, report_line("98.6"));
  const int descriptor = bench.intake.open.at(1).descriptor;
  ASSERT_TRUE(eventually([&] { return has_arrived(descriptor, report_line("98.6").size(), false); }));
  report(bench, first, report_line("98.5"), 0);
  EXPECT_EQ(record_of(bench.services, 1).price, 98.5);
  EXPECT_EQ(record_of(bench.services, 2).price, 98.6);
}

TEST(ReportFraming, AnswersMalformedLinesAndGoesOn) {
  ReportBench bench;
  const Descriptor client = connect_client(bench);
  report(bench, client, "\n");
  report(bench, client, "T|037833DT4|X|98.5|1000|B|V|1700000000000|20231116\n");
  report(bench, client, "t|037833DT4|X|98.5|1000|B|V|1700000000000|20231116|away\n");
  report(bench, client, "T |037833DT4|X|98.5|1000|B|V|1700000000000|20231116|away\n");
  EXPECT_EQ(bench.services.engine.counters.reports, 0U);
  report(bench, client, report_line("98.5"));
  EXPECT_EQ(replies(bench, client), "E malformed\nE malformed\nE malformed\nE malformed\nA 0000001\n");
}

TEST(ReportFraming, LeavesACarriageReturnInTheLastField) {
  ReportBench bench;
  const Descriptor client = connect_client(bench);
  open_tape(bench.services);
  report(bench, client, "T|037833DT4|X|98.5|1000|B|V|1700000000000|20231116|book\r\n");
  EXPECT_EQ(replies(bench, client), "A 0000001\n");
  EXPECT_EQ(std::string(record_of(bench.services, 1).body.data() + 71, 3), "DC ");
  EXPECT_TRUE(file_text(bench.services.folder.path / "tape").ends_with("\"where\":\"book\r\"}\n"));
}

TEST(ReportFraming, ThrowsAtANumberThatCannotBeRead) {
  for (const std::string line : {"T|c|s||1|B|V|1||w\n", "T|c|s|x|1|B|V|1||w\n", "T|c|s|1||B|V|1||w\n",
                                 "T|c|s|1|1|B|V||20231116|w\n", "T|c|s|1|1|B|V|x||w\n"}) {
    ReportBench bench;
    const Descriptor client = connect_client(bench);
    EXPECT_THROW(report(bench, client, line), std::invalid_argument) << line;
  }
}

}  // namespace
}  // namespace vorbeld
