#include "services/control_port.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstdio>
#include <string>
#include <string_view>

namespace vorbeld {
namespace {

struct Datagram {
  std::array<char, 255> bytes;  // a longer one is cut
  std::size_t length;
  sockaddr_in sender;
  socklen_t sender_length;
};

// False when nothing waits or the datagram is empty.
bool receive(int descriptor, Datagram& datagram) {
  datagram.sender_length = sizeof datagram.sender;
  const ssize_t received = recvfrom(descriptor, datagram.bytes.data(), datagram.bytes.size(), 0,
                                    reinterpret_cast<sockaddr*>(&datagram.sender), &datagram.sender_length);
  if (received < 1) return false;
  datagram.length = static_cast<std::size_t>(received);
  return true;
}

// The text up to the first zero byte, without blanks, carriage returns and line feeds at its end.
std::string command_line(const Datagram& datagram) {
  std::string_view line(datagram.bytes.data(), datagram.length);
  line = line.substr(0, line.find('\0'));
  return std::string(line.substr(0, line.find_last_not_of(" \r\n") + 1));
}

}  // namespace

void serve_commands(const ControlPort& port, ControlTargets targets) {
  Datagram datagram{};
  while (receive(port.socket, datagram)) {
    const std::string line = command_line(datagram);
    const CommandResult result = run_command(line, targets);
    if (result.echoed) std::fprintf(stderr, "bench: %s → %s\n", line.c_str(), result.reply.c_str());
    const std::string reply = result.reply + '\n';
    sendto(port.socket, reply.data(), reply.size(), 0, reinterpret_cast<const sockaddr*>(&datagram.sender),
           datagram.sender_length);
  }
}

}  // namespace vorbeld
