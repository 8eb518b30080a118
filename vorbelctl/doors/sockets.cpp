#include "vorbelctl/doors/sockets.h"

#include <arpa/inet.h>
#include <fmt/core.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <utility>

#include "btds/message_table.h"
#include "feed/mold_packet.h"

namespace vorbelctl {
namespace {

[[noreturn]] void fail(const std::string& what, const std::string& advice) {
  throw DoorError(fmt::format("{}: {}", what, std::strerror(errno)), advice);
}

in_addr parse_address(const std::string& text) {
  return {htonl(ipv4_number(text))};
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
  if (opened.number < 0) fail("cannot open a socket", "close other programs or raise the limit with ulimit -n");
  return opened;
}

template <class Option>
bool set_option(const Socket& socket, int level, int name, const Option& value) {
  return setsockopt(socket.number, level, name, &value, sizeof value) == 0;
}

// A refusal only means that less is granted; how much was is asked for where it matters.
void enlarge_buffer(const Socket& socket) {
  if (set_option(socket, SOL_SOCKET, SO_RCVBUFFORCE, wanted_buffer)) return;
  set_option(socket, SOL_SOCKET, SO_RCVBUF, wanted_buffer);
}

Socket open_towards(const std::string& host, std::uint16_t port, const std::string& door) {
  Socket socket = open_socket(SOCK_DGRAM);
  enlarge_buffer(socket);
  set_option(socket, SOL_SOCKET, SO_TIMESTAMPNS, 1);
  const sockaddr_in address = make_address(host, port);
  if (connect(socket.number, as_any(address), sizeof address) != 0) {
    fail(fmt::format("cannot reach the {} port {}", door, endpoint(host, port)),
         "check the address and the route to it");
  }
  return socket;
}

std::uint64_t nanoseconds_of(const timespec& time) {
  return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000 + static_cast<std::uint64_t>(time.tv_nsec);
}

constexpr std::size_t largest_datagram = 65535;

// Room for what the system says beside a datagram.
struct Extras {
  alignas(cmsghdr) char bytes[CMSG_SPACE(sizeof(timespec))];
};

// By the system's word; where it has none, now.
std::uint64_t time_of_arrival(msghdr& message) {
  timespec time{};
  for (cmsghdr* extra = CMSG_FIRSTHDR(&message); extra != nullptr; extra = CMSG_NXTHDR(&message, extra)) {
    if (extra->cmsg_level != SOL_SOCKET || extra->cmsg_type != SCM_TIMESTAMPNS) continue;
    std::memcpy(&time, CMSG_DATA(extra), sizeof time);
    return nanoseconds_of(time);
  }
  clock_gettime(CLOCK_REALTIME, &time);
  return nanoseconds_of(time);
}

// Waits for a connection under way; returns 0 or the error number that it ended with.
int finish_connecting(const Socket& socket, int timeout_ms) {
  pollfd waiting{socket.number, POLLOUT, 0};
  if (poll(&waiting, 1, timeout_ms) <= 0) return ETIMEDOUT;
  int error = 0;
  socklen_t length = sizeof error;
  getsockopt(socket.number, SOL_SOCKET, SO_ERROR, &error, &length);
  return error;
}

}  // namespace

DoorError::DoorError(const std::string& why, std::string what_to_do)
    : std::runtime_error(why), advice(std::move(what_to_do)) {}

SenderId make_sender(std::uint32_t address, std::uint16_t port) {
  return std::uint64_t{address} << 16U | port;
}

SenderId socket_at(const std::string& host, std::uint16_t port) {
  return make_sender(ipv4_number(host), port);
}

std::string sender_text(SenderId sender) {
  if (sender == 0) return "";
  const in_addr address{htonl(static_cast<std::uint32_t>(sender >> 16U))};
  std::array<char, INET_ADDRSTRLEN> text{};
  inet_ntop(AF_INET, &address, text.data(), text.size());
  return endpoint(text.data(), static_cast<std::uint16_t>(sender & 0xFFFFU));
}

Descriptor::Descriptor(Descriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  std::swap(number, other.number);
  return *this;
}

Descriptor::~Descriptor() {
  if (number >= 0) close(number);
}

Socket join_feed(const Addresses& addresses) {
  Socket socket = open_socket(SOCK_DGRAM);
  set_option(socket, SOL_SOCKET, SO_REUSEADDR, 1);
  set_option(socket, SOL_SOCKET, SO_TIMESTAMPNS, 1);
  enlarge_buffer(socket);
  const std::string where = endpoint(addresses.group, addresses.feed_port);
  // Bound to the group and not to all addresses: other groups on the same port stay out.
  const sockaddr_in address = make_address(addresses.group, addresses.feed_port);
  // Joined first, so that whoever sees the port in use can begin to send.
  const ip_mreq membership{address.sin_addr, parse_address(addresses.interface)};
  if (!set_option(socket, IPPROTO_IP, IP_ADD_MEMBERSHIP, membership)) {
    fail(fmt::format("cannot join the feed {} on the interface {}", where, addresses.interface),
         fmt::format("try: vorbelctl doctor --mcast {} --iface {}", addresses.group, addresses.interface));
  }
  if (bind(socket.number, as_any(address), sizeof address) != 0) {
    fail("cannot listen on the feed " + where,
         fmt::format("see who has it with: ss -ulpn 'sport = :{}'", addresses.feed_port));
  }
  return socket;
}

Socket open_feed_sender(const Addresses& addresses, std::uint8_t hops) {
  Socket socket = open_socket(SOCK_DGRAM);
  const unsigned char on = 1;
  const sockaddr_in group = make_address(addresses.group, addresses.feed_port);
  if (!set_option(socket, IPPROTO_IP, IP_MULTICAST_IF, parse_address(addresses.interface)) ||
      !set_option(socket, IPPROTO_IP, IP_MULTICAST_LOOP, on) ||
      !set_option(socket, IPPROTO_IP, IP_MULTICAST_TTL, hops) ||
      connect(socket.number, as_any(group), sizeof group) != 0) {
    fail(fmt::format("there is no way to {} from {}", addresses.group, addresses.interface),
         "check the route to multicast groups with: ip route");
  }
  return socket;
}

Socket open_answers(const Addresses& addresses) {
  Socket socket = open_socket(SOCK_DGRAM);
  enlarge_buffer(socket);
  const sockaddr_in address = make_address(addresses.host, addresses.retrans_port);
  if (bind(socket.number, as_any(address), sizeof address) != 0) {
    fail(fmt::format("cannot answer on the retransmission port {}", endpoint(addresses.host, addresses.retrans_port)),
         fmt::format("--host must be an address of this machine; see who has the port with: ss -ulpn 'sport = :{}'",
                     addresses.retrans_port));
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
  int error = connect(socket.number, as_any(address), sizeof address) == 0 ? 0 : errno;
  if (error == EINPROGRESS) error = finish_connecting(socket, timeout_ms);
  if (error != 0) {
    errno = error;
    fail(fmt::format("cannot connect to the report port {}", endpoint(addresses.host, addresses.report_port)),
         "is the bench running, with this --report-port?");
  }
  set_option(socket, IPPROTO_TCP, TCP_NODELAY, 1);
  return socket;
}

std::uint64_t granted_buffer(const Socket& socket) {
  int granted = 0;
  socklen_t length = sizeof granted;
  getsockopt(socket.number, SOL_SOCKET, SO_RCVBUF, &granted, &length);
  return static_cast<std::uint64_t>(granted);
}

std::uint16_t messages_per_request(const Socket& socket) {
  const auto granted = static_cast<int>(granted_buffer(socket));
  // Beside its bytes a packet is charged for its bookkeeping: 2.3 KB for a full one where it was measured.
  constexpr int charged_per_packet = 4096;
  constexpr std::size_t longest_block = vorbeld::layout::correction.length + vorbeld::mold::block_prefix;
  constexpr int per_packet = (vorbeld::mold::largest_packet - vorbeld::mold::header_length) / longest_block;
  return static_cast<std::uint16_t>(std::clamp(granted / charged_per_packet * per_packet, 16, 65535));
}

bool send_datagram(const Socket& socket, std::string_view bytes) {
  return send(socket.number, bytes.data(), bytes.size(), MSG_NOSIGNAL) >= 0;
}

void send_whole(const Socket& socket, std::string_view bytes) {
  while (!send_datagram(socket, bytes)) {
    const bool is_full = errno == EAGAIN;
    if (!is_full && errno != ENOBUFS && errno != EINTR) {
      fail("the system refuses a packet to the feed", "look for what stands in the way with: vorbelctl doctor");
    }
    // A queue behind the socket does not tell when it has room again.
    pollfd waiting{is_full ? socket.number : -1, POLLOUT, 0};
    poll(&waiting, 1, is_full ? 100 : 1);
  }
}

bool answer_datagram(const Socket& socket, SenderId to, std::string_view bytes) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(to & 0xFFFFU));
  address.sin_addr.s_addr = htonl(static_cast<std::uint32_t>(to >> 16U));
  return sendto(socket.number, bytes.data(), bytes.size(), MSG_NOSIGNAL, as_any(address), sizeof address) >= 0;
}

