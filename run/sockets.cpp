#include "run/sockets.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>

namespace vorbeld {
namespace {

void reuse_address(int descriptor) {
  const int reuse = 1;
  setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);
}

bool bind_to(int descriptor, in_addr_t address, std::uint16_t port) {
  sockaddr_in local{};
  local.sin_family = AF_INET;
  local.sin_addr.s_addr = htonl(address);
  local.sin_port = htons(port);
  return bind(descriptor, reinterpret_cast<const sockaddr*>(&local), sizeof local) == 0;
}

int give_up(int descriptor, const char* what) {
  std::perror(what);
  close(descriptor);
  return -1;
}

int unblock(int descriptor) {
  fcntl(descriptor, F_SETFL, O_NONBLOCK);
  return descriptor;
}

}  // namespace

int open_retransmission_socket(std::uint16_t port) {
  const int descriptor = socket(AF_INET, SOCK_DGRAM, 0);
  reuse_address(descriptor);
  if (!bind_to(descriptor, INADDR_ANY, port)) return give_up(descriptor, "vorbeld: retransmission port");
  return unblock(descriptor);
}

int open_report_listener(std::uint16_t port) {
  constexpr int backlog = 8;
  const int descriptor = socket(AF_INET, SOCK_STREAM, 0);
  reuse_address(descriptor);
  if (!bind_to(descriptor, INADDR_ANY, port) || listen(descriptor, backlog) != 0) {
    return give_up(descriptor, "vorbeld: listen");
  }
  return unblock(descriptor);
}

int open_control_socket(std::uint16_t port) {
  const int descriptor = socket(AF_INET, SOCK_DGRAM, 0);
  if (!bind_to(descriptor, INADDR_LOOPBACK, port)) return give_up(descriptor, "vorbeld: control port");
  return unblock(descriptor);
}

}  // namespace vorbeld
