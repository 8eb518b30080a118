#include "vorbelctl/doors/addresses.h"

#include <arpa/inet.h>
#include <fmt/core.h>
#include <netinet/in.h>

#include <stdexcept>

namespace vorbelctl {

std::string endpoint(const std::string& host, std::uint16_t port) {
  return fmt::format("{}:{}", host, port);
}

std::uint32_t ipv4_number(const std::string& text) {
  in_addr address{};
  if (inet_pton(AF_INET, text.c_str(), &address) != 1) {
    throw std::invalid_argument(fmt::format("\"{}\" is no IPv4 address; give four numbers such as 127.0.0.1", text));
  }
  return ntohl(address.s_addr);
}

bool is_multicast(std::uint32_t address) {
  constexpr std::uint32_t leading_bits = 0xe;  // of the four that all groups share
  return address >> 28U == leading_bits;
}

std::string at_no_door(const Addresses& addresses) {
  const std::string feed =
      fmt::format(" on the feed {} (session {})", endpoint(addresses.group, addresses.feed_port), addresses.session);
  if (addresses.control_port == 0) return feed;
  return fmt::format(", neither on the control port {} nor{}", endpoint("127.0.0.1", addresses.control_port), feed);
}

std::string no_feed(const Addresses& addresses) {
  return fmt::format(
      "nothing of the session {} came on the feed {}; is the bench running? vorbelctl doctor finds out why nothing "
      "arrives",
      addresses.session.substr(0, 10), endpoint(addresses.group, addresses.feed_port));
}

std::string no_retransmission(const Addresses& addresses, bool refused) {
  const std::string where = "the retransmission port " + endpoint(addresses.host, addresses.retrans_port);
  if (refused) {
    return fmt::format("nobody answers on {} (the port is closed); is the bench running, with this --retrans-port?",
                       where);
  }
  return fmt::format(
      "no answer came from {} in time; a bench is silent when it does not have the messages: if it should have them, "
      "see whether this is its --retrans-port",
      where);
}

}  // namespace vorbelctl