Arrival take_datagrams(const Socket& socket, Batch& batch, std::vector<Datagram>& taken) {
  if (!batch.room) batch.room = std::make_unique_for_overwrite<char[]>(Batch::most * largest_datagram);
  std::array<sockaddr_in, Batch::most> senders;
  std::array<iovec, Batch::most> places;
  std::array<Extras, Batch::most> extras;
  std::array<mmsghdr, Batch::most> messages{};
  for (std::size_t i = 0; i < Batch::most; ++i) {
    places[i] = {batch.room.get() + i * largest_datagram, largest_datagram};
    messages[i].msg_hdr = {&senders[i], sizeof senders[i], &places[i], 1, extras[i].bytes, sizeof extras[i].bytes, 0};
  }
  taken.clear();
  const int count = recvmmsg(socket.number, messages.data(), messages.size(), 0, nullptr);
  if (count < 0) return errno == ECONNREFUSED ? Arrival::refused : Arrival::nothing;
  for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
    const SenderId sender = make_sender(ntohl(senders[i].sin_addr.s_addr), ntohs(senders[i].sin_port));
    taken.push_back({{static_cast<const char*>(places[i].iov_base), messages[i].msg_len},
                     {sender, time_of_arrival(messages[i].msg_hdr)}});
  }
  return Arrival::datagram;
}

