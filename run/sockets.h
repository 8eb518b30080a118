// Opening the service sockets. All are IPv4 and non-blocking.
#pragma once

#include <cstdint>

namespace vorbeld {

// Each returns the descriptor, or -1 when the port cannot be had; the system's reason is printed then.
int open_retransmission_socket(std::uint16_t port);  // UDP on all addresses
int open_report_listener(std::uint16_t port);        // TCP on all addresses, backlog 8
int open_control_socket(std::uint16_t port);         // UDP on 127.0.0.1

}  // namespace vorbeld
