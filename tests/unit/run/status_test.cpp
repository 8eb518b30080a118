// What the run tells, byte for byte: the lines that announce it, the status lines, the statistics file; when each is
// due, and how the file replaces the one before.
#include "run/status.h"

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

std::string banner_of(const RunState& run, const BenchOptions& options) {
  return console_of([&] { print_banner(run, options); });
}

TEST(Banner, NamesTheDefaults) {
  const RunBench bench;
  EXPECT_EQ(banner_of(bench.run, {}),
            "[vorbeld] BTDS 2.1 / MoldUDP64 233.54.19.111:28977 (iface 127.0.0.1) session BTDS000001 \xC2\xB7 "
            "retransmission udp :28979 \xC2\xB7 reports tcp :28978 \xC2\xB7 4 bonds \xC2\xB7 flow reported trades "
            "only\n");
}

TEST(Banner, NamesWhatWasGiven) {
  const RunState run;
  BenchOptions options;
  options.group = "not an address";
  options.feed_port = 1;
  options.interface = "10.0.0.1";
  options.session = "longer than ten characters";
  options.retransmission_port = 0;
  options.report_port = 65535;
  options.rate_ms = 4'294'967'295;
  options.scenario = "a=1,cancel_every=5";
  EXPECT_EQ(banner_of(run, options),
            "[vorbeld] BTDS 2.1 / MoldUDP64 not an address:1 (iface 10.0.0.1) session longer than ten characters · "
            "retransmission udp :0 · reports tcp :65535 · 0 bonds · flow every ~4294967295 ms · scenario "
            "a=1,cancel_every=5\n");
}

TEST(Banner, IsPrintedHoweverQuiet) {
  RunBench bench;
  bench.run.engine.quiet = true;
  BenchOptions options;
  options.quiet = true;
  EXPECT_NE(banner_of(bench.run, options), "");
}

TEST(Banner, IsFollowedByTheCommandsWhereTheControlPortIsOpen) {
  RunBench bench;
  bench.run.control.socket = 99;
  BenchOptions options;
  options.control_port = 28980;
  const std::string lines = banner_of(bench.run, options);
  EXPECT_EQ(lines.substr(lines.find('\n') + 1),
            "bench: control on 127.0.0.1:28980 (pause | resume | drop N | dup N | reorder N | drop_every N | dup_every "
            "N | reorder_every N | rate MS | cancel N | correct N | halt CUSIP [REASON] | resume_halt CUSIP | close | "
            "mark LABEL | stats | stop)\n");
}

TEST(Banner, NamesNoControlPortThatCouldNotBeHad) {
  const RunBench bench;
  BenchOptions options;
  options.control_port = 28980;
  EXPECT_EQ(banner_of(bench.run, options).find("bench: control"), std::string::npos);
}

constexpr std::uint64_t period_ms = 10'000;

std::string status_at(RunBench& bench, std::uint64_t now_ms) {
  return console_of([&] { print_status(bench.run, now_ms); });
}

TEST(Status, OfAnIdleRunShowsZeros) {
  RunBench bench;
  bench.run.publisher.heartbeats = 9;
  EXPECT_EQ(status_at(bench, start_ms + period_ms),
            "[vorbeld] seq 0 reports 0 capped 0 cancels 0 corrections 0 halts 0 as-of 0 retrans 0 packets 0 dropped 0 "
            "heartbeats 9 reporters 0\n"
            "vorbeld faults: sent 0 dropped 0 duplicated 0 reordered 0\n");
}

TEST(Status, TellsEachCounterFromTheOthers) {
  RunBench bench;
  MoldPublisher& publisher = bench.run.publisher;
  publisher.store.appended = 1;
  publisher.packets = 100;
  bench.run.retransmissions.requests = 8;
  publisher.heartbeats = 11;
  publisher.fault_counters = {.dropped = 10, .duplicated = 13, .reordered = 14};
  RunCounters& counters = bench.run.engine.counters;
  counters.reports = 2;
  counters.capped = 3;
  counters.cancels = 4;
  counters.corrections = 5;
  counters.halts = 6;
  counters.as_of = 7;
  counters.daily_summaries = 999;
  bench.run.intake.accepted = 12;
  EXPECT_EQ(status_at(bench, start_ms + period_ms),
            "[vorbeld] seq 1 reports 2 capped 3 cancels 4 corrections 5 halts 6 as-of 7 retrans 8 packets 100 dropped "
            "10 heartbeats 11 reporters 12\n"
            "vorbeld faults: sent 90 dropped 10 duplicated 13 reordered 14\n");
}

TEST(Status, SaysThatTheSessionIsClosed) {
  RunBench bench;
  bench.run.engine.publisher.closed = true;
  const std::string lines = status_at(bench, start_ms + period_ms);
  EXPECT_NE(lines.find(" reporters 0 (session closed)\nvorbeld faults: sent 0 "), std::string::npos) << lines;
}

