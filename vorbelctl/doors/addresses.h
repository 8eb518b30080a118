// Where a bench is, and how its doors are named to whoever looks for it there.
#pragma once

#include <cstdint>
#include <string>

namespace vorbelctl {

// The defaults are the daemon's own, with the control port that the start script opens.
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

// The four numbers of an IPv4 address as one, the first in the highest byte. Throws std::invalid_argument when the text
// is not an address.
std::uint32_t ipv4_number(const std::string& text);

// True for an address of a multicast group: 224.0.0.0 to 239.255.255.255.
bool is_multicast(std::uint32_t address);

// Where a bench could have been noticed, to be put behind "nobody answers": the control port, where there is one, and
// the feed.
std::string at_no_door(const Addresses& addresses);

// That nothing of the session came on the feed, and what to do.
std::string no_feed(const Addresses& addresses);

// Why no message comes from the retransmission port, and what to do; `refused`: because the port is closed.
std::string no_retransmission(const Addresses& addresses, bool refused);

}  // namespace vorbelctl
