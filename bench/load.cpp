#include "bench/load.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vorbeld {
namespace {

// A command that amends a million trades is answered when all of them are.
constexpr time_t patience_s = 60;

[[noreturn]] void give_up_call(const char* call) {
  give_up(std::string(call) + ": " + std::strerror(errno));
}

int connect_to(std::uint16_t port, int type) {
  const int descriptor = socket(AF_INET, type, 0);
  const sockaddr_in address = loopback(port);
  if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) give_up_call("connect");
  const timeval patience{.tv_sec = patience_s, .tv_usec = 0};
  setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  return descriptor;
}

std::uint64_t read_ns(clockid_t clock) {
  timespec time{};
  if (clock_gettime(clock, &time) != 0) give_up_call("clock_gettime");
  return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000 + static_cast<std::uint64_t>(time.tv_nsec);
}

}  // namespace

void give_up(const std::string& message) {
  std::fprintf(stderr, "load: %s\n", message.c_str());
  std::exit(1);
}

std::uint64_t now_ns() {
  return static_cast<std::uint64_t>(
      std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count());
}

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

int connect_tcp(std::uint16_t port) {
  const int descriptor = connect_to(port, SOCK_STREAM);
  const int no_delay = 1;
  setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &no_delay, sizeof no_delay);
  return descriptor;
}

int connect_udp(std::uint16_t port) {
  return connect_to(port, SOCK_DGRAM);
}

void send_all(int descriptor, std::span<const char> bytes) {
  const ssize_t sent = send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  if (sent != static_cast<ssize_t>(bytes.size())) give_up_call("send");
}

std::size_t receive_some(int descriptor, std::span<char> buffer, int flags) {
  const ssize_t received = recv(descriptor, buffer.data(), buffer.size(), flags);
  if (received == 0) give_up("the program under load closed the connection");
  if (received < 0 && errno == EAGAIN) give_up("nothing came from the program under load");
  if (received < 0) give_up_call("recv");
  return static_cast<std::size_t>(received);
}

Measurement start_measuring(pid_t pid) {
  Measurement measurement{};
  if (clock_getcpuclockid(pid, &measurement.cpu_clock) != 0) give_up("no process " + std::to_string(pid));
  measurement.start = {.wall_ns = now_ns(), .cpu_ns = read_ns(measurement.cpu_clock)};
  return measurement;
}

Cost cost_since(const Measurement& measurement) {
  return {.wall_ns = now_ns() - measurement.start.wall_ns,
          .cpu_ns = read_ns(measurement.cpu_clock) - measurement.start.cpu_ns};
}

Spread spread_of(std::vector<std::uint64_t> durations) {
  if (durations.empty()) return {};
  std::sort(durations.begin(), durations.end());
  const auto rank = [&durations](std::size_t permille) {
    return durations[(durations.size() * permille + 999) / 1000 - 1];
  };
  return {.p50 = rank(500), .p99 = rank(990), .p999 = rank(999)};
}

}  // namespace vorbeld
