#include "tests/unit/common/loopback.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <utility>

namespace vorbeld {
namespace {

constexpr int patience_ms = 5000;
constexpr std::string_view mark = "end of what was sent so far";

sockaddr_in loopback_address(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

bool readable(int descriptor, int within_ms) {
  pollfd waiting{descriptor, POLLIN, 0};
  return poll(&waiting, 1, within_ms) == 1;
}

}  // namespace

Descriptor::Descriptor(Descriptor&& other) noexcept : value(std::exchange(other.value, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  std::swap(value, other.value);
  return *this;
}

Descriptor::~Descriptor() {
  if (value >= 0) close(value);
}

UdpSocket open_udp() {
  constexpr int receive_buffer = 1 << 22;
  UdpSocket opened{Descriptor(socket(AF_INET, SOCK_DGRAM, 0))};
  const sockaddr_in address = loopback_address(0);
  setsockopt(opened.descriptor.value, SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof receive_buffer);
  if (bind(opened.descriptor.value, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    throw std::runtime_error("no UDP port");
  }
  opened.port = port_of(opened.descriptor.value);
  return opened;
}

std::uint16_t port_of(int descriptor) {
  sockaddr_in address{};
  socklen_t length = sizeof address;
  getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &length);
  return ntohs(address.sin_port);
}

void send_datagram(const UdpSocket& from, std::uint16_t to_port, std::string_view bytes) {
  const sockaddr_in to = loopback_address(to_port);
  const ssize_t sent =
      sendto(from.descriptor.value, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
  if (sent != static_cast<ssize_t>(bytes.size())) throw std::runtime_error("datagram not sent");
}

std::optional<std::string> receive_datagram(const UdpSocket& socket) {
  std::array<char, 65536> bytes;
  if (!readable(socket.descriptor.value, patience_ms)) return std::nullopt;
  const ssize_t length = recv(socket.descriptor.value, bytes.data(), bytes.size(), 0);
  if (length < 0) return std::nullopt;
  return std::string(bytes.data(), static_cast<std::size_t>(length));
}

std::vector<std::string> received_datagrams(const UdpSocket& socket) {
  send_datagram(socket, socket.port, mark);
  std::vector<std::string> datagrams;
  for (;;) {
    std::optional<std::string> datagram = receive_datagram(socket);
    if (!datagram) throw std::runtime_error("datagrams were lost");
    if (*datagram == mark) return datagrams;
    datagrams.push_back(std::move(*datagram));
  }
}

Descriptor connect_tcp(std::uint16_t port) {
  Descriptor connection(socket(AF_INET, SOCK_STREAM, 0));
  const sockaddr_in to = loopback_address(port);
  if (connect(connection.value, reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0) {
    throw std::runtime_error("connection refused");
  }
  return connection;
}

void send_bytes(const Descriptor& connection, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(connection.value, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) throw std::runtime_error("bytes not sent");
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

std::string receive_bytes(const Descriptor& connection, std::size_t length) {
  std::string bytes;
  std::array<char, 4096> buffer;
  while (bytes.size() < length && readable(connection.value, patience_ms)) {
    const ssize_t received = recv(connection.value, buffer.data(), buffer.size(), 0);
    if (received <= 0) break;
    bytes.append(buffer.data(), static_cast<std::size_t>(received));
  }
  return bytes;
}

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds within) {
  const auto give_up = std::chrono::steady_clock::now() + within;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= give_up) return false;
    poll(nullptr, 0, 1);
  }
  return true;
}

}  // namespace vorbeld
