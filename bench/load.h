// What the load programs share: sockets to the program under load, its CPU clock, and the spread of what was measured.
// They measure the daemon and the floor program alike, always on 127.0.0.1, and print one line of JSON for the driver.
// A load program that cannot do its work as asked ends at once with a message and status 1: a figure of work that was
// only half done is worth nothing.
#pragma once

#include <netinet/in.h>
#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <span>
#include <string>
#include <vector>

namespace vorbeld {

// Prints the message and ends the process with status 1.
[[noreturn]] void give_up(const std::string& message);

// Nanoseconds of the steady clock; the origin is arbitrary.
std::uint64_t now_ns();

// 127.0.0.1 and the port.
sockaddr_in loopback(std::uint16_t port);

// A connected TCP socket without delay, or UDP socket, towards a port on 127.0.0.1; blocking, but a receive that gets
// nothing for a minute gives up. The caller owns the descriptor.
int connect_tcp(std::uint16_t port);
int connect_udp(std::uint16_t port);

// Sends all of `bytes`, which must be fewer than a socket's buffer holds.
void send_all(int descriptor, std::span<const char> bytes);

// Receives what is there into `buffer` and returns its length, at least 1; waits for it with `flags` 0.
std::size_t receive_some(int descriptor, std::span<char> buffer, int flags = 0);

// Asks `done` again and again until it says yes; gives up after a minute. A load that waits for its next answer stays
// awake: to wake a sleeping receiver is charged to the program that sends, and the slower of two would do it more
// often.
template <class Done>
void wait_awake(Done done) {
  constexpr std::uint64_t longest_ns = 60'000'000'000;
  for (const std::uint64_t start = now_ns(); !done();) {
    if (now_ns() - start > longest_ns) give_up("nothing came from the program under load");
  }
}

// What a stretch of work cost: its duration, and the CPU time that the kernel charged to the program under load
// meanwhile, user and system together.
struct Cost {
  std::uint64_t wall_ns = 0;
  std::uint64_t cpu_ns = 0;
};

// A running measurement. `cpu_clock` is the CPU-time clock of a process.
struct Measurement {
  clockid_t cpu_clock;
  Cost start;
};

// Starts to measure the process `pid`, and what has been used since.
Measurement start_measuring(pid_t pid);
Cost cost_since(const Measurement& measurement);

// Nearest-rank percentiles of a set of durations.
struct Spread {
  std::uint64_t p50 = 0;
  std::uint64_t p99 = 0;
  std::uint64_t p999 = 0;
};

// All 0 for an empty set.
Spread spread_of(std::vector<std::uint64_t> durations);

}  // namespace vorbeld
