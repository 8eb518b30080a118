// Commands and their replies over a socket, and the statistics text taken apart.
#include "vorbelctl/doors/control_port.h"

#include <gtest/gtest.h>

#include "tests/unit/common/loopback.h"

namespace vorbelctl {
namespace {

const std::string text =
    "seq 12 messages 13 packets 9 reports 10 capped 2 cancels 1 corrections 3 halts 4 retrans 5 "
    "vorbeld faults: sent 8 dropped 1 duplicated 6 reordered 7";

// A bench of which nothing is there but its control port.
struct ControlPort {
  vorbeld::UdpSocket bench = vorbeld::open_udp();
  Socket client;
};

ControlPort open_port() {
  ControlPort port;
  Addresses addresses;
  addresses.control_port = port.bench.port;
  port.client = open_control(addresses);
  return port;
}

TEST(Command, IsSentOnceAndItsReplyReadWithoutTheLineFeed) {
  const ControlPort port = open_port();
  vorbeld::send_datagram(port.bench, vorbeld::port_of(port.client.number), "ok\n");
  bool refused = true;
  EXPECT_EQ(ask_control(port.client, "drop 3", 5000, refused), "ok");
  EXPECT_FALSE(refused);
  EXPECT_EQ(vorbeld::received_datagrams(port.bench), std::vector<std::string>{"drop 3"});
}

TEST(Command, WaitsNoLongerThanItMay) {
  const ControlPort port = open_port();
  bool refused = true;
  EXPECT_FALSE(ask_control(port.client, "stats", 1, refused).has_value());
  EXPECT_FALSE(refused);
}

TEST(Command, IsToldOfAClosedPort) {
  ControlPort port = open_port();
  port.bench.descriptor = vorbeld::Descriptor();
  bool refused = false;
  EXPECT_FALSE(ask_control(port.client, "stats", 5000, refused).has_value());
  EXPECT_TRUE(refused);
}

TEST(Stats, AreReadByName) {
  const auto stats = parse_stats(text);
  ASSERT_TRUE(stats.has_value());
  EXPECT_EQ(json_line(*stats),
            R"({"seq":12,"messages":13,"packets":9,"reports":10,"capped":2,"cancels":1,"corrections":3,"halts":4,)"
            R"("retrans":5,"sent":8,"dropped":1,"duplicated":6,"reordered":7})");
  EXPECT_EQ(stat(*stats, "reordered"), 7U);
}

TEST(Stats, AreNothingElse) {
  EXPECT_FALSE(parse_stats("").has_value());
  EXPECT_FALSE(parse_stats("ok").has_value());
  EXPECT_FALSE(parse_stats(text + " more").has_value());
  EXPECT_FALSE(parse_stats(text.substr(0, text.size() - 2)).has_value());
  EXPECT_FALSE(parse_stats("seq x" + text.substr(6)).has_value());
  EXPECT_FALSE(parse_stats("seq 12x" + text.substr(6)).has_value());
}

}  // namespace
}  // namespace vorbelctl
