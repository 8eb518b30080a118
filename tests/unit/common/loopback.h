// Sockets of a test, all on 127.0.0.1 and on ports that the system picks, so that tests run side by side. Whatever
// waits here waits for a condition and gives up after some seconds.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vorbeld {

// Owns a descriptor; -1: none.
struct Descriptor {
  int value = -1;

  Descriptor() = default;
  explicit Descriptor(int descriptor) : value(descriptor) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  Descriptor(Descriptor&& other) noexcept;
  Descriptor& operator=(Descriptor&& other) noexcept;
  ~Descriptor();
};

// A bound UDP socket and its port.
struct UdpSocket {
  Descriptor descriptor;
  std::uint16_t port = 0;
};

// Opens a UDP socket with room for the bursts that tests send at it. Throws when none can be had.
UdpSocket open_udp();

// The port that a socket is bound to.
std::uint16_t port_of(int descriptor);

// Sends one datagram to a port of 127.0.0.1.
void send_datagram(const UdpSocket& from, std::uint16_t to_port, std::string_view bytes);

// The next datagram, or nothing when none comes within five seconds.
std::optional<std::string> receive_datagram(const UdpSocket& socket);

// All datagrams that had been sent to the socket before the call. None is waited for: the socket sends itself a mark,
// which on this interface arrives behind them.
std::vector<std::string> received_datagrams(const UdpSocket& socket);

// A TCP connection to a port of 127.0.0.1. Throws when it is refused.
Descriptor connect_tcp(std::uint16_t port);

// Sends all of `bytes` over TCP.
void send_bytes(const Descriptor& connection, std::string_view bytes);

// What has come over TCP until `length` bytes are there, the peer has closed or five seconds have passed.
std::string receive_bytes(const Descriptor& connection, std::size_t length);

// True as soon as `condition` holds; false when it does not within the time given.
bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds within = std::chrono::seconds(5));

}  // namespace vorbeld
