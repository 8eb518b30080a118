// The commands against a bench that is made up here: a thread answers at its doors, or nobody does.
#include "vorbelctl/commands/commands.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/unit/common/loopback.h"
#include "tests/unit/common/scratch.h"
#include "tests/unit/vorbelctl/handler/packets.h"
#include "vorbelctl/doors/sockets.h"

namespace vorbelctl {
namespace {

constexpr int step_ms = 5;

struct Ended {
  int status = 0;
  std::string output;
  std::string errors;
};

Ended run(int (*command)(const Options&), const Options& options) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  Ended outcome;
  outcome.status = command(options);
  outcome.output = testing::internal::GetCapturedStdout();
  outcome.errors = testing::internal::GetCapturedStderr();
  return outcome;
}

// The same, once more where a busy machine has kept the bench's thread from answering in time.
Ended run_patiently(int (*command)(const Options&), const Options& options, int wanted) {
  Ended outcome;
  for (int i = 0; i < 20; ++i) {
    outcome = run(command, options);
    if (outcome.status == wanted) break;
  }
  return outcome;
}

// Ports that belong to this test, and at which nobody answers: nothing is read there.
struct Doors {
  vorbeld::UdpSocket feed = vorbeld::open_udp();
  vorbeld::UdpSocket control = vorbeld::open_udp();
  vorbeld::UdpSocket retrans = vorbeld::open_udp();
  Options options;
};

Doors open_doors() {
  Doors doors;
  Addresses& addresses = doors.options.addresses;
  addresses.group = "233.252.0.3";  // for documentation
  addresses.feed_port = doors.feed.port;
  addresses.control_port = doors.control.port;
  addresses.retrans_port = doors.retrans.port;
  return doors;
}

void close_door(vorbeld::UdpSocket& door) {
  door.descriptor = vorbeld::Descriptor();
}

// Answers each datagram at the door with what `reply` makes of it, while the thread lives.
std::jthread answer_at(const vorbeld::UdpSocket& door, std::function<std::string(const std::string&)> reply) {
  return std::jthread([number = door.descriptor.value, reply = std::move(reply)](const std::stop_token& stop) {
    while (!stop.stop_requested()) {
      pollfd waiting{number, POLLIN, 0};
      if (poll(&waiting, 1, step_ms) != 1) continue;
      std::array<char, 2048> bytes;
      sockaddr_in from{};
      socklen_t length = sizeof from;
      const ssize_t got = recvfrom(number, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&from), &length);
      if (got < 0) continue;
      const std::string answer = reply({bytes.data(), static_cast<std::size_t>(got)});
      sendto(number, answer.data(), answer.size(), 0, reinterpret_cast<const sockaddr*>(&from), length);
    }
  });
}

// Sends one packet after the other on the feed, counted from 1, while the thread lives. Where the companion joins is
// open.
std::jthread send_on_feed(const Options& options, std::function<std::string(std::uint64_t)> packet) {
  return std::jthread([addresses = options.addresses, packet = std::move(packet)](const std::stop_token& stop) {
    const Socket sender = open_feed_sender(addresses);
    for (std::uint64_t number = 1; !stop.stop_requested(); ++number) {
      send_datagram(sender, packet(number));
      poll(nullptr, 0, step_ms);
    }
  });
}

// Of one line.
std::string without_time_of_receipt(std::string line) {
  const std::size_t begin = line.find(",\"received_ms\":");
  if (begin != std::string::npos) line.erase(begin, line.find('}', begin) - begin);
  return line;
}

TEST(Control, EndsWithWhatTheReplyStandsFor) {
  Doors doors = open_doors();
  const auto bench = answer_at(doors.control, [](const std::string& command) {
    return command == "pause" ? "ok\n" : "unknown command: " + command + "\n";
  });
  doors.options.control.timeout_s = 20;
  doors.options.control.words = {"pause"};
  const Ended known = run(run_control, doors.options);
  EXPECT_EQ(known.status, all_well);
  EXPECT_EQ(known.output, "ok\n");
  doors.options.control.words = {"fly", "high"};
  const Ended unknown = run(run_control, doors.options);
  EXPECT_EQ(unknown.status, something_amiss);
  EXPECT_EQ(unknown.output, "unknown command: fly high\n");
}

