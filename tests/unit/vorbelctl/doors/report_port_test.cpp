// The connection to the report port, against a bench of which nothing is there but its end of the connection.
#include "vorbelctl/doors/report_port.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <array>
#include <stdexcept>

#include "tests/unit/common/loopback.h"

namespace vorbelctl {
namespace {

using Answers = std::vector<std::string>;

struct Line {
  ReportConnection client;
  vorbeld::Descriptor bench;
};

Line open_line() {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends.data()) != 0) throw std::runtime_error("no sockets");
  Line line;
  line.client.socket = Socket(ends[0]);
  line.bench = vorbeld::Descriptor(ends[1]);
  return line;
}

TEST(Lines, AreSentAsFarAsThereIsRoomAndThenGoOn) {
  Line line = open_line();
  const std::string all = std::string(1 << 20, 'x') + "\n";
  line.client.unsent = all;
  send_lines(line.client, 7);
  EXPECT_EQ(line.client.heard_ms, 7U);
  EXPECT_NE(line.client.unsent, "");
  EXPECT_LT(line.client.unsent.size(), all.size());
  send_lines(line.client, 8);  // no room: nobody has read
  EXPECT_EQ(line.client.heard_ms, 7U);
  std::string received;
  while (received.size() < all.size()) {
    const std::string piece =
        vorbeld::receive_bytes(line.bench, all.size() - received.size() - line.client.unsent.size());
    ASSERT_NE(piece, "");
    received += piece;
    send_lines(line.client, 9);
  }
  EXPECT_EQ(received, all);
  EXPECT_EQ(line.client.lost, "");
}

TEST(Answers, AreWholeLines) {
  Line line = open_line();
  EXPECT_EQ(take_answers(line.client, 5), Answers{});
  EXPECT_EQ(line.client.heard_ms, 0U);
  vorbeld::send_bytes(line.bench, "A 0000001\nA 00");
  EXPECT_EQ(take_answers(line.client, 6), Answers{"A 0000001"});
  EXPECT_EQ(line.client.heard_ms, 6U);
  vorbeld::send_bytes(line.bench, "00002\n\n");
  EXPECT_EQ(take_answers(line.client, 7), (Answers{"A 0000002", ""}));
  EXPECT_EQ(line.client.lost, "");
}

TEST(Answers, AreNoLongerThanABenchMakesThem) {
  Line line = open_line();
  vorbeld::send_bytes(line.bench, std::string(longest_answer, 'a') + "\n" + std::string(longest_answer, 'b'));
  EXPECT_EQ(take_answers(line.client, 1), Answers{std::string(longest_answer, 'a')});
  EXPECT_EQ(line.client.lost, "");
  vorbeld::send_bytes(line.bench, "b\n");
  EXPECT_EQ(take_answers(line.client, 2), Answers{});
  EXPECT_EQ(line.client.lost, "what comes from there is no answer");
}

TEST(Connection, IsLostWhenTheBenchClosesIt) {
  Line line = open_line();
  vorbeld::send_bytes(line.bench, "A 0000001\n");
  line.bench = vorbeld::Descriptor();
  EXPECT_EQ(take_answers(line.client, 1), Answers{"A 0000001"});
  EXPECT_EQ(line.client.lost, "");
  EXPECT_EQ(take_answers(line.client, 2), Answers{});
  EXPECT_EQ(line.client.lost, "the bench closed it");
  line.client.lost = "";
  line.client.unsent = "T|";
  send_lines(line.client, 3);
  EXPECT_EQ(line.client.lost, "Broken pipe");
}

}  // namespace
}  // namespace vorbelctl
