// The start-up time: starts a program again and again, each time waits for its first packet on the multicast group, and
// ends it. Measured from just before exec to the arrival of the packet, as a receiver that was there before sees it.
#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

#include "bench/load.h"

namespace vorbeld {
namespace {

struct Settings {
  std::string group;
  std::uint16_t port = 0;
  std::uint64_t starts = 20;
  std::vector<std::string> command;  // the program and its arguments
};

struct Child {
  pid_t pid;
  std::uint64_t exec_ns;  // steady clock, just before the program took over
};

int join_feed(const Settings& settings) {
  const int descriptor = socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in address = loopback(settings.port);
  inet_pton(AF_INET, settings.group.c_str(), &address.sin_addr);
  const ip_mreq membership{.imr_multiaddr = address.sin_addr, .imr_interface = {.s_addr = htonl(INADDR_LOOPBACK)}};
  if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) give_up("bind");
  if (setsockopt(descriptor, IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof membership) != 0) give_up("join");
  const timeval patience{.tv_sec = 10, .tv_usec = 0};
  setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  return descriptor;
}

[[noreturn]] void become(std::vector<char*>& arguments, int report_to) {
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  dup2(nowhere, STDERR_FILENO);
  const std::uint64_t exec_ns = now_ns();
  if (write(report_to, &exec_ns, sizeof exec_ns) == sizeof exec_ns) execv(arguments.front(), arguments.data());
  _exit(127);
}

Child start_program(Settings& settings) {
  std::vector<char*> arguments;
  for (std::string& argument : settings.command) arguments.push_back(argument.data());
  arguments.push_back(nullptr);
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) give_up("pipe2");
  Child child{.pid = fork(), .exec_ns = 0};
  if (child.pid < 0) give_up("fork");
  if (child.pid == 0) become(arguments, ends[1]);
  if (read(ends[0], &child.exec_ns, sizeof child.exec_ns) != sizeof child.exec_ns) give_up("read");
  close(ends[0]);
  close(ends[1]);
  return child;
}

std::uint64_t time_start(Settings& settings, int feed) {
  std::array<char, 1500> packet;
  const Child child = start_program(settings);
  receive_some(feed, packet);
  const std::uint64_t duration = now_ns() - child.exec_ns;
  kill(child.pid, SIGKILL);
  waitpid(child.pid, nullptr, 0);
  while (recv(feed, packet.data(), packet.size(), MSG_DONTWAIT) > 0) {
    // What it sent behind its first packet would be taken for the first packet of the next start.
  }
  return duration;
}

int run(int argc, char** argv) {
  Settings settings;
  CLI::App app("Starts a program repeatedly and measures the time to its first packet.");
  app.add_option("--mcast", settings.group, "multicast group")->required();
  app.add_option("--port", settings.port, "feed port")->required();
  app.add_option("--starts", settings.starts)->capture_default_str()->check(CLI::PositiveNumber);
  app.add_option("command", settings.command, "program and its arguments, behind --")->required();
  CLI11_PARSE(app, argc, argv);

  const int feed = join_feed(settings);
  std::vector<std::uint64_t> durations_ns;
  for (std::uint64_t i = 0; i < settings.starts; ++i) durations_ns.push_back(time_start(settings, feed));
  const Spread duration = spread_of(durations_ns);
  std::printf("{\"starts\":%zu,\"p50_ns\":%llu,\"p99_ns\":%llu}\n", durations_ns.size(),
              static_cast<unsigned long long>(duration.p50), static_cast<unsigned long long>(duration.p99));
  return 0;
}

}  // namespace
}  // namespace vorbeld

int main(int argc, char** argv) {
  return vorbeld::run(argc, argv);
}
