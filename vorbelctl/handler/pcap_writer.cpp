#include "vorbelctl/handler/pcap_writer.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <stdexcept>

#include "common/big_endian.h"

namespace vorbelctl {
namespace {

constexpr std::size_t ethernet_header = 14;
constexpr std::size_t ip_header = 20;
constexpr std::size_t udp_header = 8;
constexpr std::uint8_t udp_protocol = 17;
constexpr int longest_frame = 1 << 17;  // more than any datagram needs

std::uint32_t address_of(SenderId socket) {
  return static_cast<std::uint32_t>(socket >> 16U);
}

std::uint16_t port_of(SenderId socket) {
  return static_cast<std::uint16_t>(socket & 0xFFFFU);
}

void put_address(char* at, std::uint32_t address) {
  vorbeld::put_u16(at, static_cast<std::uint16_t>(address >> 16U));
  vorbeld::put_u16(at + 2, static_cast<std::uint16_t>(address & 0xFFFFU));
}

// The sum of 16-bit words that the checksums are made of; a last odd byte counts as a high one.
std::uint64_t sum_of_words(std::string_view bytes) {
  std::uint64_t sum = 0;
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) sum += vorbeld::take_u16(bytes.data() + at);
  if (bytes.size() % 2 != 0) sum += std::uint64_t{static_cast<unsigned char>(bytes.back())} << 8U;
  return sum;
}

std::uint16_t checksum_of(std::uint64_t sum) {
  while (sum > 0xFFFFU) sum = (sum & 0xFFFFU) + (sum >> 16U);
  return static_cast<std::uint16_t>(~sum & 0xFFFFU);
}

// The address that a group's packets have on the link, or a made-up one of a machine.
void put_link_address(char* at, std::uint32_t address) {
  constexpr std::string_view of_groups("\x01\x00\x5e", 3);
  constexpr std::string_view of_machines("\x02\x00\x00", 3);  // locally administered
  std::copy_n((is_multicast(address) ? of_groups : of_machines).data(), 3, at);
  const std::uint32_t low = is_multicast(address) ? address & 0x7FFFFFU : address & 0xFFFFFFU;
  at[3] = static_cast<char>(low >> 16U);
  vorbeld::put_u16(at + 4, static_cast<std::uint16_t>(low & 0xFFFFU));
}

void put_ip(char* at, std::uint32_t from, std::uint32_t to, std::size_t length) {
  constexpr std::uint16_t version_and_length = 0x4500;
  constexpr std::uint16_t never_in_fragments = 0x4000;
  constexpr std::uint16_t hops_of_group = 1;
  constexpr std::uint16_t usual_hops = 64;
  vorbeld::put_u16(at, version_and_length);
  vorbeld::put_u16(at + 2, static_cast<std::uint16_t>(length));
  vorbeld::put_u16(at + 6, never_in_fragments);
  const std::uint16_t hops = is_multicast(to) ? hops_of_group : usual_hops;
  vorbeld::put_u16(at + 8, static_cast<std::uint16_t>(hops << 8U | udp_protocol));
  put_address(at + 12, from);
  put_address(at + 16, to);
  vorbeld::put_u16(at + 10, checksum_of(sum_of_words({at, ip_header})));
}

// The checksum is over the addresses, the protocol and the length too. 0 would mean that there is none.
void put_udp_checksum(char* ip, std::size_t udp_length) {
  char* const udp = ip + ip_header;
  const std::uint64_t sum = sum_of_words({ip + 12, 8}) + udp_protocol + udp_length + sum_of_words({udp, udp_length});
  const std::uint16_t checksum = checksum_of(sum);
  vorbeld::put_u16(udp + 6, checksum == 0 ? std::uint16_t{0xFFFF} : checksum);
}

}  // namespace

std::string frame_of(std::string_view bytes, SenderId from, SenderId to) {
  constexpr std::uint16_t of_ipv4 = 0x0800;
  const std::size_t udp_length = udp_header + bytes.size();
  std::string frame(ethernet_header + ip_header + udp_header, '\0');
  frame += bytes;
  put_link_address(frame.data(), address_of(to));
  put_link_address(frame.data() + 6, address_of(from));
  vorbeld::put_u16(frame.data() + 12, of_ipv4);
  char* const ip = frame.data() + ethernet_header;
  put_ip(ip, address_of(from), address_of(to), ip_header + udp_length);
  char* const udp = ip + ip_header;
  vorbeld::put_u16(udp, port_of(from));
  vorbeld::put_u16(udp + 2, port_of(to));
  vorbeld::put_u16(udp + 4, static_cast<std::uint16_t>(udp_length));
  put_udp_checksum(ip, udp_length);
  return frame;
}

PcapWriter open_pcap_writer(const std::string& path) {
  PcapWriter writer;
  writer.format.reset(pcap_open_dead_with_tstamp_precision(DLT_EN10MB, longest_frame, PCAP_TSTAMP_PRECISION_NANO));
  if (writer.format) writer.file.reset(pcap_dump_open(writer.format.get(), path.c_str()));
  if (!writer.file) {
    throw std::invalid_argument("cannot write the capture " +
                                (writer.format ? std::string(pcap_geterr(writer.format.get())) : path));
  }
  return writer;
}

void write_datagram(PcapWriter& writer, std::string_view bytes, SenderId from, SenderId to, std::uint64_t at_ns) {
  constexpr std::uint64_t ns_per_s = 1'000'000'000;
  if (at_ns < writer.written_ns && writer.written_ns - at_ns < ns_per_s) at_ns = writer.written_ns;
  writer.written_ns = at_ns;
  const std::string frame = frame_of(bytes, from, to);
  pcap_pkthdr header{};
  header.ts.tv_sec = static_cast<time_t>(at_ns / ns_per_s);
  header.ts.tv_usec = static_cast<suseconds_t>(at_ns % ns_per_s);  // nanoseconds, as the file is opened
  header.caplen = header.len = static_cast<std::uint32_t>(frame.size());
  pcap_dump(reinterpret_cast<unsigned char*>(writer.file.get()), &header,
            reinterpret_cast<const unsigned char*>(frame.data()));
}

bool flush_pcap(PcapWriter& writer) {
  return pcap_dump_flush(writer.file.get()) == 0 && std::ferror(pcap_dump_file(writer.file.get())) == 0;
}

}  // namespace vorbelctl
