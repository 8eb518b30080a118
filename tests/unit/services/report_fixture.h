// A report intake that listens on the loopback interface, and clients that report to it.
#pragma once

#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

#include "services/report_intake.h"
#include "tests/unit/services/service_fixture.h"

namespace vorbeld {

// A TCP listener on a port that the system picks, non-blocking as the intake wants it.
inline Descriptor open_listener() {
  Descriptor listener(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (bind(listener.value, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(listener.value, 8) != 0) {
    throw std::runtime_error("no TCP port");
  }
  return listener;
}

struct ReportBench {
  ServiceBench services;
  Descriptor listener = open_listener();
  ReportIntake intake;

  ReportBench() { intake.listener = listener.value; }
  ReportBench(const ReportBench&) = delete;
  ReportBench& operator=(const ReportBench&) = delete;
  ReportBench(ReportBench&&) = delete;
  ReportBench& operator=(ReportBench&&) = delete;
  ~ReportBench() {
    for (const ReportConnection& connection : intake.open) close(connection.descriptor);
  }
};

// Connects a client and has the intake accept it, as the newest of its connections.
inline Descriptor connect_client(ReportBench& bench) {
  Descriptor client = connect_tcp(port_of(bench.listener.value));
  const std::uint64_t before = bench.intake.accepted;
  if (!eventually([&] { return accept_reports(bench.intake), bench.intake.accepted > before; })) {
    throw std::runtime_error("connection not accepted");
  }
  return client;
}

// True once the bench's end of a connection has `length` bytes to read, or (with `closed`) knows that its peer is gone.
inline bool has_arrived(int descriptor, std::size_t length, bool closed) {
  int waiting = 0;
  ioctl(descriptor, FIONREAD, &waiting);
  pollfd peer{descriptor, POLLRDHUP, 0};
  if (closed) return poll(&peer, 1, 0) == 1;
  return static_cast<std::size_t>(waiting) >= length;
}

// One pass of the intake.
inline void serve_pass(ReportBench& bench) {
  serve_reports(bench.intake, bench.services.engine, bench.services.pending);
}

// Sends bytes from a client and, once they have all arrived on its connection, has the intake serve one pass.
inline void report(ReportBench& bench, const Descriptor& client, std::string_view bytes, std::size_t connection = 0) {
  send_bytes(client, bytes);
  const int descriptor = bench.intake.open.at(connection).descriptor;
  if (!eventually([&] { return has_arrived(descriptor, bytes.size(), false); })) {
    throw std::runtime_error("report not received");
  }
  serve_pass(bench);
}

// Ends a client's connection and waits until the bench's end has learnt of it; no pass is served.
inline void hang_up(ReportBench& bench, Descriptor& client, std::size_t connection = 0) {
  const int descriptor = bench.intake.open.at(connection).descriptor;
  client = Descriptor();
  if (!eventually([&] { return has_arrived(descriptor, 0, true); })) throw std::runtime_error("end not received");
}

// A well-formed line of the first bond, line feed included.
inline std::string report_line(std::string_view price, std::string_view cusip = first_cusip) {
  return "T|" + std::string(cusip) + "|X|" + std::string(price) + "|1000|B|V|1700000000000|20231116|away\n";
}

// All that the bench has answered a client so far. Nothing is waited for but a last answer: a malformed line's.
inline std::string replies(ReportBench& bench, const Descriptor& client, std::size_t connection = 0) {
  constexpr std::string_view last = "E malformed\n";
  report(bench, client, "end\n", connection);
  std::string answered;
  while (!answered.ends_with(last)) {
    const std::string more = receive_bytes(client, 1);
    if (more.empty()) throw std::runtime_error("no reply");
    answered += more;
  }
  return answered.substr(0, answered.size() - last.size());
}

}  // namespace vorbeld
