// Addresses as numbers and in messages.
#include "vorbelctl/doors/addresses.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace vorbelctl {
namespace {

TEST(Ipv4Number, HasTheFirstNumberInItsHighestByte) {
  EXPECT_EQ(ipv4_number("233.54.19.111"), 0xe936136fU);
  EXPECT_EQ(ipv4_number("0.0.0.1"), 1U);
}

TEST(Ipv4Number, IsRefusedOfAnythingElse) {
  for (const char* text : {"", "localhost", "1.2.3", "1.2.3.4.5", "1.2.3.256", "::1", " 1.2.3.4"}) {
    EXPECT_THROW(ipv4_number(text), std::invalid_argument) << text;
  }
}

TEST(Endpoint, IsAnAddressAndAPort) {
  EXPECT_EQ(endpoint("127.0.0.1", 65535), "127.0.0.1:65535");
}

TEST(Silence, NamesTheDoorsThatWereTried) {
  Addresses addresses;
  EXPECT_EQ(at_no_door(addresses),
            ", neither on the control port 127.0.0.1:28980 nor on the feed 233.54.19.111:28977 (session BTDS000001)");
  addresses.control_port = 0;
  EXPECT_EQ(at_no_door(addresses), " on the feed 233.54.19.111:28977 (session BTDS000001)");
}

TEST(Silence, TellsAClosedPortFromASilentOne) {
  EXPECT_EQ(
      no_retransmission({}, true),
      "nobody answers on the retransmission port 127.0.0.1:28979 (the port is closed); is the bench running, with "
      "this --retrans-port?");
  EXPECT_EQ(no_retransmission({}, false).substr(0, 71),
            "no answer came from the retransmission port 127.0.0.1:28979 in time; a ");
}

}  // namespace
}  // namespace vorbelctl
