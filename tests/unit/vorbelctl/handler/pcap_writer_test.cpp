// Frames held against bytes worked out by hand, and what becomes of times and paths.
#include "vorbelctl/handler/pcap_writer.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "tests/unit/common/scratch.h"
#include "vorbelctl/handler/pcap_feed.h"

namespace vorbelctl {
namespace {

using namespace std::string_literals;

const SenderId publisher = make_sender(0x7f000001, 40000);
const SenderId group = socket_at("233.54.19.111", 28977);

TEST(Frame, HasItsHeadersAndChecksums) {
  EXPECT_EQ(frame_of("odd", publisher, group),
            "\x01\x00\x5e\x36\x13\x6f\x02\x00\x00\x00\x00\x01\x08\x00"s
            "\x45\x00\x00\x1f\x00\x00\x40\x00\x01\x11\xfe\x27\x7f\x00\x00\x01\xe9\x36\x13\x6f"s
            "\x9c\x40\x71\x31\x00\x0b\xa3\x5aodd"s);
}

TEST(Frame, OfAMachineHasALocalAddress) {
  const std::string frame = frame_of("", publisher, make_sender(0x0a0b0c0d, 50000));
  EXPECT_EQ(frame.substr(0, 12), "\x02\x00\x00\x0b\x0c\x0d\x02\x00\x00\x00\x00\x01"s);
  EXPECT_EQ(frame[22], 64);
  EXPECT_EQ(frame.size(), 42U);
}

struct Taken {
  std::string bytes;
  std::uint64_t at_ns = 0;
};

TEST(PcapWriter, IsReadBackAsItWas) {
  const vorbeld::ScratchFolder folder;
  const std::string path = (folder.path / "feed.pcap").string();
  const std::string longest(65507, 'x');
  {
    PcapWriter writer = open_pcap_writer(path);
    write_datagram(writer, "first", publisher, group, 5'000'000'007);
    write_datagram(writer, "a little before", publisher, group, 4'999'999'999);
    write_datagram(writer, longest, publisher, group, 6'000'000'000);
    write_datagram(writer, "after the clock was set back", publisher, group, 1);
    EXPECT_TRUE(flush_pcap(writer));
  }
  std::vector<Taken> taken;
  read_pcap(path, {}, [&](std::string_view bytes, Channel channel, std::uint64_t at_ns, SenderId sender) {
    EXPECT_EQ(channel, Channel::feed);
    EXPECT_EQ(sender, publisher);
    taken.push_back({std::string(bytes), at_ns});
  });
  ASSERT_EQ(taken.size(), 4U);
  EXPECT_EQ(taken[0].at_ns, 5'000'000'007U);
  EXPECT_EQ(taken[1].at_ns, 5'000'000'007U);
  EXPECT_EQ(taken[2].bytes, longest);
  EXPECT_EQ(taken[3].at_ns, 1U);
}

TEST(PcapWriter, SaysWhenItCannotWrite) {
  EXPECT_THROW(open_pcap_writer("/nonexistent/feed.pcap"), std::invalid_argument);
  PcapWriter full = open_pcap_writer("/dev/full");
  write_datagram(full, "lost", publisher, group, 1);
  EXPECT_FALSE(flush_pcap(full));
}

}  // namespace
}  // namespace vorbelctl
