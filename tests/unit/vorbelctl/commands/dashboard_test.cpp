// The screen of "watch" as text.
#include "vorbelctl/commands/dashboard.h"

#include <gtest/gtest.h>

#include "tests/unit/vorbelctl/handler/sample_messages.h"
#include "vorbelctl/doors/control_port.h"

namespace vorbelctl {
namespace {

Event message(std::uint64_t sequence, const std::string& bytes) {
  Event event;
  event.first = event.last = sequence;
  event.text = bytes;
  return event;
}

Dashboard dashboard_after_a_trade() {
  Dashboard dashboard;
  take_event(dashboard, message(3, sample::trade()));
  return dashboard;
}

TEST(Rate, IsTheGrowthBetweenTwoLooks) {
  Rate rate;
  update_rate(rate, 100, 5000);
  EXPECT_EQ(rate.per_second, 0);
  update_rate(rate, 150, 5500);
  EXPECT_EQ(rate.per_second, 100);
  update_rate(rate, 10, 6500);  // a bench that was started anew
  EXPECT_EQ(rate.per_second, 10);
}

TEST(Screen, ShowsTheBondsAndWhatHappened) {
  Dashboard dashboard = dashboard_after_a_trade();
  take_event(dashboard, message(4, sample::halt()));
  ReceiverTotals totals;
  totals.messages = 2;
  const auto lines = screen_lines(dashboard, totals, 200, 20);
  EXPECT_EQ(lines[0], "vorbelctl watch   BTDS000001 on 233.54.19.111:28977   q ends it");
  EXPECT_EQ(lines[1], "feed    0.0/s  messages 2  packets 0  heartbeats 0");
  EXPECT_EQ(lines[3], "bench   the control port 127.0.0.1:28980 does not answer");
  EXPECT_EQ(lines[5], "cusip     symbol               last       high        low print canc corr");
  EXPECT_EQ(lines[6], "037833DT4 AAPL 3.85 43    98.250000  98.250000  98.250000     1    0    0 HALTED T.1");
  EXPECT_EQ(lines.back(), "       4  halt         12:00:03  037833DT4 AAPL 3.85 43   halted T.1");
}

TEST(Screen, ShowsTheStatistics) {
  Dashboard dashboard;
  dashboard.stats = *parse_stats(
      "seq 12 messages 13 packets 9 reports 10 capped 2 cancels 1 corrections 3 halts 4 retrans 5 "
      "vorbeld faults: sent 8 dropped 1 duplicated 6 reordered 7");
  const auto lines = screen_lines(dashboard, {}, 200, 20);
  EXPECT_EQ(lines[3], "bench   0.0/s  seq 12  reports 10  capped 2  retrans 5");
  EXPECT_EQ(lines[4], "        cancels 1  corrections 3  halts 4");
  EXPECT_EQ(lines[5], "faults  sent 8  dropped 1  duplicated 6  reordered 7");
}

TEST(Screen, ShowsAHaltAndLargeNumbersOnAnOrdinaryTerminal) {
  Dashboard dashboard = dashboard_after_a_trade();
  take_event(dashboard, message(4, sample::halt()));
  dashboard.reports.per_second = 1234;
  dashboard.stats = *parse_stats(
      "seq 1234567 messages 1234567 packets 1234567 reports 1234567 capped 1234567 cancels 1234567 corrections 1234567 "
      "halts 1234567 retrans 1234 vorbeld faults: sent 1234567 dropped 1234567 duplicated 1234567 reordered 1234567");
  const auto lines = screen_lines(dashboard, {}, 80, 24);
  EXPECT_EQ(lines[3], "bench   1234.0/s  seq 1234567  reports 1234567  capped 1234567  retrans 1234");
  EXPECT_EQ(lines[4], "        cancels 1234567  corrections 1234567  halts 1234567");
  EXPECT_EQ(lines[5], "faults  sent 1234567  dropped 1234567  duplicated 1234567  reordered 1234567");
  EXPECT_EQ(lines[8].substr(60), "  1    0    0 HALTED");
}

TEST(Screen, KeepsRoomForEventsAndCountsTheBondsThatItLeavesOut) {
  Dashboard dashboard;
  for (int bond = 10; bond < 40; ++bond) dashboard.books["0000000" + std::to_string(bond)];
  for (std::uint64_t i = 1; i <= 9; ++i) take_event(dashboard, message(i, "bad"));
  const auto lines = screen_lines(dashboard, {}, 80, 24);
  ASSERT_EQ(lines.size(), 24U);
  EXPECT_EQ(lines[16].substr(0, 9), "000000020");
  EXPECT_EQ(lines[17], "... 19 more");
  EXPECT_EQ(lines[18], "");
  EXPECT_EQ(lines[19].substr(0, 22), "       5  malformed   ");
  EXPECT_EQ(lines[23].substr(0, 22), "       9  malformed   ");
}

TEST(Screen, GivesTheBondsTheRoomThatEventsDoNotNeed) {
  Dashboard dashboard;
  for (int bond = 10; bond < 27; ++bond) dashboard.books["0000000" + std::to_string(bond)];
  const auto lines = screen_lines(dashboard, {}, 80, 24);
  EXPECT_EQ(lines[22].substr(0, 9), "000000026");
}

TEST(Screen, SaysNothingOfAControlPortThatIsNotThere) {
  Dashboard dashboard;
  dashboard.addresses.control_port = 0;
  for (const auto& line : screen_lines(dashboard, {}, 80, 24)) EXPECT_EQ(line.find("control port"), std::string::npos);
}

TEST(Screen, NeverExceedsItsTerminal) {
  Dashboard dashboard = dashboard_after_a_trade();
  for (std::uint64_t i = 0; i < 2 * most_recent; ++i) take_event(dashboard, message(i, "bad"));
  EXPECT_EQ(dashboard.recent.size(), most_recent);
  for (const std::size_t height : {1U, 5U, 24U}) {
    const auto lines = screen_lines(dashboard, {}, 30, height);
    EXPECT_EQ(lines.size(), height);
    for (const auto& line : lines) EXPECT_LE(line.size(), 30U);
  }
}

TEST(Screen, LeavesEverydayEventsOut) {
  Dashboard dashboard = dashboard_after_a_trade();
  Event heartbeat;
  heartbeat.kind = EventKind::heartbeat;
  take_event(dashboard, heartbeat);
  heartbeat.kind = EventKind::gap_closed;
  take_event(dashboard, heartbeat);
  EXPECT_TRUE(dashboard.recent.empty());
}

TEST(Status, FitsOneLine) {
  const Dashboard dashboard = dashboard_after_a_trade();
  ReceiverTotals totals;
  totals.missing = 3;
  EXPECT_EQ(status_line(dashboard, totals), "feed 0.0/s  messages 0  missing 3  duplicates 0  heartbeats 0");
  EXPECT_EQ(*find_value(list_status(dashboard, totals), "missing"), Value(std::uint64_t{3}));
}

}  // namespace
}  // namespace vorbelctl
