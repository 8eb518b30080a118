// Sockets towards the doors of a bench, all on the loopback interface.
#include "vorbelctl/doors/sockets.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/unit/common/loopback.h"

namespace vorbelctl {
namespace {

bool is_open(int number) {
  return fcntl(number, F_GETFD) != -1;
}

// A group of documentation addresses, on a port that is kept from everybody else.
struct QuietFeed {
  vorbeld::UdpSocket keeper = vorbeld::open_udp();
  Addresses addresses;
};

QuietFeed quiet_feed() {
  QuietFeed feed;
  feed.addresses.group = "233.252.0.1";
  feed.addresses.feed_port = feed.keeper.port;
  return feed;
}

TEST(Descriptor, IsClosedByItsOwner) {
  Descriptor owner(dup(STDOUT_FILENO));
  const int number = owner.number;
  ASSERT_TRUE(is_open(number));
  const Descriptor other(std::move(owner));
  EXPECT_TRUE(is_open(number));
  owner = Descriptor(dup(STDOUT_FILENO));
  const int second = owner.number;
  owner = Descriptor();
  EXPECT_FALSE(is_open(second));
}

TEST(Feed, IsHeardByAllWhoJoinIt) {
  const QuietFeed feed = quiet_feed();
  const Addresses& addresses = feed.addresses;
  const Socket first = join_feed(addresses);
  const Socket second = join_feed(addresses);
  ASSERT_TRUE(send_datagram(open_feed_sender(addresses), "packet"));
  for (const Socket* socket : {&first, &second}) {
    ASSERT_TRUE(wait_readable({socket}, 5000));
    std::string bytes;
    EXPECT_EQ(take_datagram(*socket, bytes), Arrival::datagram);
    EXPECT_EQ(bytes, "packet");
    EXPECT_EQ(take_datagram(*socket, bytes), Arrival::nothing);
    EXPECT_EQ(bytes, "");
  }
}

TEST(Feed, CannotBeJoinedOnAnAddressOfNobody) {
  QuietFeed feed = quiet_feed();
  Addresses& addresses = feed.addresses;
  addresses.interface = "192.0.2.1";  // for documentation
  try {
    join_feed(addresses);
    FAIL() << "it was joined";
  } catch (const DoorError& error) {
    const std::string what = error.what();
    EXPECT_EQ(what.substr(0, what.find(": ")),
              "cannot join the feed " + endpoint(addresses.group, addresses.feed_port) + " on the interface 192.0.2.1");
    EXPECT_EQ(error.advice, "try: vorbelctl doctor --mcast 233.252.0.1 --iface 192.0.2.1");
  }
  EXPECT_THROW(open_feed_sender(addresses), DoorError);
}

TEST(Requests, GoToOnePortAndTellWhenItIsClosed) {
  vorbeld::UdpSocket server = vorbeld::open_udp();
  Addresses addresses;
  addresses.retrans_port = server.port;
  const Socket requests = open_requests(addresses);
  EXPECT_GE(messages_per_request(requests), 16);
  ASSERT_TRUE(send_datagram(requests, "request"));
  EXPECT_EQ(vorbeld::receive_datagram(server), "request");
  server.descriptor = vorbeld::Descriptor();
  ASSERT_TRUE(send_datagram(requests, "request"));
  ASSERT_TRUE(wait_readable({&requests}, 5000));
  std::string bytes;
  EXPECT_EQ(take_datagram(requests, bytes), Arrival::refused);
}

TEST(Batch, TakesWhatWaitsInItsOrder) {
  const QuietFeed feed = quiet_feed();
  const Socket socket = join_feed(feed.addresses);
  const Socket sender = open_feed_sender(feed.addresses);
  for (std::size_t i = 0; i < Batch::most + 1; ++i) ASSERT_TRUE(send_datagram(sender, std::string(i, 'x')));
  ASSERT_TRUE(wait_readable({&socket}, 5000));
  Batch batch;
  std::vector<Datagram> taken;
  ASSERT_EQ(take_datagrams(socket, batch, taken), Arrival::datagram);
  ASSERT_EQ(taken.size(), Batch::most);
  for (std::size_t i = 0; i < Batch::most; ++i) EXPECT_EQ(taken[i].bytes, std::string(i, 'x'));
  EXPECT_EQ(taken[0].receipt.sender, own_address(sender));
  EXPECT_NE(taken[0].receipt.at_ns, 0U);
  ASSERT_EQ(take_datagrams(socket, batch, taken), Arrival::datagram);
  EXPECT_EQ(taken.size(), 1U);
  EXPECT_EQ(take_datagrams(socket, batch, taken), Arrival::nothing);
  EXPECT_TRUE(taken.empty());
  EXPECT_EQ(dropped_at(socket), 0U);
}

TEST(Feed, TellsWhatItsBufferHadNoRoomFor) {
  const QuietFeed feed = quiet_feed();
  const Socket socket = join_feed(feed.addresses);
  const Socket sender = open_feed_sender(feed.addresses);
  const std::string packet(1000, 'x');
  const std::uint64_t more_than_fit = granted_buffer(socket) / packet.size() + 1;
  for (std::uint64_t i = 0; i < more_than_fit; ++i) send_whole(sender, packet);
  std::uint64_t taken = 0;
  for (std::string bytes; take_datagram(socket, bytes) == Arrival::datagram;) ++taken;
  EXPECT_GT(dropped_at(socket), 0U);
  EXPECT_EQ(taken + dropped_at(socket), more_than_fit);
}

TEST(Reports, CannotBeSentWhereNobodyListens) {
  const Descriptor bound(socket(AF_INET, SOCK_STREAM, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ASSERT_EQ(bind(bound.number, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  Addresses addresses;
  addresses.report_port = vorbeld::port_of(bound.number);
  try {
    open_reports(addresses, 5000);
    FAIL() << "somebody listens";
  } catch (const DoorError& error) {
    EXPECT_EQ(std::string(error.what()), "cannot connect to the report port " +
                                             endpoint("127.0.0.1", addresses.report_port) + ": Connection refused");
    EXPECT_EQ(error.advice, "is the bench running, with this --report-port?");
  }
}

TEST(Waiting, SkipsSocketsThatAreNotThere) {
  const Socket none;
  EXPECT_FALSE(wait_readable({&none}, 0));
}

}  // namespace
}  // namespace vorbelctl
