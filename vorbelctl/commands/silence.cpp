#include "vorbelctl/commands/silence.h"

namespace vorbelctl {

std::string at_no_door(const Addresses& addresses) {
  std::string feed =
      " on the feed " + endpoint(addresses.group, addresses.feed_port) + " (session " + addresses.session + ")";
  if (addresses.control_port == 0) return feed;
  return ", neither on the control port " + endpoint("127.0.0.1", addresses.control_port) + " nor" + feed;
}

std::string no_retransmission(const Addresses& addresses, bool refused) {
  const std::string where = "the retransmission port " + endpoint(addresses.host, addresses.retrans_port);
  if (refused) {
    return "nobody answers on " + where + " (the port is closed); is the bench running, with this --retrans-port?";
  }
  return "no answer came from " + where +
         " in time; a bench is silent when it does not have the messages: if it should have them, see whether this is "
         "its --retrans-port";
}

}  // namespace vorbelctl
