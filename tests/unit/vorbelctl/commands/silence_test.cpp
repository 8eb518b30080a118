// What is said of doors at which nobody answers.
#include "vorbelctl/commands/silence.h"

#include <gtest/gtest.h>

namespace vorbelctl {
namespace {

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