std::uint64_t dropped_at(const Socket& socket) {
  std::array<std::uint32_t, SK_MEMINFO_VARS> figures{};
  socklen_t length = sizeof figures;
  const bool told = getsockopt(socket.number, SOL_SOCKET, SO_MEMINFO, figures.data(), &length) == 0;
  return told ? figures[SK_MEMINFO_DROPS] : 0;
}

Arrival take_datagram(const Socket& socket, std::string& buffer) {
  Receipt receipt;
  return take_datagram(socket, buffer, receipt);
}

Arrival take_datagram(const Socket& socket, std::string& buffer, Receipt& receipt) {
  buffer.resize(largest_datagram);
  sockaddr_in from{};
  iovec bytes{buffer.data(), buffer.size()};
  Extras extras;
  msghdr message{};
  message.msg_name = &from;
  message.msg_namelen = sizeof from;
  message.msg_iov = &bytes;
  message.msg_iovlen = 1;
  message.msg_control = extras.bytes;
  message.msg_controllen = sizeof extras.bytes;
  const ssize_t length = recvmsg(socket.number, &message, 0);
  buffer.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
  if (length < 0) return errno == ECONNREFUSED ? Arrival::refused : Arrival::nothing;
  receipt = {make_sender(ntohl(from.sin_addr.s_addr), ntohs(from.sin_port)), time_of_arrival(message)};
  return Arrival::datagram;
}

SenderId own_address(const Socket& socket) {
  sockaddr_in own{};
  socklen_t length = sizeof own;
  getsockname(socket.number, reinterpret_cast<sockaddr*>(&own), &length);
  return make_sender(ntohl(own.sin_addr.s_addr), ntohs(own.sin_port));
}

bool wait_readable(const std::vector<const Socket*>& sockets, int timeout_ms) {
  return wait_readable_for(sockets, std::chrono::milliseconds(timeout_ms));
}

bool wait_readable_for(const std::vector<const Socket*>& sockets, std::chrono::nanoseconds timeout) {
  std::vector<pollfd> waiting;
  for (const Socket* socket : sockets) {
    if (socket->number >= 0) waiting.push_back({socket->number, POLLIN, 0});
  }
  const auto whole = std::chrono::duration_cast<std::chrono::seconds>(timeout);
  const timespec wait{whole.count(), (timeout - whole).count()};
  return ppoll(waiting.data(), waiting.size(), &wait, nullptr) > 0;
}

}  // namespace vorbelctl