TEST(Control, SaysThatNobodyAnswers) {
  Doors doors = open_doors();
  doors.options.control.words = {"stats"};
  doors.options.control.timeout_s = 0.01;
  const Ended silent = run(run_control, doors.options);
  EXPECT_EQ(silent.status, nobody_there);
  EXPECT_NE(silent.errors.find("(no reply in time); start the bench with --control-port"), std::string::npos);
  close_door(doors.control);
  const Ended closed = run(run_control, doors.options);
  EXPECT_EQ(closed.status, nobody_there);
  EXPECT_NE(closed.errors.find("(the port is closed)"), std::string::npos);
}

TEST(Control, SendsNoCommandThatBreaksRecords) {
  Doors doors = open_doors();
  doors.options.control.words = {"mark", "a\nb"};
  const Ended outcome = run(run_control, doors.options);
  EXPECT_EQ(outcome.status, wrong_usage);
  EXPECT_EQ(outcome.errors, "vorbelctl: the command \"mark a\\x0ab\" holds a control byte; take it out\n");
  EXPECT_TRUE(vorbeld::received_datagrams(doors.control).empty());
}

// Sends two reports and between them a line that is not one, to a bench that answers so.
Ended report_twice(const std::string& answers) {
  const vorbeld::ScratchFolder folder;
  const std::string report = "T|037833DT4|AAPL|98.5|250000|B|ATS1|1700000000000|20231116|book\n";
  vorbeld::write_file(folder.path / "reports", report + "T|x\n" + report);
  const Descriptor listener(socket(AF_INET, SOCK_STREAM, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  bind(listener.number, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  listen(listener.number, 1);
  Options options;
  options.addresses.report_port = vorbeld::port_of(listener.number);
  options.report.file = (folder.path / "reports").string();
  const std::jthread bench([&] {
    const vorbeld::Descriptor connection(accept(listener.number, nullptr, nullptr));
    vorbeld::receive_bytes(connection, 2 * report.size());
    vorbeld::send_bytes(connection, answers);
    vorbeld::receive_bytes(connection, 1);  // until the companion goes
  });
  return run(run_report, options);
}

TEST(Report, CountsWhatBecameOfTheLines) {
  const Ended outcome = report_twice("A 0000001\nA 0000000\n");
  EXPECT_EQ(outcome.status, something_amiss);
  EXPECT_EQ(outcome.output.substr(0, outcome.output.find(';')), "1 accepted, 1 refused, 1 malformed");
  EXPECT_EQ(outcome.errors,
            "line 2: malformed: there are 2 fields separated by |; a report has 10\n"
            "line 3: refused: the session is closed\n");
}

TEST(Report, SaysWhenTheConnectionIsLost) {
  const Ended outcome = report_twice("A 0000001\nB\n" + std::string(300, 'x'));
  EXPECT_EQ(outcome.status, nobody_there);
  EXPECT_NE(outcome.errors.find("is lost: what comes from there is no answer; 0 lines have no answer\n"),
            std::string::npos)
      << outcome.errors;
}

TEST(Fetch, PrintsWhatTheServerHas) {
  Doors doors = open_doors();
  const auto bench = answer_at(doors.retrans, [](const std::string&) { return test::data(3, 3); });
  doors.options.fetch.first = 3;
  doors.options.json = true;
  const Ended found = run_patiently(run_fetch, doors.options, all_well);
  EXPECT_EQ(found.status, all_well);
  EXPECT_EQ(without_time_of_receipt(found.output),
            R"({"event":"malformed_message","seq":3,"field":"length","length":2,"bytes":"6d33"})"
            "\n");
  doors.options.fetch.count = 2;
  const Ended part = run(run_fetch, doors.options);
  EXPECT_EQ(part.status, something_amiss);
  EXPECT_NE(part.output.find(R"({"event":"missing",)"), std::string::npos);
}

TEST(Fetch, SaysThatThePortIsClosed) {
  Doors doors = open_doors();
  close_door(doors.retrans);
  doors.options.fetch.first = 3;
  const Ended outcome = run(run_fetch, doors.options);
  EXPECT_EQ(outcome.status, nobody_there);
  EXPECT_NE(outcome.errors.find("(the port is closed)"), std::string::npos);
}

TEST(Listen, EndsWithItsCount) {
  Doors doors = open_doors();
  const auto bench = send_on_feed(doors.options, [](std::uint64_t number) { return test::data(number, number); });
  doors.options.listen.count = 2;
  const Ended outcome = run(run_listen, doors.options);
  EXPECT_EQ(outcome.status, all_well);
  EXPECT_NE(outcome.errors.find("0 gaps of 0 messages"), std::string::npos) << outcome.errors;
}

TEST(Listen, TellsWhatIsMissing) {
  Doors doors = open_doors();
  const auto every_second = [](std::uint64_t number) { return test::data(2 * number, 2 * number); };
  const auto bench = send_on_feed(doors.options, every_second);
  doors.options.listen.count = 2;
  const Ended outcome = run(run_listen, doors.options);
  EXPECT_EQ(outcome.status, something_amiss);
  EXPECT_NE(outcome.output.find(" (1 message) given up\n"), std::string::npos) << outcome.output;
  EXPECT_NE(outcome.errors.find("\nmissing: "), std::string::npos) << outcome.errors;
}

TEST(Listen, EndsWithTheSession) {
  Doors doors = open_doors();
  const auto bench = send_on_feed(
      doors.options, [](std::uint64_t number) { return number % 2 == 0 ? test::data(1, 2) : test::end_of_session(3); });
  doors.options.listen.until_end = true;
  doors.options.json = true;
  const Ended outcome = run(run_listen, doors.options);
  EXPECT_EQ(outcome.status, all_well);
  EXPECT_NE(outcome.output.find(R"({"event":"end_of_session","seq":3,"received_ms":)"), std::string::npos);
}

const std::string stats_reply =
    "seq 12 messages 13 packets 9 reports 10 capped 2 cancels 1 corrections 3 halts 4 retrans 5 "
    "vorbeld faults: sent 8 dropped 1 duplicated 6 reordered 7\n";

TEST(Wait, IsOverWhenADoorAnswers) {
  Doors doors = open_doors();
  {
    const auto bench = answer_at(doors.control, [](const std::string&) { return stats_reply; });
    const Ended outcome = run(run_wait, doors.options);
    EXPECT_EQ(outcome.status, all_well);
    EXPECT_EQ(outcome.output.substr(0, 33), "ready: the control port 127.0.0.1");
  }
  doors.options.addresses.control_port = 0;
  const auto bench = send_on_feed(doors.options, [](std::uint64_t) { return test::heartbeat(1); });
  const Ended outcome = run(run_wait, doors.options);
  EXPECT_EQ(outcome.status, all_well);
  EXPECT_EQ(outcome.output.substr(0, 27), "ready: the feed 233.252.0.3");
}

TEST(Wait, GivesUp) {
  Doors doors = open_doors();
  doors.options.wait.timeout_s = 0.01;
  const Ended outcome = run(run_wait, doors.options);
  EXPECT_EQ(outcome.status, nobody_there);
  EXPECT_EQ(outcome.errors.substr(0, 37), "vorbelctl: no answer within 0.01 s, n");
}

TEST(Watch, ShowsALineWhereThereIsNoScreen) {
  Doors doors = open_doors();
  const auto bench = answer_at(doors.control, [](const std::string&) { return stats_reply; });
  doors.options.watch.seconds = 0.1;
  std::string output;
  for (int i = 0; i < 20 && output.empty(); ++i) {  // a busy machine may keep the bench from answering in time
    const Ended outcome = run(run_watch, doors.options);
    EXPECT_EQ(outcome.status, all_well);
    output = outcome.output;
  }
  EXPECT_NE(output.find("bench 0.0/s  seq 12  reports 10  cancels 1  corrections 3  dropped 1\n"), std::string::npos)
      << output;
}

TEST(Watch, EndsWhereNobodyGivesASign) {
  Doors doors = open_doors();
  doors.options.watch.timeout_s = 0.1;
  const Ended outcome = run(run_watch, doors.options);
  EXPECT_EQ(outcome.status, nobody_there);
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.errors.substr(0, 26), "vorbelctl: nobody answers,");
}

TEST(Doctor, NamesTheOneCauseOfASilentFeed) {
  Doors doors = open_doors();
  doors.options.addresses.control_port = 0;
  doors.options.doctor.seconds = 0.01;
  const Ended outcome = run(run_doctor, doors.options);
  EXPECT_EQ(outcome.status, something_amiss);
  EXPECT_NE(outcome.output.find("WRONG  feed        nothing arrives on " + endpoint("233.252.0.3", doors.feed.port) +
                                " on 127.0.0.1: no bench runs here\n"),
            std::string::npos)
      << outcome.output;
}

}  // namespace
}  // namespace vorbelctl
