// Datagrams into a capture file (libpcap, Ethernet, nanoseconds) that read_pcap and other programs read: each in a
// frame that is made for it, with the addresses it had and right checksums. The link it really came over is not told.
#pragma once

#include <pcap/pcap.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "vorbelctl/doors/sockets.h"

namespace vorbelctl {

// A capture file that is open for writing. What cannot be written is lost, and told at the end.
struct PcapWriter {
  std::unique_ptr<pcap_t, void (*)(pcap_t*)> format{nullptr, pcap_close};
  std::unique_ptr<pcap_dumper_t, void (*)(pcap_dumper_t*)> file{nullptr, pcap_dump_close};
  std::uint64_t written_ns = 0;  // the latest time stamp
};

// Makes the file, or empties one that is there. Throws std::invalid_argument, with the path and the reason, where that
// fails.
PcapWriter open_pcap_writer(const std::string& path);

// Adds a datagram of at most 65507 bytes. `at_ns` is wall-clock time; two sockets may be read in another order than
// they were written to, so a time up to a second before that of the datagram before becomes the same as that one's.
void write_datagram(PcapWriter& writer, std::string_view bytes, SenderId from, SenderId to, std::uint64_t at_ns);

// Hands everything so far to the system. False when something could not be written.
bool flush_pcap(PcapWriter& writer);

// The frame of a datagram: Ethernet, IPv4 and UDP.
std::string frame_of(std::string_view bytes, SenderId from, SenderId to);

}  // namespace vorbelctl
