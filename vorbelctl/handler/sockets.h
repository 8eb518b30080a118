// The doors of a bench as sockets: the feed's group, the retransmission port, the control port and the report port.
// Every descriptor is non-blocking and owned by its record. What goes wrong when opening is thrown as a
// std::runtime_error (an address that is none: std::invalid_argument) whose text says what was tried, on which address,
// and what to do; nobody above this file sees an error number.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vorbelctl {

// Owns the descriptor and closes it. -1: none.
struct Socket {
  int descriptor = -1;

  Socket() = default;
  explicit Socket(int opened) : descriptor(opened) {}
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  Socket(Socket&& other) noexcept;
  Socket& operator=(Socket&& other) noexcept;
  ~Socket();
};

// Where a bench is; the defaults are the daemon's own, with the control port that the start script opens.
struct Addresses {
  std::string group = "233.54.19.111";
  std::uint16_t feed_port = 28977;
  std::string interface = "127.0.0.1";  // address of the local interface that the feed comes in on
  std::string session = "BTDS000001";
  std::string host = "127.0.0.1";  // of the report and retransmission ports; the control port is on 127.0.0.1 always
  std::uint16_t report_port = 28978;
  std::uint16_t retrans_port = 28979;  // 0: there is none
  std::uint16_t control_port = 28980;  // 0: there is none
};

// "address:port", as it stands in messages.
std::string endpoint(const std::string& host, std::uint16_t port);

// The four numbers of an IPv4 address as one, the first in the highest byte. Throws std::invalid_argument.
std::uint32_t ipv4_number(const std::string& text);

// What a receive buffer is made as large as, where the system allows it.
inline constexpr int wanted_buffer = 4 << 20;

// Joins the group on the interface and listens on the feed port beside whoever else does, with a large buffer.
Socket join_feed(const Addresses& addresses);

// Sends to the feed's group and port as a bench on this machine does: out of the interface, looped back; what is sent
// does not leave the machine.
Socket open_feed_sender(const Addresses& addresses);

// An unbound socket that sends to the retransmission port and takes answers from there alone.
Socket open_requests(const Addresses& addresses);

// The same for the control port.
Socket open_control(const Addresses& addresses);

// Connects to the report port within `timeout_ms`.
Socket open_reports(const Addresses& addresses, int timeout_ms);

// Messages whose retransmission the socket's receive buffer holds even when they are the longest and nobody reads
// meanwhile; at least 16.
std::uint16_t messages_per_request(const Socket& socket);

// Sends one datagram; false when the system refused, which on a connected socket tells of a port that is closed.
bool send_datagram(const Socket& socket, std::string_view bytes);

enum class Arrival : std::uint8_t {
  datagram,
  nothing,
  refused  // the other end says that its port is closed
};

// Takes the next waiting datagram into `buffer` (resized to it; up to 65535 bytes).
Arrival take_datagram(const Socket& socket, std::string& buffer);

// Waits until one of the sockets can be read or `timeout_ms` have passed; a signal ends the wait early. Returns whether
// one can be read. Sockets of -1 are skipped.
bool wait_readable(const std::vector<const Socket*>& sockets, int timeout_ms);

// Sends one control command and waits for its reply, without the line feed. Empty when nobody answered in time; then
// `refused` says whether the port is closed. Commands are sent once: most of them must not be repeated.
std::optional<std::string> ask_control(const Socket& socket, std::string_view command, int timeout_ms, bool& refused);

}  // namespace vorbelctl
