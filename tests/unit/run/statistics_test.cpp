// The statistics file: its one line byte for byte, when it is written, and how it replaces the one before.
#include "run/statistics.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <string>

#include "common/clocks.h"
#include "tests/unit/common/console.h"
#include "tests/unit/run/run_fixture.h"
#include "trades/session.h"

namespace vorbeld {
namespace {

constexpr std::uint64_t now_ms = start_ms;  // the file is due at once

std::filesystem::path stats_path(const RunBench& bench) {
  return bench.folder.path / "stats.json";
}

// The file after it was written, "N" for the time stamp, which must be that of the writing.
std::string written(RunBench& bench, std::uint64_t at_ms = now_ms) {
  bench.run.options.stats_path = stats_path(bench);
  const std::uint64_t before = wall_ms();
  write_statistics(bench.run, at_ms);
  const std::uint64_t after = wall_ms();
  const std::string text = file_text(stats_path(bench));
  const std::string key = "{\"ts_ms\":";
  EXPECT_TRUE(text.starts_with(key)) << text;
  std::size_t digits = 0;
  const std::uint64_t stamp = std::stoull(text.substr(key.size()), &digits);
  EXPECT_GE(stamp, before);
  EXPECT_LE(stamp, after);
  return key + "N" + text.substr(key.size() + digits);
}

TEST(StatisticsFile, OfAnIdleRunShowsZeros) {
  RunBench bench;
  EXPECT_EQ(written(bench),
            "{\"ts_ms\":N,\"seq\":0,\"reports\":0,\"capped\":0,\"cancels\":0,\"corrections\":0,\"halts\":0,"
            "\"retransmissions\":0,\"packets\":0,\"dropped\":0,\"heartbeats\":0,\"closed\":false,\"by_venue\":{}}\n");
}

TEST(StatisticsFile, TellsEachCounterFromTheOthers) {
  RunBench bench;
  MoldPublisher& publisher = bench.run.publisher;
  publisher.next_sequence = 18'446'744'073'709'551'615U;
  publisher.packets = 8;
  publisher.retransmission_requests = 7;
  publisher.heartbeats = 10;
  publisher.fault_counters.dropped = 9;
  RunCounters& counters = bench.run.engine.counters;
  counters.reports = 2;
  counters.capped = 3;
  counters.cancels = 4;
  counters.corrections = 5;
  counters.halts = 6;
  EXPECT_EQ(written(bench),
            "{\"ts_ms\":N,\"seq\":18446744073709551614,\"reports\":2,\"capped\":3,\"cancels\":4,\"corrections\":5,"
            "\"halts\":6,\"retransmissions\":7,\"packets\":8,\"dropped\":9,\"heartbeats\":10,\"closed\":false,"
            "\"by_venue\":{}}\n");
}

TEST(StatisticsFile, SaysThatTheSessionIsClosed) {
  RunBench bench;
  console_of([&] { close_session(bench.run.engine); });
  EXPECT_NE(written(bench).find("\"closed\":true,\"by_venue\""), std::string::npos);
}

TEST(StatisticsFile, EscapesQuotesAndBackslashesOfVenuesOnly) {
  RunBench bench;
  bench.run.engine.counters.by_venue["a\"b\\c\t\x01\xff/"] = 12;
  EXPECT_TRUE(written(bench).ends_with("\"by_venue\":{\"a\\\"b\\\\c\t\x01\xff/\":12}}\n"));
}

TEST(StatisticsFile, ListsVenuesInTheOrderOfTheMap) {
  RunBench bench;
  auto& by_venue = bench.run.engine.counters.by_venue;
  for (int i = 0; i < 30; ++i) by_venue["V" + std::to_string(i)] = static_cast<std::uint64_t>(i);
  std::string entries;
  for (const auto& [venue, count] : by_venue) {
    entries += (entries.empty() ? "" : ",") + ("\"" + venue + "\":" + std::to_string(count));
  }
  EXPECT_TRUE(written(bench).ends_with("\"by_venue\":{" + entries + "}}\n"));
}

TEST(StatisticsFile, CountsTradesByVenue) {
  RunBench bench;
  send_trade(bench);
  send_trade(bench);
  EXPECT_TRUE(written(bench).ends_with("\"by_venue\":{\"V\":2}}\n"));
}

TEST(StatisticsFile, IsDueInTheFirstPassAndOnceASecond) {
  RunBench bench;
  bench.run.options.stats_path = stats_path(bench);
  const auto written_at = [&](std::uint64_t at_ms) {
    std::filesystem::remove(stats_path(bench));
    write_statistics(bench.run, at_ms);
    return std::filesystem::exists(stats_path(bench));
  };
  EXPECT_TRUE(written_at(start_ms));
  EXPECT_EQ(bench.run.timers.last_stats_ms, start_ms);
  EXPECT_FALSE(written_at(start_ms + 999));
  EXPECT_TRUE(written_at(start_ms + 1'004));
  EXPECT_FALSE(written_at(start_ms + 2'003));
  EXPECT_TRUE(written_at(start_ms + 2'004));
}

TEST(StatisticsFile, IsNotWrittenWithoutAPath) {
  RunBench bench;
  const auto working_folder = std::filesystem::current_path();
  std::filesystem::current_path(bench.folder.path);
  write_statistics(bench.run, now_ms);
  std::filesystem::current_path(working_folder);
  EXPECT_TRUE(std::filesystem::is_empty(bench.folder.path));
}

TEST(StatisticsFile, ReplacesTheOneBeforeWithoutTouchingIt) {
  RunBench bench;
  write_file(stats_path(bench), "the one before");
  const Descriptor reader(open(stats_path(bench).c_str(), O_RDONLY));
  written(bench);
  std::array<char, 100> seen{};
  const ssize_t length = read(reader.value, seen.data(), seen.size());
  ASSERT_EQ(length, 14);
  EXPECT_EQ(std::string(seen.data(), 14), "the one before");
}

TEST(StatisticsFile, LeavesNothingBesideIt) {
  RunBench bench;
  const std::filesystem::path unfinished = stats_path(bench).string() + ".tmp";
  write_file(unfinished, std::string(10'000, 'x'));  // of a run that died while it wrote
  const std::string text = written(bench);
  EXPECT_LT(text.size(), 1'000U);
  EXPECT_FALSE(std::filesystem::exists(unfinished));
}

TEST(StatisticsFile, FailsSilentlyAndTriesAgainASecondLater) {
  RunBench bench;
  bench.run.options.stats_path = bench.folder.path / "absent" / "stats.json";
  EXPECT_EQ(console_of([&] { write_statistics(bench.run, now_ms); }), "");
  EXPECT_EQ(bench.run.timers.last_stats_ms, now_ms);
  std::filesystem::create_directory(bench.folder.path / "absent");
  write_statistics(bench.run, now_ms + 999);
  EXPECT_FALSE(std::filesystem::exists(bench.run.options.stats_path));
  write_statistics(bench.run, now_ms + 1'000);
  EXPECT_TRUE(std::filesystem::exists(bench.run.options.stats_path));
}

TEST(StatisticsFile, StaysAsItIsWhenItCannotBeReplaced) {
  RunBench bench;
  write_file(stats_path(bench), "the one before");
  std::filesystem::create_directory(stats_path(bench).string() + ".tmp");  // so that the new one cannot be made
  std::filesystem::create_directory(stats_path(bench).string() + ".tmp/in the way");
  bench.run.options.stats_path = stats_path(bench);
  EXPECT_EQ(console_of([&] { write_statistics(bench.run, now_ms); }), "");
  EXPECT_EQ(file_text(stats_path(bench)), "the one before");
}

}  // namespace
}  // namespace vorbeld
