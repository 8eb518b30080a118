// A run that was not started by its command line: bonds and a feed to a socket of the test, time handed in. Quiet, so
// that only what the code under test itself prints reaches the console.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "run/configuration.h"
#include "run/run_state.h"
#include "tests/unit/common/loopback.h"
#include "tests/unit/common/scratch.h"
#include "trades/trade.h"

namespace vorbeld {

inline constexpr std::uint64_t start_ms = 5'000'000;  // when the run began, monotonic

struct RunBench {
  ScratchFolder folder;
  UdpSocket receiver = open_udp();
  RunState run;
  Descriptor feed_socket;  // closes what the run leaves to the end of the process

  RunBench() {
    start_publisher(run.publisher, "BTDS000001");
    open_feed(run.publisher, "127.0.0.1", receiver.port, "127.0.0.1");
    feed_socket.value = run.publisher.feed_socket;
    read_bonds(BenchOptions().bonds, {}, run.engine.universe);
    run.engine.quiet = true;
    run.generator.chance.engine.seed(7);
    run.timers.start_ms = start_ms;
    run.timers.last_status_ms = start_ms;
  }
};

// Makes every draw of the run this one number.
inline void fix_chance(RunBench& bench, double u) {
  bench.run.generator.chance.uniform = std::uniform_real_distribution<double>(u, u);
}

// A generator of the seed of the bench, `draws` numbers on: what the bench's own must equal after as many draws.
inline std::mt19937_64 chance_after(unsigned long long draws) {
  std::mt19937_64 engine(7);
  engine.discard(draws);
  return engine;
}

// Sends a trade of the first bond and returns its id.
inline std::uint64_t send_trade(RunBench& bench, double price = 98.5, double quantity = 1000) {
  TradeInput input{.cusip = "037833DT4", .symbol = "", .venue = "V", .where = "w", .terms = {}};
  input.terms.price = price;
  input.terms.quantity = quantity;
  input.terms.exec_s = 1'700'000'000;
  return disseminate_trade(bench.run.engine, input);
}

// The first `length` bytes of each message that the feed has carried since the last call, heartbeats left out. One
// message a packet.
inline std::vector<std::string> sent_kinds(const RunBench& bench, std::size_t length = 2) {
  constexpr std::size_t before_message = 22;
  std::vector<std::string> kinds;
  for (const std::string& packet : received_datagrams(bench.receiver)) {
    if (packet.size() > before_message) kinds.push_back(packet.substr(before_message, length));
  }
  return kinds;
}

}  // namespace vorbeld
