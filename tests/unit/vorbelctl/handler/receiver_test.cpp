// The receiver's rules one by one: order, gaps, duplicates, bounds, and what is not its own.
#include "vorbelctl/handler/receiver.h"

#include <gtest/gtest.h>

#include <limits>

#include "receiver_bench.h"

namespace vorbelctl {
namespace {

using test::after;
using test::answer;
using test::Bench;
using test::data;
using test::end_of_session;
using test::feed;
using test::happened;
using test::heartbeat;
using test::settings;

TEST(Receiver, DeliversWhatComesInOrder) {
  Bench bench(settings(1, true));
  feed(bench, data(1, 1));
  feed(bench, data(2, 4));
  EXPECT_EQ(happened(bench), "1 2 3 4");
  EXPECT_EQ(after(bench, 1000), "");
  EXPECT_EQ(bench.receiver.totals.messages, 4U);
}

TEST(Receiver, StartsWhereTheFeedIsWhenItJoinsLate) {
  Bench bench(settings(0, true));
  feed(bench, data(7, 8));
  feed(bench, data(6, 6));  // held back on its way: from before the start
  EXPECT_EQ(happened(bench), "joined:7 7 8");
  EXPECT_EQ(after(bench, 1000), "");
  EXPECT_EQ(bench.receiver.totals.duplicates, 0U);
}

TEST(Receiver, StartsWithAHeartbeatToo) {
  Bench bench(settings(0, true));
  feed(bench, heartbeat(7));
  feed(bench, data(7, 7));
  EXPECT_EQ(happened(bench), "joined:7 heartbeat:7 7");
}

TEST(Receiver, AsksForWhatWasBeforeWhenItIsToldWhereToStart) {
  Bench bench(settings(3, true));
  feed(bench, data(5, 5));
  EXPECT_EQ(after(bench, 20), "3+2");
  answer(bench, data(3, 4));
  EXPECT_EQ(happened(bench), "gap:3-4 3R 4R closed:3-4 5");
}

TEST(Receiver, SortsDisorderWithoutAsking) {
  Bench bench(settings(1, true));
  feed(bench, data(1, 1));
  feed(bench, data(3, 3));
  EXPECT_EQ(after(bench, 19), "");
  feed(bench, data(2, 2));
  EXPECT_EQ(happened(bench), "1 gap:2 disorder:2 2L closed:2 3");
  EXPECT_EQ(after(bench, 1000), "");
  EXPECT_EQ(bench.receiver.totals.late, 1U);
}

TEST(Receiver, ReportsDuplicatesAndDeliversOnce) {
  Bench bench(settings(1, true));
  feed(bench, data(1, 2));
  feed(bench, data(1, 2));
  feed(bench, data(4, 4));
  feed(bench, data(4, 4));  // still held
  EXPECT_EQ(happened(bench), "1 2 duplicate:1 duplicate:2 gap:3 duplicate:4");
  EXPECT_EQ(bench.receiver.totals.duplicates, 3U);
}

TEST(Receiver, LearnsOfALostTailFromAHeartbeat) {
  Bench bench(settings(1, true));
  feed(bench, data(1, 1));
  feed(bench, heartbeat(4));
  EXPECT_EQ(after(bench, 20), "2+2");
  answer(bench, data(2, 3));
  EXPECT_EQ(happened(bench), "1 gap:2-3 heartbeat:4 2R 3R closed:2-3");
}

TEST(Receiver, IsCompleteWhenTheSessionHasEndedAndNothingIsOpen) {
  Bench bench(settings(1, true));
  feed(bench, data(1, 1));
  EXPECT_FALSE(complete(bench.receiver));
  feed(bench, end_of_session(3));
  EXPECT_FALSE(complete(bench.receiver));
  EXPECT_EQ(after(bench, 20), "2+1");
  answer(bench, data(2, 2));
  EXPECT_TRUE(complete(bench.receiver));
  feed(bench, end_of_session(3));
  EXPECT_EQ(happened(bench), "1 gap:2 end:3 2R closed:2");
  EXPECT_EQ(bench.receiver.totals.end_of_sessions, 2U);
}

TEST(Receiver, ReportsASessionThatIsNotOursAndIgnoresIt) {
  Bench bench(settings(1, true));
  feed(bench, data(1, 1, "OTHER"));
  feed(bench, data(2, 2, "OTHER"));
  feed(bench, data(1, 1));
  feed(bench, data(3, 3, "THIRD"));
  EXPECT_EQ(happened(bench), "foreign:1 1 foreign:3");
  EXPECT_EQ(bench.receiver.totals.foreign, 3U);
  EXPECT_EQ(bench.receiver.foreign_session, "THIRD");
}

TEST(Receiver, ReportsAMalformedPacketAndIgnoresItWhole) {
  Bench bench(settings(1, true));
  feed(bench, data(1, 3).substr(0, 25));
  feed(bench, "");
  const auto events = take_events(bench.receiver);
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(events[0].kind, EventKind::malformed_packet);
  EXPECT_EQ(events[0].text, data(1, 3).substr(0, 25));
  EXPECT_EQ(events[0].reason, "it ends before message 2 of the 3 it claims");
  EXPECT_EQ(bench.receiver.totals.malformed, 2U);
  EXPECT_EQ(bench.receiver.next, 1U);
}

TEST(Receiver, SaysOnceWhenTheFeedStandsBeforeWhatWasSeen) {
  Bench bench(settings(1, true));
  feed(bench, data(1, 5));
  feed(bench, heartbeat(3));
  feed(bench, heartbeat(3));
  EXPECT_EQ(happened(bench), "1 2 3 4 5 behind:3 heartbeat:3 heartbeat:3");
}

TEST(Receiver, SaysOnceThatThePublisherBeganAgainBeforeTheStart) {
  Bench bench(settings(0, false));
  feed(bench, data(7, 8));
  after(bench, 1000);
  for (std::uint64_t sequence = 1; sequence <= 4; ++sequence) feed(bench, data(sequence, sequence));
  feed(bench, heartbeat(5));
  EXPECT_EQ(happened(bench), "joined:7 7 8 behind:1 heartbeat:5");
  feed(bench, data(1, 1));
  EXPECT_EQ(happened(bench), "behind:1") << "and again, when it begins again once more";
}

TEST(Receiver, SaysThatTheFeedHasNotComeToTheStartThatWasAskedFor) {
  Bench bench(settings(100, true));
  feed(bench, data(7, 9));
  feed(bench, data(10, 10));
  EXPECT_EQ(happened(bench), "behind:7");
}

TEST(Receiver, HoldsABoundedNumberOfBytes) {
  ReceiverSettings chosen = settings(1, true);
  chosen.most_held_bytes = 3 * test::message_bytes(2).size();
  Bench bench(chosen);
  feed(bench, data(2, 6));
  EXPECT_EQ(bench.receiver.held.size(), 3U);
  EXPECT_EQ(bench.receiver.totals.overrun, 2U);
  feed(bench, data(1, 1));
  EXPECT_EQ(bench.receiver.held_bytes, 0U);
  EXPECT_EQ(bench.receiver.next, 5U);
}

TEST(Receiver, WidensAGapInsteadOfKeepingOneForEveryHeartbeat) {
  Bench bench(settings(1, true));
  feed(bench, data(1, 1));
  for (std::uint64_t sequence = 3; sequence < 1000; ++sequence) feed(bench, heartbeat(sequence));
  EXPECT_EQ(bench.receiver.gaps.size(), 1U);
  EXPECT_EQ(bench.receiver.totals.gaps, 1U);
  EXPECT_EQ(bench.receiver.totals.skipped, 997U);
}

TEST(Receiver, CountsPacketsOfItsSessionApart) {
  Bench bench(settings(1, true));
  feed(bench, data(1, 1));
  feed(bench, heartbeat(2));
  feed(bench, "garbage");
  answer(bench, data(1, 1));
  EXPECT_EQ(bench.receiver.totals.packets, 3U);
  EXPECT_EQ(bench.receiver.totals.ours, 2U);
}

TEST(Receiver, HoldsABoundedNumberOfMessagesAndFetchesTheRestLater) {
  ReceiverSettings chosen = settings(1, true);
  chosen.most_held = 3;
  Bench bench(chosen);
  feed(bench, data(2, 10));
  EXPECT_EQ(bench.receiver.held.size(), 3U);
  EXPECT_EQ(bench.receiver.totals.overrun, 6U);
  EXPECT_EQ(after(bench, 20), "1+1");
  answer(bench, data(1, 1));
  feed(bench, heartbeat(11));
  EXPECT_EQ(after(bench, 20), "5+6");
  answer(bench, data(5, 10));
  EXPECT_EQ(bench.receiver.next, 11U);
  EXPECT_EQ(bench.receiver.totals.messages, 10U);
}

TEST(Receiver, SurvivesAJumpToTheLargestNumber) {
  constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
  Bench bench(settings(1, true));
  feed(bench, data(1, 1));
  feed(bench, heartbeat(largest));
  EXPECT_EQ(happened(bench), "1 gap:2-18446744073709551614 heartbeat:18446744073709551615");
  EXPECT_EQ(after(bench, 20), "18446744073709151615+256");
  // Nobody answers: five tries for the first numbers asked for, one for all others.
  for (int i = 0; i < 4 + (400000 + 255) / 256; ++i) after(bench, 250);
  EXPECT_EQ(bench.receiver.next, largest);
  feed(bench, data(largest - 1, largest - 1));
  EXPECT_EQ(bench.receiver.totals.too_late, 1U);
  EXPECT_EQ(bench.receiver.totals.missing, largest - 2);
}

TEST(Receiver, SettlesEverythingWhenItIsFinished) {
  Bench bench(settings(1, true));
  feed(bench, data(2, 2));
  feed(bench, data(5, 5));
  feed(bench, heartbeat(8));
  happened(bench);
  finish(bench.receiver, bench.now_ms);
  EXPECT_EQ(happened(bench), "missing:1 closed:1 2 missing:3-4 closed:3-4 5 missing:6-7 closed:6-7");
  EXPECT_EQ(bench.receiver.next, bench.receiver.end);
}

TEST(Receiver, SaysHowLongAGapWasOpen) {
  Bench bench(settings(1, true));
  feed(bench, data(2, 2));
  after(bench, 35);
  answer(bench, data(1, 1));
  const auto events = take_events(bench.receiver);
  ASSERT_EQ(events.size(), 4U);
  EXPECT_EQ(events[2].kind, EventKind::gap_closed);
  EXPECT_EQ(events[2].open_ms, 35U);
}

}  // namespace
}  // namespace vorbelctl
