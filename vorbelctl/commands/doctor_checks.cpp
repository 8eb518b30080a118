#include "vorbelctl/commands/doctor_checks.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstring>
#include <exception>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string_view>

namespace vorbelctl {
namespace {

// An IPv4 interface of this machine.
struct Interface {
  std::string name;
  std::string address;
  unsigned flags = 0;
};

std::string address_text(in_addr address) {
  std::array<char, INET_ADDRSTRLEN> text{};
  inet_ntop(AF_INET, &address, text.data(), text.size());
  return text.data();
}

std::vector<Interface> list_interfaces() {
  std::vector<Interface> interfaces;
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return interfaces;
  const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(list, freeifaddrs);
  for (const ifaddrs* at = list; at != nullptr; at = at->ifa_next) {
    if (at->ifa_addr == nullptr || at->ifa_addr->sa_family != AF_INET) continue;
    sockaddr_in address{};
    std::memcpy(&address, at->ifa_addr, sizeof address);
    interfaces.push_back({at->ifa_name, address_text(address.sin_addr), at->ifa_flags});
  }
  return interfaces;
}

bool is_multicast(const std::string& group) {
  constexpr std::uint32_t leading_bits = 0xe;  // of the four that all groups share
  return ipv4_number(group) >> 28U == leading_bits;
}

std::string device_name(const Addresses& addresses) {
  for (const Interface& interface : list_interfaces()) {
    if (interface.address == addresses.interface) return interface.name;
  }
  return "lo";
}

std::string larger_buffers() {
  return "sysctl -w net.core.rmem_max=" + std::to_string(wanted_buffer);
}

std::string read_file(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

std::string reason_of(const std::exception& problem) {
  const std::string_view text = problem.what();
  return std::string(text.substr(0, text.find("; ")));
}

Finding check_interface(const Addresses& addresses) {
  const std::string check = "interface";
  std::string others;
  for (const Interface& interface : list_interfaces()) {
    others += (others.empty() ? "" : ", ") + interface.name + " " + interface.address;
    if (interface.address != addresses.interface) continue;
    const std::string who = interface.name + " with " + interface.address;
    if ((interface.flags & IFF_UP) == 0) {
      return {Verdict::problem, check, who + " is down", "ip link set " + interface.name + " up"};
    }
    if ((interface.flags & IFF_LOOPBACK) != 0) return {Verdict::fine, check, who + " is up (this machine only)", ""};
    if ((interface.flags & IFF_MULTICAST) == 0) {
      return {Verdict::problem, check, who + " does not take multicast",
              "ip link set " + interface.name + " multicast on"};
    }
    return {Verdict::fine, check, who + " is up and takes multicast", ""};
  }
  return {Verdict::problem, check,
          "no interface has the address " + addresses.interface +
              "; there are: " + (others.empty() ? "none that is up" : others + "; choose one with --iface"),
          others.empty() ? "ip link set lo up" : "ip -brief address"};
}

Finding check_route(const Addresses& addresses) {
  const std::string check = "route";
  if (!is_multicast(addresses.group)) {
    return {Verdict::problem, check,
            addresses.group +
                " is no multicast group; those lie in 224.0.0.0 to 239.255.255.255; choose the bench's with --mcast",
            ""};
  }
  try {
    open_feed_sender(addresses);
  } catch (const std::runtime_error& problem) {
    return {Verdict::problem, check, reason_of(problem), "ip route add 224.0.0.0/4 dev " + device_name(addresses)};
  }
  return {Verdict::fine, check, addresses.group + " can be reached from " + addresses.interface, ""};
}

Finding check_membership(const Addresses& addresses) {
  const std::string check = "membership";
  try {
    join_feed(addresses);
  } catch (const std::runtime_error& problem) {
    return {Verdict::problem, check, reason_of(problem),
            "ss -ulpn 'sport = :" + std::to_string(addresses.feed_port) + "'; sysctl net.ipv4.igmp_max_memberships"};
  }
  return {Verdict::fine, check, endpoint(addresses.group, addresses.feed_port) + " can be joined and listened on", ""};
}

Finding check_probe(const Addresses& addresses) {
  const std::string check = "probe";
  bool came_back = false;
  try {
    Addresses probed = addresses;
    probed.feed_port = 0;  // the system chooses one
    const Socket receiver = join_feed(probed);
    sockaddr_in bound{};
    socklen_t length = sizeof bound;
    getsockname(receiver.descriptor, reinterpret_cast<sockaddr*>(&bound), &length);
    probed.feed_port = ntohs(bound.sin_port);
    const Socket sender = open_feed_sender(probed);
    constexpr int patience_ms = 1000;
    came_back = send_datagram(sender, "probe") && wait_readable({&receiver}, patience_ms);
  } catch (const std::exception&) {
    came_back = false;  // why nothing can be joined is said by another check
  }
  if (!came_back) {
    return {Verdict::problem, check,
            "a packet sent to " + addresses.group + " on " + addresses.interface + " does not come back",
            "nft list ruleset; iptables -L -v -n; sysctl net.ipv4.conf.all.rp_filter"};
  }
  return {Verdict::fine, check, "a packet sent to the group comes back", ""};
}

Finding check_filters() {
  std::istringstream names(read_file("/proc/net/ip_tables_names"));
  std::string tables;
  for (std::string name; names >> name;) tables += " " + name;
  if (tables.empty()) return {Verdict::fine, "filters", "no packet filter tables of the old kind are loaded", ""};
  return {Verdict::note, "filters", "packet filter tables are loaded:" + tables, "iptables -L -v -n"};
}

Finding check_buffer(const Addresses& addresses) {
  constexpr int least = 208 << 10;  // what systems come with
  const std::string check = "buffer";
  const std::string type = larger_buffers();
  int granted = 0;
  try {
    const Socket receiver = join_feed(addresses);
    socklen_t length = sizeof granted;
    getsockopt(receiver.descriptor, SOL_SOCKET, SO_RCVBUF, &granted, &length);
  } catch (const std::runtime_error& problem) {
    return {Verdict::problem, check, reason_of(problem), ""};
  }
  granted /= 2;  // the system reports twice of what it was asked for, for its own bookkeeping
  const std::string says = "a receiver gets " + std::to_string(granted / 1024) + " KB for packets that wait";
  if (granted >= wanted_buffer) return {Verdict::fine, check, says, ""};
  if (granted >= least)
    return {Verdict::note, check, says + "; bursts fit better with " + std::to_string(wanted_buffer >> 10), type};
  return {Verdict::problem, check, says + "; that is too little for a burst", type};
}

Finding check_losses(const Addresses& addresses) {
  // Each socket is a line: number, local address:port (hexadecimal), ..., datagrams dropped.
  std::array<char, 8> port{};
  std::snprintf(port.data(), port.size(), ":%04X", static_cast<unsigned>(addresses.feed_port));
  std::istringstream sockets(read_file("/proc/net/udp"));
  std::uint64_t lost = 0;
  for (std::string line; std::getline(sockets, line);) {
    std::istringstream words(line);
    std::string number;
    std::string local;
    words >> number >> local;
    if (!local.ends_with(port.data())) continue;
    lost += std::strtoull(line.substr(line.find_last_of(' ', line.find_last_not_of(' '))).c_str(), nullptr, 10);
  }
  if (lost == 0) return {Verdict::fine, "losses", "no receiver on this port has lost a datagram", ""};
  return {Verdict::problem, "losses",
          "receivers on port " + std::to_string(addresses.feed_port) + " have lost " + std::to_string(lost) +
              " datagrams: they read too slowly for their buffers; allow larger ones, and let them ask with SO_RCVBUF",
          larger_buffers()};
}

}  // namespace vorbelctl
