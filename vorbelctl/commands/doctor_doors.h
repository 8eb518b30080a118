// The doors of a bench besides its feed, each asked something that changes nothing: does a bench answer there? A door
// may be closed on purpose; that is a problem only where it was `asked_for` by name.
#pragma once

#include <cstdint>

#include "vorbelctl/commands/doctor_checks.h"

namespace vorbelctl {

struct ControlDoor {
  Finding finding;
  bool is_closed = false;
  std::uint64_t latest = 0;  // the bench's last sequence number; 0: no bench answered
};

// The control port replies to "stats".
ControlDoor ask_control_door(const Addresses& addresses, bool asked_for);

// The report port answers an empty line, which no bench takes for a report.
Finding check_reports(const Addresses& addresses, bool asked_for);

// The retransmission port sends message `wanted`, which the bench must have sent before. The bench counts the request.
Finding check_retransmission(const Addresses& addresses, bool asked_for, std::uint64_t wanted);

}  // namespace vorbelctl
