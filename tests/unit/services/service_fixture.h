// A bench around the side services: bonds, an engine whose feed goes to a socket of the test, and the verbs of its
// tests. Quiet, so that only what a service itself prints reaches the console.
#pragma once

#include <fcntl.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "feed/publisher.h"
#include "services/control_port.h"
#include "tests/unit/common/loopback.h"
#include "tests/unit/common/scratch.h"
#include "tests/unit/feed/feed_fixture.h"
#include "trades/amendment.h"
#include "trades/engine.h"
#include "trades/generator.h"
#include "trades/trade.h"

namespace vorbeld {

inline constexpr std::string_view first_cusip = "037833DT4";
inline constexpr std::string_view second_cusip = "345370CS9";

struct ServiceBench {
  ScratchFolder folder;
  FeedBench feed;
  Engine engine{feed.publisher};
  Flow flow;
  PendingAmendments pending;
  RetransmissionServer retransmissions;

  ServiceBench() {
    engine.quiet = true;
    Bond first;
    first.cusip = first_cusip;
    first.symbol = "AAPL 3.85 43";
    first.coupon = 3.85;
    add_bond(engine.universe, std::move(first));
    Bond second;
    second.cusip = second_cusip;
    second.symbol = "F 4.35 26";
    second.high_yield = true;
    add_bond(engine.universe, std::move(second));
  }
};

// Sends a trade of the first bond, executed in November 2023, and returns its id.
inline std::uint64_t send_trade(ServiceBench& bench, double price, double quantity = 1000, char as_of = ' ') {
  TradeInput input{.cusip = first_cusip, .symbol = "", .venue = "V", .where = "w", .terms = {}};
  input.terms.price = price;
  input.terms.quantity = quantity;
  input.terms.as_of = as_of;
  input.terms.exec_s = 1'700'000'000;
  return disseminate_trade(bench.engine, input);
}

// The record of a trade of the bench, which must exist.
inline const TradeRecord& record_of(ServiceBench& bench, std::uint64_t trade_id) {
  return trade(bench.engine.trades, trade_id);
}

// Carries out one command line and returns its reply.
inline std::string reply_to(ServiceBench& bench, std::string_view line) {
  return run_command(line, {bench.engine, bench.flow, bench.pending, bench.retransmissions}).reply;
}

// Opens the truth file and the tape, in the bench's folder.
inline void open_truth(ServiceBench& bench) {
  open_lines(bench.engine.truth, bench.folder.path / "truth");
}
inline void open_tape(ServiceBench& bench) {
  open_lines(bench.engine.tape, bench.folder.path / "tape");
}

inline std::vector<std::string> truth_lines(const ServiceBench& bench) {
  return file_lines(bench.folder.path / "truth");
}
inline std::vector<std::string> tape_lines(const ServiceBench& bench) {
  return file_lines(bench.folder.path / "tape");
}

// A bound UDP socket that does not wait, as the services have theirs.
inline UdpSocket open_service_socket() {
  UdpSocket opened = open_udp();
  fcntl(opened.descriptor.value, F_SETFL, O_NONBLOCK);
  return opened;
}

}  // namespace vorbeld
