// An engine with two bonds whose feed goes to a socket of the test, and the verbs of its tests.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "common/clocks.h"
#include "common/line_file.h"
#include "tests/unit/btds/reference_time.h"
#include "tests/unit/common/scratch.h"
#include "tests/unit/feed/feed_fixture.h"
#include "trades/engine.h"
#include "trades/trade.h"

namespace vorbeld {

inline constexpr std::string_view apple_cusip = "037833DT4";  // investment grade, coupon 3.85
inline constexpr std::string_view ford_cusip = "345370CS9";   // high yield, coupon 4.35

// 2024-07-01 16:00:00 UTC, noon in feed local time.
inline constexpr std::uint64_t noon_s = 1'719'849'600;

inline Bond apple() {
  Bond bond;
  bond.cusip = apple_cusip;
  bond.symbol = "AAPL 3.85 43";
  bond.short_name = "AAPL";
  bond.description = "AAPL 3.85 05/04/43";
  bond.sub_product = "CORP";
  bond.mid = 98.25;
  bond.coupon = 3.85;
  return bond;
}

inline Bond ford() {
  Bond bond;
  bond.cusip = ford_cusip;
  bond.symbol = "F 4.35 26";
  bond.short_name = "F";
  bond.description = "F 4.35 12/08/26";
  bond.sub_product = "CORP";
  bond.high_yield = true;
  bond.mid = 97.8;
  bond.coupon = 4.35;
  return bond;
}

// Quiet, so that only tests of the console print.
struct EngineBench {
  ScratchFolder folder;
  FeedBench feed;
  Engine engine{feed.publisher};

  EngineBench() {
    engine.quiet = true;
    add_bond(engine.universe, apple());
    add_bond(engine.universe, ford());
  }
};

inline Bond& apple_of(EngineBench& bench) {
  return bench.engine.universe.bonds[0];
}
inline Bond& ford_of(EngineBench& bench) {
  return bench.engine.universe.bonds[1];
}

// A plain trade between dealers, executed at noon and settled two days later.
inline TradeInput plain_trade(double price = 96.25, std::string_view cusip = apple_cusip) {
  TradeInput input{.cusip = cusip, .symbol = "NEW 1", .venue = "ATS1", .where = "away", .terms = {}};
  input.terms.price = price;
  input.terms.quantity = 25'000;
  input.terms.exec_s = noon_s;
  input.terms.settle_s = noon_s + 2 * 86400;
  return input;
}

// Disseminates plain trades at these prices, each executed a second after the one before it.
inline void trade_at(EngineBench& bench, const std::vector<double>& prices) {
  for (const double price : prices) {
    TradeInput input = plain_trade(price);
    input.terms.exec_s += newest_trade(bench.engine.trades);
    disseminate_trade(bench.engine, input);
  }
}

inline TradeRecord& record_of(EngineBench& bench, std::uint64_t trade_id) {
  return trade(bench.engine.trades, trade_id);
}

// Counts trade ids on as if `count` trades had been disseminated. Their records must not be looked at.
template <class Element, std::size_t ChunkLength>
void skip_ids(Chunked<Element, ChunkLength>& records, std::size_t count) {
  records.chunks.resize(count / ChunkLength);
  records.size = records.chunks.size() * ChunkLength;
  while (records.size < count) append(records);
}

// The newest message of the feed, as the store keeps it; empty before the first.
inline std::string last_message(const EngineBench& bench) {
  const MessageStore& store = bench.feed.publisher.store;
  if (store.appended == 0) return "";
  const std::span<const char> block = stored_block(store, store.appended);
  return {block.data() + mold::block_prefix, block.size() - mold::block_prefix};
}

// What stands for the header's date and time in messages that are compared whole.
inline constexpr std::string_view sent_now = "(the time now)";
static_assert(sent_now.size() == 14);

// The message that `action` sends, its header's time replaced by `sent_now` when that is the time of the action.
template <class Action>
std::string message_of(const EngineBench& bench, const Action& action) {
  const std::uint64_t before_s = wall_ms() / 1000;
  action();
  const std::uint64_t after_s = wall_ms() / 1000;
  std::string message = last_message(bench);
  for (std::uint64_t second = before_s; second <= after_s; ++second) {
    if (message.substr(10, 14) == reference_date_time(static_cast<std::int64_t>(second))) {
      return message.replace(10, 14, sent_now);
    }
  }
  return "wrong time: " + message;
}

inline void open_truth(EngineBench& bench) {
  open_lines(bench.engine.truth, bench.folder.path / "truth");
}
inline void open_tape(EngineBench& bench) {
  open_lines(bench.engine.tape, bench.folder.path / "tape");
}

inline std::vector<std::string> truth_lines(const EngineBench& bench) {
  return file_lines(bench.folder.path / "truth");
}
inline std::vector<std::string> tape_lines(const EngineBench& bench) {
  return file_lines(bench.folder.path / "tape");
}

// The line written last; empty when there is none.
inline std::string last_truth(const EngineBench& bench) {
  const std::vector<std::string> lines = truth_lines(bench);
  return lines.empty() ? "" : lines.back();
}
inline std::string last_tape(const EngineBench& bench) {
  const std::vector<std::string> lines = tape_lines(bench);
  return lines.empty() ? "" : lines.back();
}

inline bool contains(const std::string& line, const std::string& text) {
  return line.find(text) != std::string::npos;
}

}  // namespace vorbeld
