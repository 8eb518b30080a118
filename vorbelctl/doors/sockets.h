// The doors of a bench as sockets: the feed's group, the retransmission port, the control port and the report port.
// Every socket is non-blocking. What goes wrong when opening is thrown as a DoorError (an address that does not read:
// std::invalid_argument); nobody above this file sees an error number.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "vorbelctl/doors/addresses.h"

namespace vorbelctl {

// A door of the bench that cannot be opened: what() says what was tried, on which address, and why it failed.
struct DoorError : std::runtime_error {
  std::string advice;  // what to do about it

  DoorError(const std::string& why, std::string what_to_do);
};

// Owns a descriptor, be it of a socket, a file or a pipe, and closes it. -1: none.
struct Descriptor {
  int number = -1;

  Descriptor() = default;
  explicit Descriptor(int opened) : number(opened) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  Descriptor(Descriptor&& other) noexcept;
  Descriptor& operator=(Descriptor&& other) noexcept;
  ~Descriptor();
};

using Socket = Descriptor;

// Where a datagram came from, as one number: address and port. Unequal ones are different sockets; 0: not known.
using SenderId = std::uint64_t;

SenderId make_sender(std::uint32_t address, std::uint16_t port);  // both in host order

// "address:port"; empty where it is not known.
std::string sender_text(SenderId sender);

// The other way round, from an address as text, which must be one.
SenderId socket_at(const std::string& host, std::uint16_t port);

// What a receive buffer is made as large as, where the system allows it.
inline constexpr int wanted_buffer = 4 << 20;

// Joins the group on the interface and listens on the feed port beside whoever else does, with a large buffer.
Socket join_feed(const Addresses& addresses);

// Sends to the feed's group and port as a bench on this machine does: out of the interface, looped back. `hops`: over
// how many networks it goes; 0: it does not leave the machine, 1: as a bench's packets do.
Socket open_feed_sender(const Addresses& addresses, std::uint8_t hops = 0);

// Takes retransmission requests in place of a bench.
Socket open_answers(const Addresses& addresses);

// An unbound socket that sends to the retransmission port and takes answers from there alone.
Socket open_requests(const Addresses& addresses);

// The same for the control port.
Socket open_control(const Addresses& addresses);

// Connects to the report port within `timeout_ms`.
Socket open_reports(const Addresses& addresses, int timeout_ms);

// Bytes that the socket's receive buffer holds, the bookkeeping of packets included.
std::uint64_t granted_buffer(const Socket& socket);

// Messages whose retransmission the socket's receive buffer holds even when they are the longest and nobody reads
// meanwhile; at least 16.
std::uint16_t messages_per_request(const Socket& socket);

// Sends one datagram; false when the system refused, which on a connected socket tells of a port that is closed.
bool send_datagram(const Socket& socket, std::string_view bytes);

// Sends one datagram, however long the system takes to take it. Throws a DoorError when it refuses.
void send_whole(const Socket& socket, std::string_view bytes);

// Sends one datagram over a socket that is not connected; false as above.
bool answer_datagram(const Socket& socket, SenderId to, std::string_view bytes);

enum class Arrival : std::uint8_t {
  datagram,
  nothing,
  refused  // the other end says that its port is closed
};

// Of a datagram: who sent it, and when the system took it in, by the wall clock.
struct Receipt {
  SenderId sender = 0;
  std::uint64_t at_ns = 0;
};

// Takes the next waiting datagram into `buffer` (resized to it; up to 65535 bytes).
Arrival take_datagram(const Socket& socket, std::string& buffer, Receipt& receipt);
Arrival take_datagram(const Socket& socket, std::string& buffer);

// Room for datagrams of any length that are taken with one call; 4 MB, of which the system provides what is used.
struct Batch {
  static constexpr std::size_t most = 64;
  std::unique_ptr<char[]> room;  // made by the first call
};

struct Datagram {
  std::string_view bytes;  // in the batch
  Receipt receipt;
};

// Takes the datagrams that wait, at most Batch::most, in place of those that `taken` had. `datagram` means that there
// is one at least.
Arrival take_datagrams(const Socket& socket, Batch& batch, std::vector<Datagram>& taken);

// Datagrams that the system has thrown away at this socket since it was opened, as nobody took them and its buffer was
// full: lost here, and not on the way. Does not fall.
std::uint64_t dropped_at(const Socket& socket);

// What the socket itself is bound to.
SenderId own_address(const Socket& socket);

// Waits until one of the sockets can be read or `timeout_ms` have passed; a signal ends the wait early. Returns whether
// one can be read. Sockets of -1 are skipped.
bool wait_readable(const std::vector<const Socket*>& sockets, int timeout_ms);
bool wait_readable_for(const std::vector<const Socket*>& sockets, std::chrono::nanoseconds timeout);

}  // namespace vorbelctl
