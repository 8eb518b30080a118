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

Event event_of(EventKind kind, std::uint64_t first) {
  Event event;
  event.kind = kind;
  event.first = event.last = first;
  return event;
}

TEST(Screen, KeepsTheLatestEvents) {
  Dashboard dashboard = dashboard_after_a_trade();
  for (std::uint64_t i = 0; i < 2 * most_recent; ++i) take_event(dashboard, message(i, "bad"));
  EXPECT_EQ(dashboard.recent.size(), most_recent);
}

TEST(Dashboard, LearnsOfARestartByTheFeed) {
  Dashboard dashboard = dashboard_after_a_trade();
  take_event(dashboard, event_of(EventKind::missing, 4));
  take_event(dashboard, event_of(EventKind::end_of_session, 5));
  EXPECT_TRUE(dashboard.is_lossy && dashboard.has_ended);
  Event again = event_of(EventKind::began_again, 1);
  again.at_ms = 7000;
  take_event(dashboard, again);
  EXPECT_EQ(dashboard.restarted_ms, 7000U);
  EXPECT_TRUE(dashboard.books.empty());
  EXPECT_FALSE(dashboard.is_lossy || dashboard.has_ended);
}

TEST(Dashboard, LearnsOfARestartByTheControlPortToo) {
  Dashboard dashboard;
  const auto stats = [](std::uint64_t seq) { return FieldList{{"seq", seq}, {"reports", std::uint64_t{1}}}; };
  take_stats(dashboard, stats(12), 1000);
  take_stats(dashboard, {}, 2000);
  EXPECT_TRUE(dashboard.stats.empty());
  take_stats(dashboard, stats(12), 3000);
  EXPECT_EQ(dashboard.restarted_ms, 0U);
  take_stats(dashboard, stats(3), 4000);
  EXPECT_EQ(dashboard.restarted_ms, 4000U);
}

TEST(Dashboard, CountsSilenceFromTheLatestPacketOrTheFirstLook) {
  Dashboard dashboard;
  ReceiverTotals totals;
  look_at_clock(dashboard, totals, 1000);
  look_at_clock(dashboard, totals, 2500);
  EXPECT_EQ(silent_ms(dashboard), 1500U);
  totals.ours = 1;
  look_at_clock(dashboard, totals, 2600);
  EXPECT_EQ(silent_ms(dashboard), 0U);
  look_at_clock(dashboard, totals, 5000);
  EXPECT_EQ(silent_ms(dashboard), 2400U);
}

TEST(Losses, OfABondAreThoseThatWereRecovered) {
  Dashboard dashboard;
  Event event = message(3, sample::trade());
  event.via = Via::recovered;
  take_event(dashboard, event);
  EXPECT_EQ(dashboard.losses["037833DT4"].recovered, 1U);
  EXPECT_FALSE(dashboard.losses["037833DT4"].lacks);
}

// The sample trade is the first of its day at 98.25; the cancel's day has its high at 101.5, which nobody told of.
TEST(Losses, ShowInAMessageThatContradictsWhatWasHeard) {
  for (const bool is_lossy : {false, true}) {
    Dashboard dashboard = dashboard_after_a_trade();
    if (is_lossy) take_event(dashboard, event_of(EventKind::missing, 4));
    Event halt = message(5, sample::halt());
    take_event(dashboard, halt);
    EXPECT_TRUE(dashboard.losses.empty());
    dashboard.books["037833DT4"].day.high = Sale{99, 3.9};
    take_event(dashboard, message(6, sample::cancel()));
    EXPECT_EQ(dashboard.losses.contains("037833DT4"), is_lossy);
  }
}

TEST(Losses, AreNotShownByWhatIsNotKnown) {
  const std::string trade_bytes = sample::trade();
  const std::string cancel_bytes = sample::cancel();
  const Decoded trade = decode_message(trade_bytes);
  const Decoded cancel = decode_message(cancel_bytes);
  EXPECT_FALSE(shows_loss({}, trade.message));
  EXPECT_FALSE(shows_loss({}, cancel.message));
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
