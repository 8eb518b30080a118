#include "vorbelctl/handler/sockets.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "btds/layout.h"
#include "common/clocks.h"
#include "feed/mold_packet.h"

namespace vorbelctl {
namespace {

[[noreturn]] void fail(const std::string& what, const std::string& advice) {
  throw std::runtime_error(what + ": " + std::strerror(errno) + "; " + advice);
}

in_addr parse_address(const std::string& text) {
  in_addr address{};
  if (inet_pton(AF_INET, text.c_str(), &address) != 1) {
    throw std::invalid_argument("\"" + text + "\" is no IPv4 address; give four numbers such as 127.0.0.1");
  }
  return address;
}

sockaddr_in make_address(const std::string& host, std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr = parse_address(host);
  return address;
}

// The system's calls take every family's address through one type.
const sockaddr* as_any(const sockaddr_in& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

Socket open_socket(int type) {
  Socket opened(socket(AF_INET, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (opened.descriptor < 0) fail("cannot open a socket", "close other programs or raise the limit with ulimit -n");
  return opened;
}

template <class Option>
bool set_option(const Socket& socket, int level, int name, const Option& value) {
  return setsockopt(socket.descriptor, level, name, &value, sizeof value) == 0;
}

// A refusal only means that less is granted; how much was is asked for where it matters.
void enlarge_buffer(const Socket& socket) {
  if (set_option(socket, SOL_SOCKET, SO_RCVBUFFORCE, wanted_buffer)) return;
  set_option(socket, SOL_SOCKET, SO_RCVBUF, wanted_buffer);
}

Socket open_towards(const std::string& host, std::uint16_t port, const std::string& door) {
  Socket socket = open_socket(SOCK_DGRAM);
  enlarge_buffer(socket);
  const sockaddr_in address = make_address(host, port);
  if (connect(socket.descriptor, as_any(address), sizeof address) != 0) {
    fail("cannot reach the " + door + " port " + endpoint(host, port), "check the address and the route to it");
  }
  return socket;
}

// Waits for a connection under way; returns 0 or the error number that it ended with.
int finish_connecting(const Socket& socket, int timeout_ms) {
  pollfd waiting{socket.descriptor, POLLOUT, 0};
  if (poll(&waiting, 1, timeout_ms) <= 0) return ETIMEDOUT;
  int error = 0;
  socklen_t length = sizeof error;
  getsockopt(socket.descriptor, SOL_SOCKET, SO_ERROR, &error, &length);
  return error;
}

}  // namespace

Socket::Socket(Socket&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}

Socket& Socket::operator=(Socket&& other) noexcept {
  std::swap(descriptor, other.descriptor);
  return *this;
}

Socket::~Socket() {
  if (descriptor >= 0) close(descriptor);
}

std::string endpoint(const std::string& host, std::uint16_t port) {
  return host + ":" + std::to_string(port);
}

std::uint32_t ipv4_number(const std::string& text) {
  return ntohl(parse_address(text).s_addr);
}

Socket join_feed(const Addresses& addresses) {
  Socket socket = open_socket(SOCK_DGRAM);
  set_option(socket, SOL_SOCKET, SO_REUSEADDR, 1);
  enlarge_buffer(socket);
  const std::string where = endpoint(addresses.group, addresses.feed_port);
  // Bound to the group and not to all addresses: other groups on the same port stay out.
  const sockaddr_in address = make_address(addresses.group, addresses.feed_port);
  // Joined first, so that whoever sees the port in use can begin to send.
  const ip_mreq membership{address.sin_addr, parse_address(addresses.interface)};
  if (!set_option(socket, IPPROTO_IP, IP_ADD_MEMBERSHIP, membership)) {
    fail("cannot join the feed " + where + " on the interface " + addresses.interface,
         "try: vorbelctl doctor --mcast " + addresses.group + " --iface " + addresses.interface);
  }
  if (bind(socket.descriptor, as_any(address), sizeof address) != 0) {
    fail("cannot listen on the feed " + where,
         "see who has it with: ss -ulpn 'sport = :" + std::to_string(addresses.feed_port) + "'");
  }
  return socket;
}

Socket open_feed_sender(const Addresses& addresses) {
  Socket socket = open_socket(SOCK_DGRAM);
  const unsigned char on = 1;
  const unsigned char hops = 0;
  const sockaddr_in group = make_address(addresses.group, addresses.feed_port);
  if (!set_option(socket, IPPROTO_IP, IP_MULTICAST_IF, parse_address(addresses.interface)) ||
      !set_option(socket, IPPROTO_IP, IP_MULTICAST_LOOP, on) ||
      !set_option(socket, IPPROTO_IP, IP_MULTICAST_TTL, hops) ||
      connect(socket.descriptor, as_any(group), sizeof group) != 0) {
    fail("there is no way to " + addresses.group + " from " + addresses.interface,
         "check the route to multicast groups with: ip route");
  }
  return socket;
}

Socket open_requests(const Addresses& addresses) {
  return open_towards(addresses.host, addresses.retrans_port, "retransmission");
}

Socket open_control(const Addresses& addresses) {
  return open_towards("127.0.0.1", addresses.control_port, "control");
}

Socket open_reports(const Addresses& addresses, int timeout_ms) {
  Socket socket = open_socket(SOCK_STREAM);
  const sockaddr_in address = make_address(addresses.host, addresses.report_port);
  int error = connect(socket.descriptor, as_any(address), sizeof address) == 0 ? 0 : errno;
  if (error == EINPROGRESS) error = finish_connecting(socket, timeout_ms);
  if (error != 0) {
    errno = error;
    fail("cannot connect to the report port " + endpoint(addresses.host, addresses.report_port),
         "is the bench running, with this --report-port?");
  }
  set_option(socket, IPPROTO_TCP, TCP_NODELAY, 1);
  return socket;
}

std::uint16_t messages_per_request(const Socket& socket) {
  int granted = 0;
  socklen_t length = sizeof granted;
  getsockopt(socket.descriptor, SOL_SOCKET, SO_RCVBUF, &granted, &length);
  // Beside its bytes a packet is charged for its bookkeeping: 2.3 KB for a full one where it was measured.
  constexpr int charged_per_packet = 4096;
  constexpr std::size_t longest_block = vorbeld::layout::correction::length + vorbeld::mold::block_prefix;
  constexpr int per_packet = (vorbeld::mold::largest_packet - vorbeld::mold::header_length) / longest_block;
  return static_cast<std::uint16_t>(std::clamp(granted / charged_per_packet * per_packet, 16, 65535));
}

bool send_datagram(const Socket& socket, std::string_view bytes) {
  return send(socket.descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL) >= 0;
}

Arrival take_datagram(const Socket& socket, std::string& buffer) {
  constexpr std::size_t largest_datagram = 65535;
  buffer.resize(largest_datagram);
  const ssize_t length = recv(socket.descriptor, buffer.data(), buffer.size(), 0);
  buffer.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
  if (length >= 0) return Arrival::datagram;
  return errno == ECONNREFUSED ? Arrival::refused : Arrival::nothing;
}

bool wait_readable(const std::vector<const Socket*>& sockets, int timeout_ms) {
  std::vector<pollfd> waiting;
  for (const Socket* socket : sockets) {
    if (socket->descriptor >= 0) waiting.push_back({socket->descriptor, POLLIN, 0});
  }
  return poll(waiting.data(), waiting.size(), timeout_ms) > 0;
}

std::optional<std::string> ask_control(const Socket& socket, std::string_view command, int timeout_ms, bool& refused) {
  refused = !send_datagram(socket, command);
  const std::uint64_t until_ms = vorbeld::monotonic_ms() + static_cast<std::uint64_t>(timeout_ms);
  std::string reply;
  while (!refused) {
    const Arrival arrival = take_datagram(socket, reply);
    if (arrival == Arrival::datagram) {
      if (!reply.empty() && reply.back() == '\n') reply.pop_back();
      return reply;
    }
    refused = arrival == Arrival::refused;
    const std::uint64_t now_ms = vorbeld::monotonic_ms();
    if (now_ms >= until_ms) break;
    wait_readable({&socket}, static_cast<int>(until_ms - now_ms));
  }
  return {};
}

}  // namespace vorbelctl
