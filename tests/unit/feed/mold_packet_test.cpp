// The downstream packet, compared with bytes written out by hand.
#include "feed/mold_packet.h"

#include <gtest/gtest.h>

#include <span>
#include <string>
#include <string_view>

#include "feed/publisher.h"

namespace vorbeld {
namespace {

using namespace std::string_view_literals;

std::string text_of(std::span<const char> bytes) {
  return {bytes.data(), bytes.size()};
}

// A block of `length` bytes, prefix included.
std::string block_of(std::size_t length) {
  std::string block(length, 'x');
  block[0] = static_cast<char>((length - 2) >> 8U);
  block[1] = static_cast<char>(length - 2);
  return block;
}

void add_block(MoldPacket& packet, std::string_view block) {
  add_blocks(packet, block, 1);
}

TEST(MoldPacket, StartsWithSessionSequenceAndCount) {
  MoldPacket packet;
  start_packet(packet, 0x0102'0304'0506'0708U);
  add_block(packet,
            "\x00\x03"
            "abc"sv);
  EXPECT_EQ(text_of(finish_packet(packet, session_bytes("BTDS000001"))),
            "BTDS000001"
            "\x01\x02\x03\x04\x05\x06\x07\x08"
            "\x00\x01"
            "\x00\x03"
            "abc"sv);
}

TEST(MoldPacket, CarriesItsBlocksInTheirOrder) {
  MoldPacket packet;
  start_packet(packet, 41);
  add_block(packet,
            "\x00\x01"
            "a"sv);
  add_block(packet, "\x00\x00"sv);
  add_block(packet,
            "\x00\x02"
            "bc"sv);
  EXPECT_EQ(text_of(finish_packet(packet, session_bytes("S"))),
            "S         "
            "\x00\x00\x00\x00\x00\x00\x00\x29"
            "\x00\x03"
            "\x00\x01"
            "a"
            "\x00\x00"
            "\x00\x02"
            "bc"sv);
}

TEST(MoldPacket, TakesSeveralBlocksAtOnce) {
  MoldPacket packet;
  start_packet(packet, 41);
  add_block(packet, block_of(10));
  add_blocks(packet, block_of(20) + block_of(30) + block_of(40), 3);
  EXPECT_EQ(packet.message_count, 4U);
  EXPECT_EQ(room_in(packet), 1500U - 20U - 100U);
  EXPECT_EQ(text_of(finish_packet(packet, session_bytes("S"))).substr(20),
            block_of(10) + block_of(20) + block_of(30) + block_of(40));
}

TEST(MoldPacket, IsEmptyAgainAfterARestart) {
  MoldPacket packet;
  start_packet(packet, 1);
  add_block(packet, block_of(100));
  start_packet(packet, 2);
  EXPECT_EQ(packet.length, 20U);
  EXPECT_EQ(packet.message_count, 0U);
  EXPECT_EQ(text_of(finish_packet(packet, session_bytes("BTDS000001"))),
            "BTDS000001"
            "\x00\x00\x00\x00\x00\x00\x00\x02"
            "\x00\x00"sv);
}

TEST(MoldPacket, HasRoomForFifteenHundredBytesAndNoMore) {
  MoldPacket packet;
  start_packet(packet, 1);
  EXPECT_TRUE(has_room(packet, 1480));
  EXPECT_FALSE(has_room(packet, 1481));
  add_block(packet, block_of(1000));
  EXPECT_TRUE(has_room(packet, 480));
  EXPECT_FALSE(has_room(packet, 481));
  add_block(packet, block_of(480));
  EXPECT_EQ(finish_packet(packet, session_bytes("BTDS000001")).size(), 1500U);
  EXPECT_FALSE(has_room(packet, 2));
}

TEST(MoldPacket, TakesAtMost65534Messages) {
  MoldPacket packet;
  start_packet(packet, 1);
  packet.message_count = 65533;
  EXPECT_TRUE(has_room(packet, 2));
  packet.message_count = 65534;
  EXPECT_FALSE(has_room(packet, 2));
}

TEST(MoldHeader, IsAHeartbeatOrAnEndOfSessionByItself) {
  EXPECT_EQ(text_of(make_header(session_bytes("BTDS000001"), 6, mold::heartbeat_count)),
            "BTDS000001"
            "\x00\x00\x00\x00\x00\x00\x00\x06"
            "\x00\x00"sv);
  EXPECT_EQ(text_of(make_header(session_bytes("BTDS000001"), 0x1'0000'0000U, mold::end_of_session_count)),
            "BTDS000001"
            "\x00\x00\x00\x01\x00\x00\x00\x00"
            "\xff\xff"sv);
}

TEST(Session, IsCutToTenCharacters) {
  EXPECT_EQ(text_of(session_bytes("ABCDEFGHIJKLM")), "ABCDEFGHIJ");
  EXPECT_EQ(text_of(session_bytes("ABCDEFGHIJ")), "ABCDEFGHIJ");
}

TEST(Session, IsPaddedWithBlanksOnTheRight) {
  EXPECT_EQ(text_of(session_bytes("BTDS")), "BTDS      ");
  EXPECT_EQ(text_of(session_bytes(" B")), " B        ");
  EXPECT_EQ(text_of(session_bytes("")), "          ");
}

}  // namespace
}  // namespace vorbeld
