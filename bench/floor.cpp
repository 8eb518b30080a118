// The floor: a program with the daemon's loop and its system calls, in their order, but with canned bytes of the same
// lengths and nothing computed, kept or looked up. What it costs is what the daemon could reach at best on the machine
// at hand. Takes the daemon's options, of which it uses ports, addresses and files, and opens them with the daemon's
// own code. Of commands it knows just enough to make as many amendments' calls as are asked for, and to stop.
#include <fcntl.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "btds/message_table.h"
#include "common/big_endian.h"
#include "common/clocks.h"
#include "common/line_file.h"
#include "feed/publisher.h"
#include "run/configuration.h"
#include "run/start.h"

namespace vorbeld {
namespace {

// What the daemon writes for one of the load's reports, and for a cancel and a correction of one.
constexpr std::string_view trade_truth =
    R"({"seq":200002,"cat":"T","type":"M","event":"trade","cusip":"594918BY9","symbol":"MSFT 3.3 27",)"
    R"("trade_id":"0200000","qty":200000.00,"capped":false,"qty_ind":"A","price":92.081000,"yield":3.583801,)"
    R"("side":"S","as_of":" ","special":" ","sale3":" ","sale4":" ","exec":"20261120192246","settle":"20300102",)"
    R"("remuneration":"M","rpt":"D","contra":"C","ats":" ","change":"1",)"
    R"("summary":{"traded":true,"high":99.997000,"low":90.001000,"last":92.081000,"prints":50000}})"
    "\n";
constexpr std::string_view trade_tape =
    R"({"seq":200002,"ts_ms":1795220372000,"cusip":"594918BY9","symbol":"MSFT 3.3 27","price":92.081000,)"
    R"("quantity":200000,"cap":"0","side":"S","reporting_party":"D","contra_party":"C","exec_ts_ms":1795216772000,)"
    R"("report_lag_ms":3600000,"settle":20300102,"trade_id":"0200000","venue":"ATS1","where":"away"})"
    "\n";
constexpr std::string_view cancel_truth =
    R"({"seq":200003,"cat":"T","type":"N","event":"cancel","orig_trade_id":"0200000","function":"C","change":"1"})"
    "\n";
constexpr std::string_view correction_truth =
    R"({"seq":200004,"cat":"T","type":"O","event":"correction","cusip":"46647PAP1","symbol":"JPM 4.2 29",)"
    R"("trade_id":"0200001","qty":100000.00,"capped":false,"qty_ind":"A","price":94.350000,"yield":4.451510,)"
    R"("side":"B","as_of":" ","special":" ","sale3":" ","sale4":" ","exec":"20261120192246","settle":"20300102",)"
    R"("remuneration":"M","rpt":"D","contra":"C","ats":" ","orig_trade_id":"0199999","function":"N","change":"1",)"
    R"("summary":{"traded":true,"high":99.998000,"low":90.002000,"last":94.350000,"prints":50000}})"
    "\n";
constexpr std::string_view report_reply = "A 0000001\n";

constexpr std::size_t trade_block_length = mold::block_prefix + layout::trade.length;

// What a kind of amendment command makes per trade.
struct CannedAmendment {
  std::string_view command;
  std::string_view reply;
  std::size_t packet_length;
  std::string_view truth;
};
constexpr std::array amendments{
    CannedAmendment{"cancel ", "cancelled ", mold::header_length + mold::block_prefix + layout::cancel.length,
                    cancel_truth},
    CannedAmendment{"correct ", "corrected ", mold::header_length + mold::block_prefix + layout::correction.length,
                    correction_truth},
};

struct Floor {
  MoldPublisher publisher;  // for its socket and the group's address; numbers and stores nothing
  int listener = -1;
  int retransmissions = -1;
  int control = -1;
  std::vector<int> connections;
  LineFile truth;
  LineFile tape;
  std::array<char, mold::largest_packet> packet{};
  std::uint64_t last_send_ms = 0;
  std::uint64_t messages = 0;
  std::uint64_t reports = 0;
  bool stop_now = false;
};

void write_canned(const LineFile& file, std::string_view line) {
  if (takes_lines(file) && write(file.descriptor, line.data(), line.size()) < 0) std::perror("floor: write");
}

void send_live(Floor& floor, std::size_t length) {
  const auto* const group = reinterpret_cast<const sockaddr*>(&floor.publisher.destination);
  sendto(floor.publisher.feed_socket, floor.packet.data(), length, 0, group, sizeof floor.publisher.destination);
  floor.last_send_ms = monotonic_ms();
}

// A time stamp that the daemon needs at this point.
void read_wall_clock() {
  static_cast<void>(wall_ms());
}

void handle_report(Floor& floor, int connection) {
  read_wall_clock();  // when it was reported
  read_wall_clock();  // for the message's header
  send_live(floor, mold::header_length + trade_block_length);
  write_canned(floor.truth, trade_truth);
  read_wall_clock();  // for the tape's line
  write_canned(floor.tape, trade_tape);
  send(connection, report_reply.data(), report_reply.size(), MSG_NOSIGNAL);
  ++floor.reports;
  ++floor.messages;
}

void accept_connections(Floor& floor) {
  const int no_delay = 1;
  for (int descriptor = accept(floor.listener, nullptr, nullptr); descriptor >= 0;
       descriptor = accept(floor.listener, nullptr, nullptr)) {
    fcntl(descriptor, F_SETFL, O_NONBLOCK);
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &no_delay, sizeof no_delay);
    floor.connections.push_back(descriptor);
  }
}

std::size_t count_lines(std::string_view bytes) {
  std::size_t lines = 0;
  for (std::size_t end = bytes.find('\n'); end != std::string_view::npos; end = bytes.find('\n', end + 1)) ++lines;
  return lines;
}

// Reads until the connection would block, and returns the number of lines that ended in what was read; nothing once the
// connection is at its end.
std::optional<std::size_t> receive_lines(int connection) {
  std::array<char, 4096> buffer;
  std::size_t lines = 0;
  ssize_t received = 0;
  while ((received = recv(connection, buffer.data(), buffer.size(), 0)) > 0) {
    lines += count_lines({buffer.data(), static_cast<std::size_t>(received)});
  }
  if (received == 0 || errno != EAGAIN) return std::nullopt;
  return lines;
}

void serve_reports(Floor& floor) {
  for (int& connection : floor.connections) {
    const auto lines = receive_lines(connection);
    if (!lines) {
      close(connection);
      connection = -1;
      continue;
    }
    for (std::size_t i = 0; i < *lines; ++i) handle_report(floor, connection);
  }
  std::erase(floor.connections, -1);
}

// Answers a request in packets of as many trade messages as fit, whatever was sent before.
void answer_request(Floor& floor, std::span<const char> request, const sockaddr_in& sender, socklen_t sender_length) {
  constexpr std::uint16_t messages_a_packet = (mold::largest_packet - mold::header_length) / trade_block_length;
  std::uint64_t sequence = take_u64(request.data() + mold::sequence_at);
  for (std::uint16_t left = take_u16(request.data() + mold::count_at); left > 0;) {
    const std::uint16_t count = std::min(left, messages_a_packet);
    put_u64(floor.packet.data() + mold::sequence_at, sequence);
    put_u16(floor.packet.data() + mold::count_at, count);
    sendto(floor.retransmissions, floor.packet.data(), mold::header_length + count * trade_block_length, 0,
           reinterpret_cast<const sockaddr*>(&sender), sender_length);
    sequence += count;
    left = static_cast<std::uint16_t>(left - count);
  }
}

void serve_retransmissions(Floor& floor) {
  std::array<char, 64> datagram;
  sockaddr_in sender{};
  socklen_t length = sizeof sender;
  while (recvfrom(floor.retransmissions, datagram.data(), datagram.size(), 0, reinterpret_cast<sockaddr*>(&sender),
                  &length) >= static_cast<ssize_t>(mold::header_length)) {
    answer_request(floor, datagram, sender, length);
  }
}

std::string amend(Floor& floor, const CannedAmendment& amendment, std::string_view times) {
  std::uint32_t count = 0;
  std::from_chars(times.data(), times.data() + times.size(), count);
  for (std::uint32_t i = 0; i < count; ++i) {
    read_wall_clock();  // for the message's header
    send_live(floor, amendment.packet_length);
    write_canned(floor.truth, amendment.truth);
  }
  floor.messages += count;
  return std::string(amendment.reply) + std::to_string(count);
}

std::string run_command(Floor& floor, std::string_view command) {
  for (const CannedAmendment& amendment : amendments) {
    if (command.starts_with(amendment.command))
      return amend(floor, amendment, command.substr(amendment.command.size()));
  }
  if (command == "stats") {
    return "seq " + std::to_string(floor.messages) + " reports " + std::to_string(floor.reports);
  }
  floor.stop_now = command == "stop";
  return "ok";
}

void serve_commands(Floor& floor) {
  std::array<char, 255> datagram;
  sockaddr_in sender{};
  socklen_t length = sizeof sender;
  ssize_t received = 0;
  while ((received = recvfrom(floor.control, datagram.data(), datagram.size(), 0, reinterpret_cast<sockaddr*>(&sender),
                              &length)) > 0) {
    const std::string command(datagram.data(), static_cast<std::size_t>(received));
    const std::string reply = run_command(floor, command);
    if (command != "stats") std::fprintf(stderr, "bench: %s → %s\n", command.c_str(), reply.c_str());
    sendto(floor.control, (reply + '\n').data(), reply.size() + 1, 0, reinterpret_cast<const sockaddr*>(&sender),
           length);
  }
}

void wait_for_work(const Floor& floor, std::vector<pollfd>& descriptors) {
  constexpr int longest_ms = 10;
  descriptors.clear();
  descriptors.push_back({floor.listener, POLLIN, 0});
  for (const int connection : floor.connections) descriptors.push_back({connection, POLLIN, 0});
  if (floor.control >= 0) descriptors.push_back({floor.control, POLLIN, 0});
  poll(descriptors.data(), descriptors.size(), longest_ms);
}

bool open_floor(Floor& floor, const BenchOptions& options) {
  open_feed(floor.publisher, options.group, options.feed_port, options.interface);
  floor.retransmissions = open_retransmission_socket(options.retransmission_port);
  if (!options.tape_path.empty()) open_lines(floor.tape, options.tape_path);
  if (!options.truth_path.empty()) open_lines(floor.truth, options.truth_path);
  floor.listener = open_report_listener(options.report_port);
  if (options.control_port != 0) floor.control = open_control_socket(options.control_port);
  return floor.retransmissions >= 0 && floor.listener >= 0;
}

void run_floor(Floor& floor) {
  constexpr std::uint64_t silence_ms = 999;
  std::vector<pollfd> descriptors;
  while (!floor.stop_now) {
    accept_connections(floor);
    serve_reports(floor);
    serve_retransmissions(floor);
    if (floor.control >= 0) serve_commands(floor);
    const std::uint64_t now_ms = monotonic_ms();  // what the daemon's timers are compared with
    if (now_ms != 0 && monotonic_ms() - floor.last_send_ms > silence_ms) send_live(floor, mold::header_length);
    wait_for_work(floor, descriptors);
  }
}

}  // namespace
}  // namespace vorbeld

int main(int argc, char** argv) {
  using namespace vorbeld;
  const std::span<const char* const> arguments(argv, static_cast<std::size_t>(argc));
  const std::optional<BenchOptions> options = read_options(arguments.subspan(argc > 0 ? 1 : 0), nullptr);
  if (!options) return 2;
  Floor floor;
  if (!open_floor(floor, *options)) return 1;
  run_floor(floor);
  return 0;
}
