// The feed out of a capture file instead of the network: finds the UDP datagrams of the feed, and those in which the
// retransmission port answered, whatever link they were captured on. Hands out datagrams and the times at which they
// were captured; what they hold is left to the receiver. Nothing in a file can make it crash or keep more than a frame
// and a few datagrams.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "vorbelctl/doors/sockets.h"
#include "vorbelctl/handler/receiver.h"

namespace vorbelctl {

struct PcapTotals {
  std::uint64_t frames = 0;
  std::uint64_t feed = 0;     // datagrams to the group and port of the feed
  std::uint64_t answers = 0;  // datagrams from the retransmission port
  std::uint64_t cut = 0;      // of both: captured shorter than they were, and left out
  bool ends_early = false;    // the file ends within a frame, which is left out, or within packed bytes
};

// One datagram; the bytes are valid during the call. `at_ns` is wall-clock time, as exact as the file has it.
using TakeDatagram = std::function<void(std::string_view bytes, Channel channel, std::uint64_t at_ns, SenderId sender)>;

// Reads the whole file, as open_input does: Ethernet (also tagged), Linux cooked (both versions), loopback and raw IP
// links; IPv4. Fragments and all other packets are passed over. Throws std::invalid_argument when the file cannot be
// read, is not a capture or was made on another kind of link.
PcapTotals read_pcap(const std::string& path, const Addresses& addresses, const TakeDatagram& take);

}  // namespace vorbelctl
