// Reported trades: what a report does to bonds, tape and wire, and the cancels that a scenario hangs on reports.
#include <gtest/gtest.h>

#include <string>

#include "common/clocks.h"
#include "services/report_intake.h"
#include "tests/unit/common/console.h"
#include "tests/unit/services/report_fixture.h"
#include "trades/session.h"

namespace vorbeld {
namespace {

std::string body_of(ReportBench& bench, std::uint64_t trade_id) {
  const TradeBody& body = record_of(bench.services, trade_id).body;
  return {body.begin(), body.end()};
}

Bond& newest_bond(ReportBench& bench) {
  return bench.services.engine.universe.bonds.back();
}

TEST(ReportedTrade, GoesOnTheWireAsReported) {
  ReportBench bench;
  const Descriptor client = connect_client(bench);
  report(bench, client, "T|037833DT4|X|98.5|1000000|B|ATS1|1700000000000|20231116|book\n");
  EXPECT_EQ(replies(bench, client), "A 0000001\n");
  const std::string body =
      "A"
      "00001000000.00"
      "0098.500000"
      "M B "
      "20231114171320"  // 22:13:20 UTC
      "    "
      "20231116"
      " 000003.908629"  // 100 * 3.85 / 98.5
      " TCY";
  EXPECT_EQ(body_of(bench, 1), body);
  EXPECT_EQ(record_of(bench.services, 1).exec_s, 1'700'000'000U);
  const std::string message = sent_messages(bench.services.feed).at(0);
  EXPECT_EQ(message.substr(0, 9), "TM0000001");
  EXPECT_EQ(message.substr(24, 23), "AAPL 3.85 43  037833DT4");
  EXPECT_EQ(message.substr(72), body + "7");
}

TEST(ReportedTrade, BetweenDealersHasTheirParties) {
  ReportBench bench;
  const Descriptor client = connect_client(bench);
  report(bench, client, "T|037833DT4|X|98.5|1000||V|1700000000000|20231116|away\n");
  report(bench, client, "T|037833DT4|X|98.5|1000|D|V|1700000000000|20231116|away\n");
  for (const std::uint64_t trade_id : {1U, 2U}) {
    EXPECT_EQ(body_of(bench, trade_id).substr(26, 4), "  S ");  // remuneration, special, side, as-of
    EXPECT_EQ(body_of(bench, trade_id).substr(71), "DD ");      // reporting party, contra party, ATS
  }
}

TEST(ReportedTrade, SettlesOneDayAfterExecutionWithoutADate) {
  ReportBench bench;
  const Descriptor client = connect_client(bench);
  for (const std::string settlement : {"2023111", "2023-1-1", "", "abcdefgh"}) {
    report(bench, client, "T|037833DT4|X|98.5|1000|B|V|1700000000000|" + settlement + "|away\n");
    EXPECT_EQ(body_of(bench, bench.services.engine.counters.reports).substr(48, 8), "20231115") << settlement;
  }
}

TEST(ReportedTrade, IsWrittenOnTheTapeWithItsVenueAndTag) {
  ReportBench bench;
  open_tape(bench.services);
  const Descriptor client = connect_client(bench);
  report(bench, client, "T|037833DT4|X|98.5|1000|B|V\"1\\|1700000000123|20231116|aw\"ay\n");
  const std::string line = tape_lines(bench.services).at(0);
  const std::string before = "{\"seq\":1,\"ts_ms\":";
  EXPECT_TRUE(line.starts_with(before)) << line;
  const std::size_t comma = line.find(',', before.size());
  const std::size_t lag = line.find("\"report_lag_ms\":");
  EXPECT_EQ(line.substr(comma, lag - comma),
            ",\"cusip\":\"037833DT4\",\"symbol\":\"AAPL 3.85 43\",\"price\":98.500000,\"quantity\":1000,\"cap\":\"0\","
            "\"side\":\"B\",\"reporting_party\":\"D\",\"contra_party\":\"C\",\"exec_ts_ms\":1700000000123,");
  EXPECT_EQ(line.substr(line.find(",\"settle\"")),
            ",\"settle\":20231116,\"trade_id\":\"0000001\",\"venue\":\"V\\\"1\\\\\",\"where\":\"aw\\\"ay\"}");
  EXPECT_EQ(bench.services.engine.counters.by_venue.at("V\"1\\"), 1U);
}

TEST(ReportedTrade, TellsHowLateItWasReported) {
  ReportBench bench;
  open_tape(bench.services);
  const Descriptor client = connect_client(bench);
  const std::uint64_t before = wall_ms();
  report(bench, client, report_line("98.5"));
  const std::uint64_t after = wall_ms();
  const std::string line = tape_lines(bench.services).at(0);
  const std::string key = "\"report_lag_ms\":";
  const std::uint64_t lag = std::stoull(line.substr(line.find(key) + key.size()));
  EXPECT_GE(lag, before - 1'700'000'000'000U);
  EXPECT_LE(lag, after - 1'700'000'000'000U);
}

TEST(ReportedTrade, AddsABondForAnUnknownCusip) {
  ReportBench bench;
  const Descriptor client = connect_client(bench);
  report(bench, client, "T|NEW|A long symbol of it|98.5|1000|B|V|1700000000000|20231116|away\n");
  ASSERT_EQ(bench.services.engine.universe.bonds.size(), 3U);
  const Bond& bond = newest_bond(bench);
  EXPECT_EQ(bond.cusip, "NEW");
  EXPECT_EQ(bond.symbol, "A long symbol of it");
  EXPECT_EQ(bond.short_name, "A long symbo");
  EXPECT_EQ(bond.description, "A long symbol of it");
  EXPECT_EQ(bond.sub_product, "CORP");
  EXPECT_EQ(bond.mid, 100.0);
  EXPECT_EQ(bond.coupon, 5.0);
  EXPECT_FALSE(bond.high_yield);
  EXPECT_FALSE(bond.halted);
  EXPECT_EQ(bond.prints, 1U);
}

TEST(ReportedTrade, FindsTheBondThatAnEarlierOneAdded) {
  ReportBench bench;
  const Descriptor client = connect_client(bench);
  report(bench, client, report_line("98.5", "NEW"));
  report(bench, client, "T|NEW|another symbol|98.6|1000|B|V|1700000000000|20231116|away\n");
  EXPECT_EQ(bench.services.engine.universe.bonds.size(), 3U);
  EXPECT_EQ(newest_bond(bench).symbol, "X");
  EXPECT_EQ(newest_bond(bench).prints, 2U);
  EXPECT_EQ(sent_messages(bench.services.feed).at(1).substr(24, 14), "X             ");
}

TEST(ReportedTrade, AddsABondAsHighYieldOnlyWhenItIsListed) {
  ReportBench bench;
  bench.intake.high_yield_cusips = {"JUNK", std::string(first_cusip)};
  const Descriptor client = connect_client(bench);
  report(bench, client, "T|JUNK|J|98.5|1000001|B|V|1700000000000|20231116|away\n");
  EXPECT_TRUE(newest_bond(bench).high_yield);
  EXPECT_EQ(body_of(bench, 1).substr(0, 15), "E1MM+          ");
  report(bench, client, report_line("98.5", "JUNK2"));
  EXPECT_FALSE(newest_bond(bench).high_yield);
  report(bench, client, report_line("98.5"));
  EXPECT_FALSE(bench.services.engine.universe.bonds.front().high_yield);  // it was there before
}

TEST(ReportedTrade, IsRefusedAfterTheCloseWithTheIdZero) {
  ReportBench bench;
  const Descriptor client = connect_client(bench);
  console_of([&] { close_session(bench.services.engine); });
  EXPECT_EQ(console_of([&] { report(bench, client, report_line("98.5") + report_line("98.6")); }),
            "[vorbeld] the session is closed: trades reported now are not disseminated\n");
  EXPECT_EQ(replies(bench, client), "A 0000000\nA 0000000\n");
  EXPECT_EQ(bench.services.engine.counters.reports, 0U);
}

TEST(ReportedTrade, AddsItsBondEvenAfterTheClose) {
  ReportBench bench;
  const Descriptor client = connect_client(bench);
  console_of([&] {
    close_session(bench.services.engine);
    report(bench, client, report_line("98.5", "NEW"));
  });
  EXPECT_EQ(newest_bond(bench).cusip, "NEW");
}

TEST(CancelEvery, SchedulesTheCancelOfEachSoManyethReport) {
  ReportBench bench;
  bench.intake.cancel_every = 2;
  const Descriptor client = connect_client(bench);
  const std::uint64_t before = monotonic_ms();
  for (int i = 0; i < 5; ++i) report(bench, client, report_line("98.5"));
  const std::uint64_t after = monotonic_ms();
  const PendingAmendments& pending = bench.services.pending;
  ASSERT_EQ(pending.size(), 2U);
  EXPECT_EQ(pending[0].trade_id, 2U);
  EXPECT_EQ(pending[1].trade_id, 4U);
  for (const PendingAmendment& amendment : pending) {
    EXPECT_EQ(amendment.kind, Amendment::cancel);
    EXPECT_GE(amendment.due_ms, before + 3000);
    EXPECT_LE(amendment.due_ms, after + 3000);
  }
}

TEST(CancelEvery, CountsAllTradesNotOnlyReportedOnes) {
  ReportBench bench;
  bench.intake.cancel_every = 3;
  const Descriptor client = connect_client(bench);
  send_trade(bench.services, 98.5);
  send_trade(bench.services, 98.5);
  report(bench, client, report_line("98.5"));
  ASSERT_EQ(bench.services.pending.size(), 1U);
  EXPECT_EQ(bench.services.pending[0].trade_id, 3U);
}

TEST(CancelEvery, IsOffAtZero) {
  ReportBench bench;
  const Descriptor client = connect_client(bench);
  report(bench, client, report_line("98.5"));
  EXPECT_TRUE(bench.services.pending.empty());
}

TEST(CancelEvery, TakesNoNoticeOfMalformedLines) {
  ReportBench bench;
  bench.intake.cancel_every = 1;
  const Descriptor client = connect_client(bench);
  report(bench, client, "malformed\n");
  EXPECT_TRUE(bench.services.pending.empty());
}

TEST(CancelEvery, AlsoMatchesARefusedReport) {
  ReportBench bench;
  bench.intake.cancel_every = 2;
  const Descriptor client = connect_client(bench);
  report(bench, client, report_line("98.5") + report_line("98.6"));
  console_of([&] {
    close_session(bench.services.engine);
    report(bench, client, report_line("98.7"));  // two trades still, a multiple of two
  });
  ASSERT_EQ(bench.services.pending.size(), 2U);
  EXPECT_EQ(bench.services.pending[1].trade_id, 0U);
}

}  // namespace
}  // namespace vorbeld
