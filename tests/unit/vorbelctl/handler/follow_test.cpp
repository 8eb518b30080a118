// The receiver on real sockets: a feed and a retransmission port of a bench of which nothing else is there.
#include "vorbelctl/handler/follow.h"

#include <gtest/gtest.h>

#include "common/clocks.h"
#include "packets.h"
#include "tests/unit/common/loopback.h"

namespace vorbelctl {
namespace {

using test::data;
using test::header;

struct FeedBench {
  vorbeld::UdpSocket keeper = vorbeld::open_udp();  // of the feed's port number, so that nobody else has it
  vorbeld::UdpSocket server = vorbeld::open_udp();  // the retransmission port
  Addresses addresses;
  Socket sender;
};

FeedBench make_bench() {
  FeedBench bench;
  bench.addresses.group = "233.252.0.2";  // for documentation
  bench.addresses.feed_port = bench.keeper.port;
  bench.addresses.retrans_port = bench.server.port;
  bench.sender = open_feed_sender(bench.addresses);
  return bench;
}

// Follows until so many messages have come, for five seconds at most; returns their bytes.
std::vector<std::string> messages_of(Follower& follower, std::size_t count) {
  std::vector<std::string> messages;
  const std::uint64_t until_ms = vorbeld::monotonic_ms() + 5000;
  while (messages.size() < count && vorbeld::monotonic_ms() < until_ms) {
    for (const Event& event : pump(follower, 50)) {
      if (event.kind == EventKind::message) messages.push_back(event.text);
    }
  }
  return messages;
}

TEST(Follower, TakesTheMessagesOfTheFeed) {
  const FeedBench bench = make_bench();
  Follower follower = follow_feed(bench.addresses, {});
  EXPECT_EQ(follower.requests.number, -1);
  ASSERT_TRUE(send_datagram(bench.sender, data(5, 6)));
  ASSERT_TRUE(send_datagram(bench.sender, data(7, 7)));
  EXPECT_EQ(messages_of(follower, 3), (std::vector<std::string>{"m5", "m6", "m7"}));
}

TEST(Follower, AsksForWhatIsMissing) {
  const FeedBench bench = make_bench();
  ReceiverSettings settings;
  settings.recover = true;
  settings.reorder_window_ms = 0;
  Follower follower = follow_feed(bench.addresses, settings);
  ASSERT_TRUE(send_datagram(bench.sender, data(1, 1)));
  ASSERT_TRUE(send_datagram(bench.sender, data(4, 4)));
  EXPECT_EQ(messages_of(follower, 1), std::vector<std::string>{"m1"});
  const auto asked = [&] {
    pump(follower, 5);
    return follower.receiver.totals.requests != 0;
  };
  ASSERT_TRUE(vorbeld::eventually(asked));
  EXPECT_EQ(vorbeld::receive_datagram(bench.server), header(2, 2));
  vorbeld::send_datagram(bench.server, vorbeld::port_of(follower.requests.number), data(2, 3));
  EXPECT_EQ(messages_of(follower, 3), (std::vector<std::string>{"m2", "m3", "m4"}));
  EXPECT_EQ(follower.receiver.totals.recovered, 2U);
  EXPECT_FALSE(follower.requests_refused);
}

TEST(Follower, OfAnswersAsksWithoutAFeed) {
  const FeedBench bench = make_bench();
  Follower follower = follow_answers(bench.addresses, {}, 8, 10);
  EXPECT_EQ(follower.feed.number, -1);
  pump(follower, 5);
  EXPECT_EQ(vorbeld::receive_datagram(bench.server), header(8, 2));
  vorbeld::send_datagram(bench.server, vorbeld::port_of(follower.requests.number), data(8, 9));
  EXPECT_EQ(messages_of(follower, 2), (std::vector<std::string>{"m8", "m9"}));
}

TEST(Follower, IsToldOfAClosedRetransmissionPort) {
  FeedBench bench = make_bench();
  Follower follower = follow_answers(bench.addresses, {}, 8, 10);
  bench.server.descriptor = vorbeld::Descriptor();
  EXPECT_TRUE(vorbeld::eventually([&] {
    pump(follower, 5);
    return follower.requests_refused;
  }));
}

}  // namespace
}  // namespace vorbelctl
