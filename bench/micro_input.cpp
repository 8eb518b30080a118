#include "bench/micro_input.h"

#include "trades/trade.h"

namespace vorbeld {

Bond sample_bond() {
  Bond bond;
  bond.cusip = "037833DT4";
  bond.symbol = "AAPL 3.85 43";
  bond.short_name = "AAPL";
  bond.description = "AAPL 3.85 05/04/43";
  bond.sub_product = "CORP";
  bond.coupon = 3.85;
  return bond;
}

TradeInput sample_trade(std::uint64_t number) {
  constexpr std::uint64_t first_exec_s = 1'700'000'000;
  constexpr std::uint64_t day_s = 86'400;
  constexpr std::uint64_t stride = 7919;  // prime, so that neighbours differ and every thousandth comes up
  TradeInput input{.cusip = "037833DT4", .symbol = "AAPL 3.85 43", .venue = "ATS1", .where = "away", .terms = {}};
  input.terms.price = 90 + static_cast<double>(number * stride % 20'000) / 1000;
  input.terms.quantity = static_cast<double>(number % 10 + 1) * 700'000;
  input.terms.exec_s = first_exec_s + number;
  input.terms.settle_s = input.terms.exec_s + day_s;
  input.exec_ms = input.terms.exec_s * 1000;
  input.report_ms = input.exec_ms + 250;
  return input;
}

std::unique_ptr<Bench> make_bench(std::uint64_t trades) {
  auto bench = std::make_unique<Bench>();
  start_publisher(bench->publisher, "BTDS000001");
  bench->engine.quiet = true;
  add_bond(bench->engine.universe, sample_bond());
  for (std::uint64_t number = 0; number < trades; ++number) disseminate_trade(bench->engine, sample_trade(number));
  return bench;
}

std::uint64_t byte_sum(std::span<const char> bytes, std::uint64_t sum) {
  for (const char byte : bytes) sum = (sum ^ static_cast<unsigned char>(byte)) * 1'099'511'628'211ULL;
  return sum;
}

}  // namespace vorbeld
