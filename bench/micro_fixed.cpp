// Fixed-point text: put_fixed against the C library's and the standard library's conversions, on the numbers of trades.
#include <benchmark/benchmark.h>

#include <array>
#include <charconv>
#include <cstdio>
#include <string_view>
#include <vector>

#include "bench/micro_input.h"
#include "common/numbers.h"

namespace vorbeld {
namespace {

constexpr int decimals = 6;

// Few enough to stay in the nearest cache, many enough that no branch can be foreseen from the last round.
constexpr std::uint64_t numbers = 1000;

std::vector<double> sample_yields() {
  std::vector<double> values;
  for (std::uint64_t i = 0; i < numbers; ++i) values.push_back(385.0 / sample_trade(i).terms.price);
  return values;
}

struct Buffer {
  std::array<char, 32> bytes;
};

std::string_view by_put_fixed(Buffer& buffer, double value) {
  return {buffer.bytes.data(), put_fixed(buffer.bytes, value, 0, decimals)};
}

std::string_view by_snprintf(Buffer& buffer, double value) {
  const int length = std::snprintf(buffer.bytes.data(), buffer.bytes.size(), "%.*f", decimals, value);
  return {buffer.bytes.data(), static_cast<std::size_t>(length)};
}

std::string_view by_to_chars(Buffer& buffer, double value) {
  char* const begin = buffer.bytes.data();
  const auto result = std::to_chars(begin, begin + buffer.bytes.size(), value, std::chars_format::fixed, decimals);
  return {begin, static_cast<std::size_t>(result.ptr - begin)};
}

std::uint64_t expected_sum(const std::vector<double>& values) {
  std::uint64_t sum = empty_sum;
  Buffer buffer;
  for (const double value : values) sum = byte_sum(by_snprintf(buffer, value), sum);
  return sum;
}

// Time per number. The sum over one more round, outside the measurement, must be that of the C library's text.
template <class Convert>
void convert_yields(benchmark::State& state, Convert convert) {
  const std::vector<double> values = sample_yields();
  Buffer buffer;
  std::size_t next = 0;
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(convert(buffer, values[next]));
    next = next + 1 == values.size() ? 0 : next + 1;
  }
  std::uint64_t sum = empty_sum;
  for (const double value : values) sum = byte_sum(convert(buffer, value), sum);
  if (sum != expected_sum(values)) state.SkipWithError("the text differs from the C library's");
  state.counters["check"] = static_cast<double>(sum % 1'000'000);
}

BENCHMARK_CAPTURE(convert_yields, put_fixed, by_put_fixed);
BENCHMARK_CAPTURE(convert_yields, snprintf, by_snprintf);
BENCHMARK_CAPTURE(convert_yields, to_chars, by_to_chars);

}  // namespace
}  // namespace vorbeld
