#include "vorbelctl/handler/pcap_feed.h"

#include <fmt/core.h>
#include <pcap/pcap.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <stdexcept>

#include "common/big_endian.h"
#include "vorbelctl/handler/input.h"

namespace vorbelctl {
namespace {

constexpr std::uint16_t ether_ipv4 = 0x0800;
constexpr std::uint16_t ether_vlan = 0x8100;
constexpr std::uint16_t ether_provider_vlan = 0x88a8;
constexpr std::size_t most_copies = 64;

// What a link puts before the IP packet.
struct Frame {
  std::string_view ip;
  bool outgoing = false;  // the capturing machine sent it itself
};

struct Datagram {
  std::uint32_t from = 0;  // addresses, host order
  std::uint32_t to = 0;
  std::uint16_t from_port = 0;
  std::uint16_t to_port = 0;
  std::string_view bytes;
  bool cut = false;
};

std::uint16_t u16_at(std::string_view bytes, std::size_t at) {
  return vorbeld::take_u16(bytes.data() + at);
}

std::optional<Frame> after_ether_type(std::string_view bytes, std::size_t type_at) {
  while (bytes.size() >= type_at + 2) {
    const std::uint16_t type = u16_at(bytes, type_at);
    if (type == ether_ipv4) return Frame{bytes.substr(type_at + 2)};
    if (type != ether_vlan && type != ether_provider_vlan) return {};
    type_at += 4;
  }
  return {};
}

std::optional<Frame> open_ethernet(std::string_view bytes) {
  return after_ether_type(bytes, 12);
}

std::optional<Frame> cooked(std::string_view bytes, std::size_t type_at, bool outgoing, std::size_t header) {
  if (u16_at(bytes, type_at) != ether_ipv4) return {};
  return Frame{bytes.substr(header), outgoing};
}

std::optional<Frame> open_cooked(std::string_view bytes) {
  constexpr std::uint16_t outgoing = 4;
  if (bytes.size() < 16) return {};
  return cooked(bytes, 14, u16_at(bytes, 0) == outgoing, 16);
}

std::optional<Frame> open_cooked_2(std::string_view bytes) {
  constexpr char outgoing = 4;
  if (bytes.size() < 20) return {};
  return cooked(bytes, 0, bytes[10] == outgoing, 20);
}

// Four bytes with the address family, which is 2 for IPv4 in the byte order of whichever machine captured.
std::optional<Frame> open_loopback(std::string_view bytes) {
  constexpr char ipv4 = 2;
  if (bytes.size() < 4 || (bytes[0] != ipv4 && bytes[3] != ipv4)) return {};
  return Frame{bytes.substr(4)};
}

std::optional<Frame> open_raw(std::string_view bytes) {
  return Frame{bytes};
}

struct Link {
  int type;
  std::optional<Frame> (*open)(std::string_view bytes);
};

constexpr std::array links{
    Link{DLT_EN10MB, open_ethernet}, Link{DLT_LINUX_SLL, open_cooked}, Link{DLT_LINUX_SLL2, open_cooked_2},
    Link{DLT_NULL, open_loopback},   Link{DLT_LOOP, open_loopback},    Link{DLT_RAW, open_raw},
    Link{DLT_IPV4, open_raw},
};

// Climbs from IP to UDP. Nothing when the bytes are not a whole IPv4 packet with UDP in it.
std::optional<Datagram> open_ip(std::string_view bytes) {
  constexpr char udp = 17;
  constexpr std::uint16_t fragment_bits = 0x3fff;  // more fragments follow, or this is not the first
  if (bytes.size() < 20 || (static_cast<unsigned char>(bytes[0]) >> 4U) != 4) return {};
  const std::size_t header = std::size_t{4} * (static_cast<unsigned char>(bytes[0]) & 0xfU);
  if (header < 20 || bytes.size() < header + 8) return {};
  if (bytes[9] != udp || (u16_at(bytes, 6) & fragment_bits) != 0) return {};
  Datagram datagram;
  datagram.from = std::uint32_t{u16_at(bytes, 12)} << 16U | u16_at(bytes, 14);
  datagram.to = std::uint32_t{u16_at(bytes, 16)} << 16U | u16_at(bytes, 18);
  datagram.from_port = u16_at(bytes, header);
  datagram.to_port = u16_at(bytes, header + 2);
  const std::size_t length = u16_at(bytes, header + 4);
  if (length < 8) return {};
  datagram.bytes = bytes.substr(header + 8, length - 8);
  datagram.cut = datagram.bytes.size() < length - 8;
  return datagram;
}

// A capture on all interfaces shows a datagram that the machine sends to itself twice, going out and coming in. The
// second one is left out.
struct Copies {
  std::deque<std::string> sent;  // seen going out and not yet coming in; at most most_copies
};

bool seen_going_out(Copies& copies, const Frame& frame, std::string_view bytes) {
  if (frame.outgoing) {
    copies.sent.emplace_back(bytes);
    if (copies.sent.size() > most_copies) copies.sent.pop_front();
    return false;
  }
  const auto copy = std::find(copies.sent.begin(), copies.sent.end(), bytes);
  if (copy == copies.sent.end()) return false;
  copies.sent.erase(copy);
  return true;
}

using Capture = std::unique_ptr<pcap_t, void (*)(pcap_t*)>;

Capture open_capture(const Input& input) {
  std::array<char, PCAP_ERRBUF_SIZE> problem{};
  Capture capture(
      pcap_open_offline_with_tstamp_precision(input.path.c_str(), PCAP_TSTAMP_PRECISION_NANO, problem.data()),
      pcap_close);
  if (!capture) throw std::invalid_argument(fmt::format("cannot read the capture {}: {}", input.name, problem.data()));
  return capture;
}

const Link& find_link(pcap_t* capture, const std::string& path) {
  const int type = pcap_datalink(capture);
  const auto* const link =
      std::find_if(links.begin(), links.end(), [&](const Link& each) { return each.type == type; });
  if (link != links.end()) return *link;
  const char* const name = pcap_datalink_val_to_name(type);
  throw std::invalid_argument(fmt::format(
      "{} was captured on a link of type {}, which is not understood; capture on Ethernet, loopback, any or raw IP",
      path, name != nullptr ? name : fmt::format("{}", type)));
}

}  // namespace

PcapTotals read_pcap(const std::string& path, const Addresses& addresses, const TakeDatagram& take) {
  const std::uint32_t group = ipv4_number(addresses.group);
  const Input input = open_input(path);
  const Capture capture = open_capture(input);
  const Link& link = find_link(capture.get(), input.name);
  PcapTotals totals;
  totals.ends_early = input.is_cut;
  Copies copies;
  pcap_pkthdr* header = nullptr;
  const unsigned char* data = nullptr;
  int result = 0;
  while ((result = pcap_next_ex(capture.get(), &header, &data)) == 1) {
    ++totals.frames;
    const auto frame = link.open({reinterpret_cast<const char*>(data), header->caplen});
    const auto datagram = frame ? open_ip(frame->ip) : std::nullopt;
    if (!datagram) continue;
    const bool of_feed = datagram->to == group && datagram->to_port == addresses.feed_port;
    const bool of_answers = !of_feed && datagram->from_port == addresses.retrans_port && addresses.retrans_port != 0;
    if ((!of_feed && !of_answers) || seen_going_out(copies, *frame, datagram->bytes)) continue;
    ++(of_feed ? totals.feed : totals.answers);
    if (datagram->cut) {
      ++totals.cut;
      continue;
    }
    // Opened for nanoseconds: they stand where microseconds usually do.
    const auto at_ns =
        static_cast<std::uint64_t>(header->ts.tv_sec) * 1'000'000'000 + static_cast<std::uint64_t>(header->ts.tv_usec);
    take(datagram->bytes, of_feed ? Channel::feed : Channel::answer, at_ns,
         make_sender(datagram->from, datagram->from_port));
  }
  if (result == PCAP_ERROR) {
    const std::string says = pcap_geterr(capture.get());
    totals.ends_early = says.find("truncated") != std::string::npos;  // the library has no other way to tell
    if (!totals.ends_early) {
      throw std::invalid_argument(fmt::format("the capture {} cannot be read to its end: {}", input.name, says));
    }
  }
  return totals;
}

}  // namespace vorbelctl