TEST(Status, CountsReportersThatHaveGone) {
  RunBench bench;
  bench.run.intake.accepted = 3;
  ASSERT_TRUE(bench.run.intake.open.empty());
  EXPECT_NE(status_at(bench, start_ms + period_ms).find(" reporters 3\n"), std::string::npos);
}

TEST(Status, CountsDroppedPacketsAsFormedButNotAsSent) {
  RunBench bench;
  bench.run.publisher.faults.armed_drops = 2;
  console_of([&] {
    for (int i = 0; i < 5; ++i) send_trade(bench);
  });
  const std::string lines = status_at(bench, start_ms + period_ms);
  EXPECT_NE(lines.find(" packets 5 dropped 2 "), std::string::npos) << lines;
  EXPECT_NE(lines.find("sent 3 dropped 2 "), std::string::npos) << lines;
}

TEST(Status, ComesTenSecondsAfterTheLast) {
  RunBench bench;
  EXPECT_EQ(status_at(bench, start_ms), "");
  EXPECT_EQ(status_at(bench, start_ms + 9'999), "");
  EXPECT_NE(status_at(bench, start_ms + 10'003), "");
  EXPECT_EQ(bench.run.timers.last_status_ms, start_ms + 10'003);
  EXPECT_EQ(status_at(bench, start_ms + 20'002), "");
  EXPECT_NE(status_at(bench, start_ms + 20'003), "");
}

TEST(Status, IsPrintedHoweverQuiet) {
  RunBench bench;
  ASSERT_TRUE(bench.run.engine.quiet);
  EXPECT_NE(status_at(bench, start_ms + period_ms), "");
}

constexpr std::uint64_t due_ms = start_ms;  // the file is due at once

std::filesystem::path stats_path(const RunBench& bench) {
  return bench.folder.path / "stats.json";
}

// The file after it was written, "N" for the time stamp, which must be that of the writing.
std::string written(RunBench& bench, std::uint64_t at_ms = due_ms) {
  bench.run.stats_path = stats_path(bench);
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
  publisher.store.appended = 18'446'744'073'709'551'614U;
  publisher.packets = 8;
  bench.run.retransmissions.requests = 7;
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
  bench.run.stats_path = stats_path(bench);
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
  write_statistics(bench.run, due_ms);
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
  bench.run.stats_path = bench.folder.path / "absent" / "stats.json";
  EXPECT_EQ(console_of([&] { write_statistics(bench.run, due_ms); }), "");
  EXPECT_EQ(bench.run.timers.last_stats_ms, due_ms);
  std::filesystem::create_directory(bench.folder.path / "absent");
  write_statistics(bench.run, due_ms + 999);
  EXPECT_FALSE(std::filesystem::exists(bench.run.stats_path));
  write_statistics(bench.run, due_ms + 1'000);
  EXPECT_TRUE(std::filesystem::exists(bench.run.stats_path));
}

TEST(StatisticsFile, StaysAsItIsWhenItCannotBeReplaced) {
  RunBench bench;
  write_file(stats_path(bench), "the one before");
  std::filesystem::create_directory(stats_path(bench).string() + ".tmp");  // so that the new one cannot be made
  std::filesystem::create_directory(stats_path(bench).string() + ".tmp/in the way");
  bench.run.stats_path = stats_path(bench);
  EXPECT_EQ(console_of([&] { write_statistics(bench.run, due_ms); }), "");
  EXPECT_EQ(file_text(stats_path(bench)), "the one before");
}

TEST(StatisticsFile, StaysAsItIsWhenTheDiskIsFull) {
  RunBench bench;
  const std::filesystem::path unfinished = stats_path(bench).string() + ".tmp";
  write_file(stats_path(bench), "the one before");
  std::filesystem::create_symlink("/dev/full", unfinished);  // opens, but takes no byte
  bench.run.stats_path = stats_path(bench);
  EXPECT_EQ(console_of([&] { write_statistics(bench.run, due_ms); }), "");
  EXPECT_FALSE(std::filesystem::is_symlink(unfinished));
  ASSERT_FALSE(std::filesystem::is_symlink(stats_path(bench)));  // it would have no end to read to
  EXPECT_EQ(file_text(stats_path(bench)), "the one before");
  EXPECT_EQ(bench.run.timers.last_stats_ms, due_ms);
}

TEST(StatisticsFile, LeavesNothingBesideAPathThatCannotBeAFile) {
  RunBench bench;
  std::filesystem::create_directory(stats_path(bench));
  bench.run.stats_path = stats_path(bench);
  EXPECT_EQ(console_of([&] { write_statistics(bench.run, due_ms); }), "");
  EXPECT_TRUE(std::filesystem::is_directory(stats_path(bench)));
  EXPECT_FALSE(std::filesystem::exists(stats_path(bench).string() + ".tmp"));
}

}  // namespace
}  // namespace vorbeld
