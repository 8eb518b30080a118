// What can stand between a bench and its receiver on this machine, looked at one thing at a time. Every check says in
// plain words what it found and, where something is wrong, what to type. An address that does not read is thrown as
// std::invalid_argument. Changes nothing on the system.
#pragma once

#include <cstdint>
#include <string>

#include "vorbelctl/doors/sockets.h"

namespace vorbelctl {

enum class Verdict : std::uint8_t {
  fine,
  note,    // worth knowing; can be right as it is
  problem  // explains why nothing, or not everything, arrives
};

struct Finding {
  Verdict verdict = Verdict::fine;
  std::string check;  // what was looked at, one word
  std::string says;
  std::string type;  // a command that helps, fit for a shell; empty: no command does
};

// The interface with that address exists, is up, and takes multicast.
Finding check_interface(const Addresses& addresses);

// The group is one, and there is a way to it from the interface.
Finding check_route(const Addresses& addresses);

// The feed port can be listened on beside whoever does already, and the group can be joined on the interface.
Finding check_membership(const Addresses& addresses);

// A packet sent to the group on the interface comes back to this machine: the test of all that lies between. Uses a
// port that nobody else does and does not leave the machine.
Finding check_probe(const Addresses& addresses);

// Packet filters that could stand in the way.
Finding check_filters();

// The room that a receiver is granted for packets that wait.
Finding check_buffer(const Addresses& addresses);

// Datagrams that receivers on the feed port have lost so far because they did not read them in time.
Finding check_losses(const Addresses& addresses);

}  // namespace vorbelctl
