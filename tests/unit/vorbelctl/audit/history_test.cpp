// The course of a run, summed up: slices that double, gaps by what became of them, halts, idle times and prices.
#include "vorbelctl/audit/history.h"

#include <gtest/gtest.h>

#include <numeric>
#include <set>

namespace vorbelctl {
namespace {

constexpr std::int64_t begin_s = 1719849600;
constexpr std::int64_t begin_ms = begin_s * 1000;

Reconciled message_at(std::int64_t sent_s, Kind kind, const std::string& cusip = "345370CS9") {
  Reconciled message;
  message.recorded = true;
  message.kind = kind;
  message.cusip = cusip;
  message.sent_s = sent_s;
  return message;
}

Reconciled trade_at(std::int64_t sent_s, double price, const std::string& cusip = "345370CS9") {
  Reconciled message = message_at(sent_s, Kind::trade, cusip);
  message.price = price;
  message.last_sale = true;
  return message;
}

Reconciled halt_at(std::int64_t sent_s, char action) {
  Reconciled message = message_at(sent_s, Kind::halt);
  message.action = action;
  return message;
}

Event range_event(EventKind kind, std::uint64_t first, std::uint64_t last) {
  Event event;
  event.kind = kind;
  event.first = first;
  event.last = last;
  return event;
}

void take_message(History& history, Via via) {
  Event event;
  event.via = via;
  note_event(history, event, begin_ms);
}

TEST(History, CountsMessagesBySecond) {
  History history;
  for (const int second : {0, 0, 1, 3}) note_message(history, trade_at(begin_s + second, 98), 0);
  ASSERT_EQ(history.timeline.slices.size(), 4U);
  EXPECT_EQ(history.timeline.slices[0].messages, 2U);
  EXPECT_EQ(history.timeline.slices[1].messages, 1U);
  EXPECT_EQ(history.timeline.slices[2].messages, 0U);
  EXPECT_EQ(history.timeline.slices[3].messages, 1U);
  EXPECT_EQ(history.begin_ms, begin_ms);
}

TEST(History, MarksWhatTheBenchWasTold) {
  History history;
  note_message(history, halt_at(begin_s, 'H'), 0);
  Reconciled labelled = halt_at(begin_s + 2, 'R');
  labelled.labels = {"half way"};
  note_missing(history, labelled);
  ASSERT_EQ(history.milestones.size(), 3U);
  EXPECT_EQ(history.milestones[0].what, "halt 345370CS9");
  EXPECT_EQ(history.milestones[1].what, "mark half way");
  EXPECT_EQ(history.milestones[2].what, "resume 345370CS9");
  EXPECT_EQ(history.milestones[2].at_ms, begin_ms + 2000);
}

TEST(History, KeepsTheFirstMarksAndCountsThemAll) {
  History history;
  for (std::size_t i = 0; i < most_milestones_listed + 7; ++i) note_message(history, halt_at(begin_s, 'H'), 0);
  EXPECT_EQ(history.milestones.size(), most_milestones_listed);
  EXPECT_EQ(history.milestones_total, most_milestones_listed + 7);
}

TEST(History, CountsDiscrepanciesWhereTheyTurnedUp) {
  History history;
  Reconciled wrong = trade_at(begin_s, 98);
  wrong.found = 2;
  note_turned_up(history, wrong);  // the run has not begun: there is no place for them
  note_message(history, wrong, 0);
  wrong.sent_s = 0;  // not known: it stands where the message before does
  note_message(history, wrong, 0);
  for (int second = 0; second < 1000; ++second) note_message(history, trade_at(begin_s + second, 98), 0);
  EXPECT_EQ(history.timeline.slices[0].discrepancies, 4U);
}

TEST(History, DoublesItsSlicesInsteadOfGrowing) {
  History history;
  for (int second = 0; second < 1000; ++second) note_message(history, trade_at(begin_s + second, 98), 0);
  EXPECT_LE(history.timeline.slices.size(), most_slices);
  EXPECT_EQ(history.timeline.width_ms, 8000);
  EXPECT_EQ(history.timeline.slices[0].messages, 8U);
  const auto total =
      std::accumulate(history.timeline.slices.begin(), history.timeline.slices.end(), std::uint64_t{0},
                      [](std::uint64_t sum, const TimelineSlice& slice) { return sum + slice.messages; });
  EXPECT_EQ(total, 1000U);
}

TEST(History, TakesTheArrivalForTheMomentWithinTheSecond) {
  History history;
  note_message(history, trade_at(begin_s, 98), begin_ms + 420);
  EXPECT_EQ(history.message_ms, begin_ms + 420);
  note_message(history, trade_at(begin_s, 98), begin_ms + 5000);
  EXPECT_EQ(history.message_ms, begin_ms + 999) << "a message that came late was still sent in its second";
}

TEST(History, KeepsHighLowAndLastOfASlice) {
  History history;
  for (const double price : {98.0, 99.5, 97.25, 98.5}) note_message(history, trade_at(begin_s, price), 0);
  ASSERT_EQ(history.bonds.size(), 1U);
  const PriceSlice& slice = history.bonds[0].prices.slices.at(0);
  EXPECT_EQ(slice.prints, 4U);
  EXPECT_EQ(slice.high, 99.5);
  EXPECT_EQ(slice.low, 97.25);
  EXPECT_EQ(slice.last, 98.5);
}

TEST(History, KeepsPricesWhenSlicesAreMerged) {
  History history;
  note_message(history, trade_at(begin_s, 98), 0);
  note_message(history, trade_at(begin_s + 1, 99), 0);
  note_message(history, trade_at(begin_s + 3600, 97), 0);
  const auto& slices = history.bonds[0].prices.slices;
  EXPECT_EQ(slices.front().high, 99);
  EXPECT_EQ(slices.front().low, 98);
  EXPECT_EQ(slices.front().last, 99);
  EXPECT_EQ(slices.back().last, 97);
}

TEST(History, DrawsTheFirstBondsOnly) {
  History history;
  for (std::size_t i = 0; i < 2 * most_bonds_drawn; ++i) {
    note_message(history, trade_at(begin_s, 98, std::to_string(i)), 0);
  }
  EXPECT_EQ(history.bonds.size(), most_bonds_drawn);
  EXPECT_EQ(history.trades, 2 * most_bonds_drawn);
}

TEST(History, CallsAGapThatWasOnlyLateOutOfOrder) {
  History history;
  note_event(history, range_event(EventKind::gap, 5, 6), begin_ms);
  take_message(history, Via::late);
  take_message(history, Via::late);
  note_event(history, range_event(EventKind::gap_closed, 5, 6), begin_ms);
  ASSERT_EQ(history.faults.size(), 1U);
  EXPECT_EQ(history.faults[0].kind, FaultKind::out_of_order);
  EXPECT_EQ(history.faults[0].late, 2U);
}

TEST(History, CallsAGapLostWhenPartOfItHadToBeFetchedOrNeverCame) {
  History history;
  note_event(history, range_event(EventKind::gap, 5, 8), begin_ms);
  take_message(history, Via::late);
  take_message(history, Via::recovered);
  note_event(history, range_event(EventKind::missing, 7, 8), begin_ms);
  note_event(history, range_event(EventKind::gap_closed, 5, 8), begin_ms);
  ASSERT_EQ(history.faults.size(), 1U);
  EXPECT_EQ(history.faults[0].kind, FaultKind::lost);
  EXPECT_EQ(history.faults[0].recovered, 1U);
  EXPECT_EQ(history.faults[0].missing, 2U);
}

TEST(History, CallsAGapThatAHeartbeatRevealedATail) {
  History history;
  note_event(history, range_event(EventKind::gap, 5, 6), begin_ms);
  note_event(history, range_event(EventKind::heartbeat, 7, 0), begin_ms);
  take_message(history, Via::recovered);
  take_message(history, Via::recovered);
  note_event(history, range_event(EventKind::gap_closed, 5, 6), begin_ms);
  EXPECT_EQ(history.faults.at(0).kind, FaultKind::tail);
}

TEST(History, CountsFaultsBeyondThoseThatAreListed) {
  History history;
  for (std::uint64_t i = 1; i <= 2 * most_faults_listed; ++i) {
    note_event(history, range_event(EventKind::duplicate, i, i), begin_ms);
  }
  EXPECT_EQ(history.faults.size(), most_faults_listed);
  EXPECT_EQ(history.faults_total, 2 * most_faults_listed);
}

TEST(History, EndsAHaltWithItsResume) {
  History history;
  note_message(history, halt_at(begin_s + 1, 'H'), 0);
  note_message(history, halt_at(begin_s + 2, 'H'), 0);
  ASSERT_EQ(history.halts.size(), 1U) << "a bond that is halted is not halted again";
  EXPECT_EQ(history.halts[0].end_ms, 0);
  note_message(history, halt_at(begin_s + 4, 'R'), 0);
  EXPECT_EQ(history.halts[0].begin_ms, begin_ms + 1000);
  EXPECT_EQ(history.halts[0].end_ms, begin_ms + 4000);
}

TEST(History, CallsTheFlowIdleWhenTradesStayAwayForLongerThanUsual) {
  History history;
  for (const int second : {0, 1, 2, 12, 13}) note_message(history, trade_at(begin_s + second, 98), 0);
  ASSERT_EQ(history.idles.size(), 1U);
  EXPECT_EQ(history.idles[0].begin_ms, begin_ms + 2000);
  EXPECT_EQ(history.idles[0].end_ms, begin_ms + 12000);
}

TEST(History, DoesNotCallASlowFlowIdle) {
  History history;
  for (const int second : {0, 10, 20, 30}) note_message(history, trade_at(begin_s + second, 98), 0);
  EXPECT_TRUE(history.idles.empty());
}

TEST(History, TakesTheTapeBeforeTheArrivalForTheMoment) {
  History history;
  Reconciled message = trade_at(begin_s, 98);
  message.taped_ms = static_cast<std::uint64_t>(begin_ms) + 250;
  note_message(history, message, static_cast<std::uint64_t>(begin_ms) + 420);
  EXPECT_EQ(history.message_ms, begin_ms + 250);
}

TEST(History, LeavesOutMessagesOfWhichNoTimeIsKnown) {
  History history;
  note_message(history, trade_at(0, 98), 0);
  EXPECT_EQ(history.begin_ms, 0);
  EXPECT_TRUE(history.timeline.slices.empty());
}

TEST(History, CountsAMessageWithoutARecordButDrawsNothingOfIt) {
  History history;
  Reconciled message = trade_at(begin_s, 98);
  message.recorded = false;
  note_message(history, message, 0);
  EXPECT_EQ(history.timeline.slices.at(0).messages, 1U);
  EXPECT_EQ(history.trades, 0U);
  EXPECT_TRUE(history.bonds.empty());
}

TEST(History, MarksCancelsAndCorrectionsWithTheirPrices) {
  History history;
  Reconciled cancel = message_at(begin_s, Kind::cancel);
  cancel.amended_price = 97;
  note_message(history, cancel, 0);
  Reconciled correction = message_at(begin_s, Kind::correction);
  correction.amended_price = 97;
  correction.price = 99;
  correction.last_sale = true;
  note_message(history, correction, 0);
  const BondHistory& bond = history.bonds.at(0);
  EXPECT_EQ(bond.cancels, 1U);
  EXPECT_EQ(bond.corrections, 1U);
  EXPECT_EQ(bond.prints, 1U);
  EXPECT_EQ(bond.prices.slices.at(0).cancelled, 97);
  EXPECT_EQ(bond.prices.slices.at(0).corrected, 99);
  EXPECT_EQ(bond.prices.slices.at(0).last, 99);
}

TEST(History, DrawsNoPriceOfATradeThatIsNoLastSale) {
  History history;
  Reconciled trade = trade_at(begin_s, 98);
  trade.last_sale = false;
  note_message(history, trade, 0);
  EXPECT_EQ(history.bonds.at(0).prints, 0U);
  EXPECT_EQ(history.bonds.at(0).prices.slices.at(0).prints, 0U);
}

TEST(History, GoesOnByTheRecordsOfMessagesThatNeverCame) {
  History history;
  note_missing(history, trade_at(begin_s, 98));
  EXPECT_EQ(history.trades, 1U);
  EXPECT_EQ(history.bonds.at(0).prints, 1U);
  EXPECT_TRUE(history.timeline.slices.empty()) << "no message came";
  note_missing(history, halt_at(0, 'H'));
  EXPECT_EQ(history.halts.at(0).begin_ms, begin_ms) << "it was about when the message before was";
}

TEST(History, KnowsWhenTheSessionWasClosed) {
  History history;
  Reconciled control = message_at(begin_s, Kind::control, "");
  control.type = 'O';
  note_message(history, control, 0);
  EXPECT_EQ(history.close_ms, 0);
  control.type = 'C';
  control.sent_s = begin_s + 7;
  note_message(history, control, 0);
  EXPECT_EQ(history.close_ms, begin_ms + 7000);
}

TEST(History, KeepsTheLongestTimeThatAGapWasOpen) {
  History history;
  for (const std::uint64_t open_ms : {20U, 300U, 40U}) {
    note_event(history, range_event(EventKind::gap, 5, 6), begin_ms);
    Event closed = range_event(EventKind::gap_closed, 5, 6);
    closed.open_ms = open_ms;
    note_event(history, closed, begin_ms + static_cast<std::int64_t>(open_ms));
  }
  EXPECT_EQ(history.longest_open_ms, 300U);
  EXPECT_EQ(history.faults.at(1).at_ms, begin_ms) << "a fault begins when its gap opens";
}

TEST(History, ListsFaultsOfPackets) {
  History history;
  note_event(history, range_event(EventKind::malformed_packet, 0, 0), begin_ms);
  note_event(history, range_event(EventKind::foreign_session, 9, 0), begin_ms);
  note_event(history, range_event(EventKind::behind, 4, 0), begin_ms);
  ASSERT_EQ(history.faults.size(), 3U);
  EXPECT_EQ(history.faults[0].kind, FaultKind::malformed_packet);
  EXPECT_EQ(history.faults[1].kind, FaultKind::foreign_session);
  EXPECT_EQ(history.faults[2].kind, FaultKind::behind);
  EXPECT_EQ(history.faults[2].first, 4U);
}

TEST(History, PutsLossesIntoTheLaneOfTheirKind) {
  History history;
  note_message(history, trade_at(begin_s, 98), 0);
  note_event(history, range_event(EventKind::gap, 2, 2), begin_ms);
  take_message(history, Via::recovered);
  note_event(history, range_event(EventKind::gap_closed, 2, 2), begin_ms);
  note_event(history, range_event(EventKind::gap, 4, 4), begin_ms);
  take_message(history, Via::late);
  note_event(history, range_event(EventKind::gap_closed, 4, 4), begin_ms);
  note_event(history, range_event(EventKind::duplicate, 4, 4), begin_ms);
  const TimelineSlice& slice = history.timeline.slices.at(0);
  EXPECT_EQ(slice.lost, 1U);
  EXPECT_EQ(slice.out_of_order, 1U);
  EXPECT_EQ(slice.duplicates, 1U);
  EXPECT_EQ(slice.tails, 0U);
}

TEST(FaultName, IsOfEachKindItsOwn) {
  std::set<std::string_view> names;
  for (const FaultKind kind : {FaultKind::lost, FaultKind::out_of_order, FaultKind::duplicate, FaultKind::tail,
                               FaultKind::malformed_packet, FaultKind::foreign_session, FaultKind::behind}) {
    names.insert(fault_name(kind));
  }
  EXPECT_EQ(names, (std::set<std::string_view>{"lost", "out of order", "duplicate", "lost tail", "malformed packet",
                                               "foreign session", "feed behind"}));
}

}  // namespace
}  // namespace vorbelctl
