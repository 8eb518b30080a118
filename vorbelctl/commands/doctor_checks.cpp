#include "vorbelctl/commands/doctor_checks.h"

#include <arpa/inet.h>
#include <fmt/core.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <vector>

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

std::string device_name(const Addresses& addresses) {
  for (const Interface& interface : list_interfaces()) {
    if (interface.address == addresses.interface) return interface.name;
  }
  return "lo";
}

std::string larger_buffers() {
  return fmt::format("sysctl -w net.core.rmem_max={}", wanted_buffer);
}

std::string read_file(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

Finding check_interface(const Addresses& addresses) {
  const std::string check = "interface";
  std::string others;
  for (const Interface& interface : list_interfaces()) {
    others += fmt::format("{}{} {}", others.empty() ? "" : ", ", interface.name, interface.address);
    if (interface.address != addresses.interface) continue;
    const std::string who = fmt::format("{} with {}", interface.name, interface.address);
    if ((interface.flags & IFF_UP) == 0) {
      return {Verdict::problem, check, who + " is down", fmt::format("ip link set {} up", interface.name)};
    }
    if ((interface.flags & IFF_LOOPBACK) != 0) return {Verdict::fine, check, who + " is up (this machine only)", ""};
    if ((interface.flags & IFF_MULTICAST) == 0) {
      return {Verdict::problem, check, who + " does not take multicast",
              fmt::format("ip link set {} multicast on", interface.name)};
    }
    return {Verdict::fine, check, who + " is up and takes multicast", ""};
  }
  return {Verdict::problem, check,
          fmt::format("no interface has the address {}; there are: {}", addresses.interface,
                      others.empty() ? "none that is up" : others + "; choose one with --iface"),
          others.empty() ? "ip link set lo up" : "ip -brief address"};
}

Finding check_route(const Addresses& addresses) {
  const std::string check = "route";
  try {
    open_feed_sender(addresses);
  } catch (const DoorError& problem) {
    return {Verdict::problem, check, problem.what(),
            fmt::format("ip route add 224.0.0.0/4 dev {}", device_name(addresses))};
  }
  return {Verdict::fine, check, fmt::format("{} can be reached from {}", addresses.group, addresses.interface), ""};
}

Finding check_membership(const Addresses& addresses) {
  const std::string check = "membership";
  try {
    join_feed(addresses);
  } catch (const DoorError& problem) {
    return {Verdict::problem, check, problem.what(),
            fmt::format("ss -ulpn 'sport = :{}'; sysctl net.ipv4.igmp_max_memberships", addresses.feed_port)};
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
    getsockname(receiver.number, reinterpret_cast<sockaddr*>(&bound), &length);
    probed.feed_port = ntohs(bound.sin_port);
    const Socket sender = open_feed_sender(probed);
    constexpr int patience_ms = 1000;
    came_back = send_datagram(sender, "probe") && wait_readable({&receiver}, patience_ms);
  } catch (const DoorError&) {
    came_back = false;  // another check says why nothing can be joined
  }
  if (!came_back) {
    return {Verdict::problem, check,
            fmt::format("a packet sent to {} on {} does not come back", addresses.group, addresses.interface),
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
    getsockopt(receiver.number, SOL_SOCKET, SO_RCVBUF, &granted, &length);
  } catch (const DoorError& problem) {
    return {Verdict::problem, check, problem.what(), ""};
  }
  granted /= 2;  // the system reports twice what it was asked for, and uses the rest for its own bookkeeping
  const std::string says = fmt::format("a receiver gets {} KB for packets that wait", granted / 1024);
  if (granted >= wanted_buffer) return {Verdict::fine, check, says, ""};
  if (granted >= least) {
    return {Verdict::note, check, fmt::format("{}; bursts fit better with {}", says, wanted_buffer >> 10), type};
  }
  return {Verdict::problem, check, says + "; that is too little for a burst", type};
}

Finding check_losses(const Addresses& addresses) {
  // Each socket is a line: number, local address:port (hexadecimal), ..., datagrams dropped.
  const std::string port = fmt::format(":{:04X}", addresses.feed_port);
  std::istringstream sockets(read_file("/proc/net/udp"));
  std::uint64_t lost = 0;
  for (std::string line; std::getline(sockets, line);) {
    std::istringstream words(line);
    std::string number;
    std::string local;
    words >> number >> local;
    if (!local.ends_with(port)) continue;
    lost += std::strtoull(line.substr(line.find_last_of(' ', line.find_last_not_of(' '))).c_str(), nullptr, 10);
  }
  if (lost == 0) return {Verdict::fine, "losses", "no receiver on this port has lost a datagram", ""};
  return {
      Verdict::problem, "losses",
      fmt::format("receivers on port {} have lost {} datagrams: they read too slowly for their buffers; allow larger "
                  "ones, and let them ask with SO_RCVBUF",
                  addresses.feed_port, lost),
      larger_buffers()};
}

}  // namespace vorbelctl
