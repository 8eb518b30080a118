// The load of retransmission requests: asks for long runs of messages and follows the answers packet by packet. Every
// message asked for must come, in order; one lost on the loopback ends the program, since the figures would be wrong.
#include <sys/socket.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cstdio>
#include <vector>

#include "bench/load.h"
#include "common/big_endian.h"
#include "feed/mold_packet.h"

namespace vorbeld {
namespace {

struct Settings {
  std::uint16_t port = 0;
  pid_t pid = 0;                   // of the program under load
  std::uint64_t requests = 20;     //
  std::uint16_t count = 65'535;    // messages a request
  std::uint64_t oldest = 1;        // sequence numbers that can be had: from this one
  std::uint64_t stored = 400'000;  // on, so many
  std::uint64_t outstanding = 2;   // unanswered requests: the next one waits while one is being answered
};

struct Load {
  Settings settings;
  int descriptor = -1;
  std::uint64_t sent = 0;      // requests
  std::uint64_t finished = 0;  // requests
  std::uint64_t received = 0;  // messages of the request being answered
  std::uint64_t messages = 0;  // in all
  std::uint64_t packets = 0;
};

// Two answers of 65535 messages wait here as 14,564 packets, which the kernel charges with about 2.5 KB each.
void widen_receive_buffer(int descriptor) {
  constexpr int bytes = 64 << 20;
  if (setsockopt(descriptor, SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof bytes) != 0) {
    setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);  // cut to the system's limit
  }
}

// Requests walk through the whole store, so that an answer's messages are not those that were just sent.
std::uint64_t first_of(const Settings& settings, std::uint64_t request) {
  return settings.oldest + request * settings.count % (settings.stored - settings.count + 1);
}

void send_request(Load& load) {
  std::array<char, mold::header_length> request{};
  put_u64(request.data() + mold::sequence_at, first_of(load.settings, load.sent));
  put_u16(request.data() + mold::count_at, load.settings.count);
  send_all(load.descriptor, request);
  ++load.sent;
}

void take_packet(Load& load, const char* packet, std::size_t length) {
  if (length < mold::header_length) give_up("a packet is shorter than its header");
  const std::uint64_t expected = first_of(load.settings, load.finished) + load.received;
  const std::uint64_t first = take_u64(packet + mold::sequence_at);
  if (first != expected) {
    give_up("lost packets: sequence " + std::to_string(expected) + " was due, " + std::to_string(first) + " came");
  }
  const std::uint16_t count = take_u16(packet + mold::count_at);
  ++load.packets;
  load.messages += count;
  load.received += count;
  if (load.received < load.settings.count) return;
  ++load.finished;
  load.received = 0;
}

void run_requests(Load& load) {
  constexpr std::size_t batch = 64;
  std::vector<std::array<char, mold::largest_packet>> packets(batch);
  std::vector<iovec> pieces(batch);
  std::vector<mmsghdr> headers(batch);
  for (std::size_t i = 0; i < batch; ++i) {
    pieces[i] = {.iov_base = packets[i].data(), .iov_len = packets[i].size()};
    headers[i].msg_hdr.msg_iov = &pieces[i];
    headers[i].msg_hdr.msg_iovlen = 1;
  }
  while (load.finished < load.settings.requests) {
    while (load.sent < load.settings.requests && load.sent - load.finished < load.settings.outstanding) {
      send_request(load);
    }
    int received = 0;
    wait_awake([&] {
      received = recvmmsg(load.descriptor, headers.data(), batch, MSG_DONTWAIT, nullptr);
      return received > 0;
    });
    for (std::size_t i = 0; i < static_cast<std::size_t>(received); ++i) {
      take_packet(load, packets[i].data(), headers[i].msg_len);
    }
  }
}

int run(int argc, char** argv) {
  Load load;
  Settings& settings = load.settings;
  CLI::App app("Requests retransmissions and measures what that costs the program under load.");
  app.add_option("--port", settings.port, "retransmission port on 127.0.0.1")->required();
  app.add_option("--pid", settings.pid, "process whose CPU time is measured")->required();
  app.add_option("--requests", settings.requests)->capture_default_str();
  app.add_option("--count", settings.count, "messages a request")->capture_default_str()->check(CLI::PositiveNumber);
  app.add_option("--oldest", settings.oldest, "oldest sequence number stored")->capture_default_str();
  app.add_option("--stored", settings.stored, "messages stored")->capture_default_str();
  app.add_option("--outstanding", settings.outstanding, "unanswered requests")
      ->capture_default_str()
      ->check(CLI::PositiveNumber);
  CLI11_PARSE(app, argc, argv);
  if (settings.stored < settings.count) give_up("fewer messages are stored than one request asks for");

  load.descriptor = connect_udp(settings.port);
  widen_receive_buffer(load.descriptor);
  const Measurement measurement = start_measuring(settings.pid);
  run_requests(load);
  const Cost cost = cost_since(measurement);
  std::printf("{\"messages\":%llu,\"packets\":%llu,\"wall_ns\":%llu,\"cpu_ns\":%llu}\n",
              static_cast<unsigned long long>(load.messages), static_cast<unsigned long long>(load.packets),
              static_cast<unsigned long long>(cost.wall_ns), static_cast<unsigned long long>(cost.cpu_ns));
  return 0;
}

}  // namespace
}  // namespace vorbeld

int main(int argc, char** argv) {
  return vorbeld::run(argc, argv);
}
