#include "vorbelctl/commands/doctor_checks.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <exception>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>

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

sockaddr_in make_address(const std::string& host, std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  inet_pton(AF_INET, host.c_str(), &address.sin_addr);
  return address;
}

const sockaddr* as_any(const sockaddr_in& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

bool is_multicast(const std::string& group) {
  in_addr address{};
  return inet_pton(AF_INET, group.c_str(), &address) == 1 && IN_MULTICAST(ntohl(address.s_addr));
}

// Sends where the bench on this machine would: out of the interface, looped back, not beyond the machine.
Socket open_sender(const Addresses& addresses, std::uint16_t port) {
  Socket sender(socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  const in_addr interface = make_address(addresses.interface, 0).sin_addr;
  const unsigned char on = 1;
  const unsigned char hops = 0;
  setsockopt(sender.descriptor, IPPROTO_IP, IP_MULTICAST_IF, &interface, sizeof interface);
  setsockopt(sender.descriptor, IPPROTO_IP, IP_MULTICAST_LOOP, &on, sizeof on);
  setsockopt(sender.descriptor, IPPROTO_IP, IP_MULTICAST_TTL, &hops, sizeof hops);
  const sockaddr_in group = make_address(addresses.group, port);
  if (connect(sender.descriptor, as_any(group), sizeof group) != 0) return {};
  return sender;
}

std::string device_name(const Addresses& addresses) {
  for (const Interface& interface : list_interfaces()) {
    if (interface.address == addresses.interface) return interface.name;
  }
  return "lo";
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
              "; there are: " + (others.empty() ? "none that is up" : others),
          others.empty() ? "ip link set lo up" : "ip -brief address; then choose one with --iface"};
}

Finding check_route(const Addresses& addresses) {
  const std::string check = "route";
  if (!is_multicast(addresses.group)) {
    return {Verdict::problem, check,
            addresses.group + " is no multicast group; those lie in 224.0.0.0 to 239.255.255.255",
            "choose the bench's group with --mcast"};
  }
  if (open_sender(addresses, addresses.feed_port).descriptor < 0) {
    return {Verdict::problem, check,
            "there is no way to " + addresses.group + " from " + addresses.interface + ": " + std::strerror(errno),
            "ip route add 224.0.0.0/4 dev " + device_name(addresses)};
  }
  return {Verdict::fine, check, addresses.group + " can be reached from " + addresses.interface, ""};
}

Finding check_membership(const Addresses& addresses) {
  const std::string check = "membership";
  try {
    join_feed(addresses);
  } catch (const std::exception& problem) {
    return {Verdict::problem, check, problem.what(),
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
    const Socket sender = open_sender(addresses, ntohs(bound.sin_port));
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
  constexpr int wanted = 4 << 20;
  constexpr int least = 208 << 10;  // what systems come with
  const std::string check = "buffer";
  const std::string type = "sysctl -w net.core.rmem_max=" + std::to_string(wanted);
  int granted = 0;
  try {
    const Socket receiver = join_feed(addresses);
    socklen_t length = sizeof granted;
    getsockopt(receiver.descriptor, SOL_SOCKET, SO_RCVBUF, &granted, &length);
  } catch (const std::exception& problem) {
    return {Verdict::problem, check, problem.what(), ""};
  }
  granted /= 2;  // the system reports twice of what it was asked for, for its own bookkeeping
  const std::string says = "a receiver gets " + std::to_string(granted / 1024) + " KB for packets that wait";
  if (granted >= wanted) return {Verdict::fine, check, says, ""};
  if (granted >= least)
    return {Verdict::note, check, says + "; bursts fit better with " + std::to_string(wanted >> 10), type};
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
              " datagrams: they read too slowly for their buffers",
          "sysctl -w net.core.rmem_max=4194304; then let the receiver ask for it with SO_RCVBUF"};
}

}  // namespace vorbelctl
