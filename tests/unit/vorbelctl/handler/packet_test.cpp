// Framing of MoldUDP64 packets against bytes written out by hand.
#include "vorbelctl/handler/packet.h"

#include <gtest/gtest.h>

#include <string>

namespace vorbelctl {
namespace {

std::string bytes_of(const char* text, std::size_t length) {
  return {text, length};
}

const std::string header_of_two = bytes_of(
    "BTDS000001"
    "\0\0\0\0\0\0\1\2"
    "\0\2",
    20);
const std::string block_ab = bytes_of("\0\2ab", 4);
const std::string block_xyz = bytes_of("\0\3xyz", 5);

TEST(Packet, HoldsItsMessagesInOrder) {
  const std::string bytes = header_of_two + block_ab + block_xyz;
  const Packet packet = read_packet(bytes);
  EXPECT_EQ(packet.malformed, "");
  EXPECT_EQ(session_name(packet.session), "BTDS000001");
  EXPECT_EQ(packet.first, 258U);
  EXPECT_FALSE(packet.end_of_session);
  EXPECT_EQ(packet.messages, (std::vector<std::string_view>{"ab", "xyz"}));
}

TEST(Packet, MayHoldMessagesWithoutBytes) {
  const std::string bytes = header_of_two + bytes_of("\0\0\0\0", 4);
  const Packet packet = read_packet(bytes);
  EXPECT_EQ(packet.malformed, "");
  EXPECT_EQ(packet.messages.size(), 2U);
}

TEST(Packet, OfTwentyBytesIsAHeartbeatOrTheEndOfSession) {
  const Packet heartbeat =
      read_packet(bytes_of("BTDS000001"
                           "\0\0\0\0\0\0\0\6"
                           "\0\0",
                           20));
  EXPECT_EQ(heartbeat.malformed, "");
  EXPECT_EQ(heartbeat.first, 6U);
  EXPECT_FALSE(heartbeat.end_of_session);
  const Packet end =
      read_packet(bytes_of("BTDS000001"
                           "\0\0\0\0\0\0\0\6"
                           "\xff\xff",
                           20));
  EXPECT_EQ(end.malformed, "");
  EXPECT_TRUE(end.end_of_session);
  EXPECT_TRUE(end.messages.empty());
}

TEST(Packet, IsRefusedWithItsReason) {
  EXPECT_EQ(read_packet("").malformed, "0 bytes are too few for a header");
  EXPECT_EQ(read_packet(header_of_two.substr(0, 19)).malformed, "19 bytes are too few for a header");
  EXPECT_EQ(read_packet(header_of_two + block_ab).malformed, "it ends before message 2 of the 2 it claims");
  EXPECT_EQ(read_packet(header_of_two + block_ab + std::string(1, 0)).malformed,
            "it ends before message 2 of the 2 it claims");
  EXPECT_EQ(read_packet(header_of_two + block_ab + block_xyz.substr(0, 4)).malformed,
            "message 2 claims 3 bytes, 2 are left");
  EXPECT_EQ(read_packet(header_of_two + block_ab + block_xyz + "!").malformed,
            "1 bytes are left over behind the last message");
  EXPECT_EQ(read_packet(bytes_of("BTDS000001"
                                 "\0\0\0\0\0\0\0\0"
                                 "\0\0",
                                 20))
                .malformed,
            "sequence number 0");
  EXPECT_EQ(read_packet(bytes_of("BTDS000001"
                                 "\xff\xff\xff\xff\xff\xff\xff\xff"
                                 "\0\1"
                                 "\0\1a",
                                 23))
                .malformed,
            "its sequence numbers run over the largest number");
}

TEST(Packet, NeverHasMoreMessagesThanItsBytesCarry) {
  const Packet packet =
      read_packet(bytes_of("BTDS000001"
                           "\0\0\0\0\0\0\0\1"
                           "\xff\xfe"
                           "\0\0",
                           22));
  EXPECT_EQ(packet.malformed, "it ends before message 2 of the 65534 it claims");
  EXPECT_LE(packet.messages.size(), 1U);
}

TEST(Session, IsCutAndPadded) {
  EXPECT_EQ(session_name(make_session("AB")), "AB");
  EXPECT_EQ(session_name(make_session("ABCDEFGHIJKL")), "ABCDEFGHIJ");
  EXPECT_EQ(make_session("AB")[9], ' ');
}

TEST(Request, IsAHeader) {
  const auto bytes = request_bytes(make_session("BTDS000001"), {258, 515});
  EXPECT_EQ(std::string(bytes.data(), bytes.size()), bytes_of("BTDS000001"
                                                              "\0\0\0\0\0\0\1\2"
                                                              "\2\3",
                                                              20));
}

}  // namespace
}  // namespace vorbelctl
