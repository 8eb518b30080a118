// Capture files made byte by byte: every kind of link, and what is left out.
#include "vorbelctl/handler/pcap_feed.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "common/big_endian.h"
#include "tests/unit/common/scratch.h"

namespace vorbelctl {
namespace {

using namespace std::string_literals;

enum LinkType : std::uint8_t { null = 0, ethernet = 1, raw_ip = 101, cooked = 113, radiotap = 127, ipv4 = 228 };
constexpr int cooked_2 = 276;

std::string u16(std::uint16_t value) {
  std::string bytes(2, '\0');
  vorbeld::put_u16(bytes.data(), value);
  return bytes;
}

// The file's own numbers have the byte order that its magic number has; here the lowest byte comes first.
std::string little_u32(std::uint32_t value) {
  std::string bytes;
  for (int i = 0; i < 4; ++i) bytes += static_cast<char>(value >> (8 * i) & 0xffU);
  return bytes;
}

std::string file_header(int link) {
  return "\xd4\xc3\xb2\xa1\x02\0\x04\0"s + little_u32(0) + little_u32(0) + little_u32(65535) +
         little_u32(static_cast<std::uint32_t>(link));
}

// A frame, of which only the first `captured` bytes were kept.
std::string record(const std::string& frame, std::uint32_t at_s = 1, std::uint32_t at_us = 0,
                   std::size_t captured = std::string::npos) {
  const std::string kept = frame.substr(0, captured);
  return little_u32(at_s) + little_u32(at_us) + little_u32(static_cast<std::uint32_t>(kept.size())) +
         little_u32(static_cast<std::uint32_t>(frame.size())) + kept;
}

std::string udp(const std::string& payload, const std::string& to = "\xe9\x36\x13\x6f"s, std::uint16_t to_port = 28977,
                std::uint16_t from_port = 40000, std::uint16_t fragment = 0) {
  const auto length = static_cast<std::uint16_t>(8 + payload.size());
  return "\x45\0"s + u16(static_cast<std::uint16_t>(20 + length)) + u16(0) + u16(fragment) + "\x01\x11\0\0"s +
         "\x7f\0\0\x01"s + to + u16(from_port) + u16(to_port) + u16(length) + u16(0) + payload;
}

std::string on_ethernet(const std::string& ip) {
  return std::string(12, '\xaa') + u16(0x0800) + ip;
}

struct Reading {
  PcapTotals totals;
  std::vector<std::string> feed;
  std::vector<std::string> answers;
  std::uint64_t last_ns = 0;
  SenderId sender = 0;  // of the last datagram
};

Reading read_file(const std::string& file) {
  const vorbeld::ScratchFolder folder;
  const auto path = folder.path / "feed.pcap";
  vorbeld::write_file(path, file);
  Reading reading;
  const auto take = [&](std::string_view bytes, Channel channel, std::uint64_t at_ns, SenderId sender) {
    reading.sender = sender;
    (channel == Channel::feed ? reading.feed : reading.answers).emplace_back(bytes);
    reading.last_ns = at_ns;
  };
  reading.totals = read_pcap(path.string(), {}, take);
  return reading;
}

TEST(Capture, IsReadOnEveryLink) {
  const std::vector<std::pair<int, std::string>> links{
      {ethernet, on_ethernet("")},
      {ethernet, std::string(12, 'a') + u16(0x8100) + u16(7) + u16(0x0800)},
      {ethernet, std::string(12, 'a') + u16(0x88a8) + u16(7) + u16(0x8100) + u16(8) + u16(0x0800)},
      {cooked, u16(0) + std::string(12, '\0') + u16(0x0800)},
      {cooked_2, u16(0x0800) + std::string(18, '\0')},
      {null, "\x02\0\0\0"s},
      {null, "\0\0\0\x02"s},
      {raw_ip, ""},
      {ipv4, ""},
  };
  for (const auto& [link, before_ip] : links) {
    const Reading reading = read_file(file_header(link) + record(before_ip + udp("packet")));
    EXPECT_EQ(reading.feed, std::vector<std::string>{"packet"}) << link;
    EXPECT_EQ(reading.totals.frames, 1U) << link;
    EXPECT_EQ(reading.totals.feed, 1U) << link;
  }
}

TEST(Capture, HoldsTheAnswersOfTheRetransmissionPortToo) {
  const std::string client = "\x7f\0\0\x01"s;
  const Reading reading =
      read_file(file_header(raw_ip) + record(udp("packet")) + record(udp("answer", client, 50000, 28979)));
  EXPECT_EQ(reading.feed, std::vector<std::string>{"packet"});
  EXPECT_EQ(reading.answers, std::vector<std::string>{"answer"});
  EXPECT_EQ(reading.totals.answers, 1U);
}

TEST(Capture, TellsWhenADatagramCameInNanoseconds) {
  const std::string packet = record(udp("packet"), 1700000000, 123999);
  EXPECT_EQ(read_file(file_header(raw_ip) + packet).last_ns, 1700000000123999000U);
  std::string finer = file_header(raw_ip);
  finer.replace(0, 4, "\x4d\x3c\xb2\xa1"s);
  EXPECT_EQ(read_file(finer + packet).last_ns, 1700000000000123999U);
}

TEST(Capture, LeavesOutWhatIsNeither) {
  std::string tcp = udp("packet");
  tcp[9] = 6;
  std::string ipv6 = udp("packet");
  ipv6[0] = 0x65;
  std::string short_length = udp("packet");
  short_length.replace(24, 2, u16(7));
  const std::vector<std::string> frames{
      on_ethernet(udp("other group", "\xe9\x36\x13\x70"s)),
      on_ethernet(udp("other port", "\xe9\x36\x13\x6f"s, 28976)),
      on_ethernet(udp("a fragment", "\xe9\x36\x13\x6f"s, 28977, 1, 0x2000)),
      on_ethernet(tcp),
      on_ethernet(ipv6),
      on_ethernet(short_length),
      std::string(12, 'a') + u16(0x0806) + "arp",
      on_ethernet(udp("")).substr(0, 30),
      "short",
      "",
  };
  std::string file = file_header(ethernet);
  for (const auto& frame : frames) file += record(frame);
  const Reading reading = read_file(file);
  EXPECT_EQ(reading.feed, std::vector<std::string>{});
  EXPECT_EQ(reading.answers, std::vector<std::string>{});
  EXPECT_EQ(reading.totals.frames, frames.size());
}

TEST(Capture, CountsWhatWasCutAndLeavesItOut) {
  const Reading reading =
      read_file(file_header(raw_ip) + record(udp("a long packet"), 1, 0, 33) + record(udp("whole")));
  EXPECT_EQ(reading.feed, std::vector<std::string>{"whole"});
  EXPECT_EQ(reading.totals.cut, 1U);
  EXPECT_EQ(reading.totals.feed, 2U);
}

TEST(Capture, ThatEndsWithinAFrameIsReadToThere) {
  const std::string whole = file_header(raw_ip) + record(udp("first")) + record(udp("second"));
  EXPECT_FALSE(read_file(whole).totals.ends_early);
  for (const std::size_t lacking : {1U, 20U, 40U}) {
    const Reading reading = read_file(whole.substr(0, whole.size() - lacking));
    EXPECT_TRUE(reading.totals.ends_early) << lacking;
    EXPECT_EQ(reading.feed, std::vector<std::string>{"first"});
  }
}

TEST(Capture, OnAllInterfacesShowsEachDatagramOnce) {
  const auto seen = [](std::uint16_t direction) {
    return record(u16(direction) + std::string(12, '\0') + u16(0x0800) + udp("packet"));
  };
  constexpr std::uint16_t incoming = 0;
  constexpr std::uint16_t outgoing = 4;
  const Reading once = read_file(file_header(cooked) + seen(outgoing) + seen(incoming));
  EXPECT_EQ(once.feed.size(), 1U);
  const Reading sent_twice =
      read_file(file_header(cooked) + seen(outgoing) + seen(outgoing) + seen(incoming) + seen(incoming));
  EXPECT_EQ(sent_twice.feed.size(), 2U);
  EXPECT_EQ(read_file(file_header(cooked) + seen(incoming) + seen(incoming)).feed.size(), 2U);
}

TEST(Capture, SaysWhyItCannotBeRead) {
  const auto why = [](const std::string& file) -> std::string {
    try {
      read_file(file);
    } catch (const std::invalid_argument& problem) {
      return problem.what();
    }
    return "";
  };
  EXPECT_NE(why("no capture at all, but long enough").find("cannot read the capture "), std::string::npos);
  EXPECT_NE(why(file_header(radiotap) + record("x")).find("which is not understood; capture on Ethernet"),
            std::string::npos);
  EXPECT_NE(why(file_header(raw_ip) + std::string(16, '\xff')).find(" cannot be read to its end: "), std::string::npos);
  EXPECT_THROW(read_pcap("/nonexistent", {}, nullptr), std::invalid_argument);
}

TEST(Capture, TellsWhoSentADatagram) {
  EXPECT_EQ(sender_text(read_file(file_header(raw_ip) + record(udp("feed"))).sender), "127.0.0.1:40000");
}

}  // namespace
}  // namespace vorbelctl
