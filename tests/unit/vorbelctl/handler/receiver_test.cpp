// The receiver's rules one by one: time is stepped by hand, packets are built on the spot, requests are looked at.
#include "vorbelctl/handler/receiver.h"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>

#include "packets.h"

namespace vorbelctl {
namespace {

using test::data;
using test::end_of_session;
using test::heartbeat;
using Text = std::string;

ReceiverSettings settings(std::uint64_t first, bool recover) {
  ReceiverSettings result;
  result.session = make_session("BTDS000001");
  result.first = first;
  result.recover = recover;
  return result;
}

// A receiver in its hands-on form: a clock to step, and what has happened as text.
struct Bench {
  Receiver receiver;
  std::uint64_t now_ms = 1000;

  explicit Bench(const ReceiverSettings& chosen) : receiver(make_receiver(chosen)) {}
};

void feed(Bench& bench, const std::string& packet) {
  take_packet(bench.receiver, packet, Source::feed, bench.now_ms);
}

void answer(Bench& bench, const std::string& packet) {
  take_packet(bench.receiver, packet, Source::answer, bench.now_ms);
}

// The request that is due after another `ms`, as "first+count", or "".
std::string after(Bench& bench, std::uint64_t ms) {
  bench.now_ms += ms;
  const auto request = tick(bench.receiver, bench.now_ms);
  return request ? std::to_string(request->first) + "+" + std::to_string(request->count) : "";
}

std::string name_of(EventKind kind) {
  switch (kind) {
    case EventKind::joined:
      return "joined";
    case EventKind::message:
      return "";
    case EventKind::gap:
      return "gap";
    case EventKind::gap_closed:
      return "closed";
    case EventKind::missing:
      return "missing";
    case EventKind::out_of_order:
      return "disorder";
    case EventKind::duplicate:
      return "duplicate";
    case EventKind::too_late:
      return "too_late";
    case EventKind::heartbeat:
      return "heartbeat";
    case EventKind::end_of_session:
      return "end";
    case EventKind::foreign_session:
      return "foreign";
    case EventKind::malformed_packet:
      return "malformed";
    case EventKind::behind:
      return "behind";
  }
  return "?";
}

// What happened since the last look: messages as their numbers with L(ate) or R(ecovered), everything else by name and
// numbers.
std::string happened(Bench& bench) {
  std::ostringstream text;
  const char* between = "";
  for (const Event& event : take_events(bench.receiver)) {
    text << between << name_of(event.kind);
    between = " ";
    if (event.kind == EventKind::message) {
      EXPECT_EQ(event.text, test::message_bytes(event.first));
      text << event.first << (event.via == Via::live ? "" : event.via == Via::late ? "L" : "R");
    } else {
      text << ":" << event.first;
      if (event.last != event.first) text << "-" << event.last;
    }
  }
  return text.str();
}

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

TEST(Receiver, AsksAgainWhenAnAnswerIsLostAndGivesUpAfterFiveTries) {
  Bench bench(settings(1, true));
  feed(bench, data(2, 2));
  EXPECT_EQ(after(bench, 20), "1+1");
  EXPECT_EQ(after(bench, 249), "");
  EXPECT_EQ(after(bench, 1), "1+1");
  for (int i = 0; i < 3; ++i) EXPECT_EQ(after(bench, 250), "1+1");
  EXPECT_EQ(after(bench, 249), "");
  EXPECT_EQ(happened(bench), "gap:1");
  EXPECT_EQ(after(bench, 1), "");
  EXPECT_EQ(happened(bench), "missing:1 closed:1 2");
  EXPECT_EQ(bench.receiver.missing, (std::vector<Range>{{1, 1}}));
  EXPECT_EQ(bench.receiver.totals.requests, 5U);
}

TEST(Receiver, CountsTriesAnewAfterEveryAnswerThatHelps) {
  Bench bench(settings(1, true));
  feed(bench, data(9, 9));
  EXPECT_EQ(after(bench, 20), "1+8");
  for (std::uint64_t sequence = 1; sequence <= 8; ++sequence) {
    for (int i = 0; i < 3; ++i) EXPECT_NE(after(bench, 250), "");
    answer(bench, data(sequence, sequence));
  }
  EXPECT_EQ(bench.receiver.totals.missing, 0U);
  EXPECT_EQ(bench.receiver.totals.messages, 9U);
}

TEST(Receiver, TriesEveryNumberOnceWhileTheServerIsSilent) {
  ReceiverSettings chosen = settings(1, true);
  chosen.most_per_request = 2;
  Bench bench(chosen);
  feed(bench, data(7, 7));
  EXPECT_EQ(after(bench, 20), "1+2");
  for (int i = 0; i < 4; ++i) EXPECT_EQ(after(bench, 250), "1+2");
  EXPECT_EQ(after(bench, 250), "3+2");
  EXPECT_EQ(after(bench, 250), "5+2");
  answer(bench, data(5, 5));  // it is back
  EXPECT_EQ(after(bench, 250), "6+1");
  EXPECT_EQ(after(bench, 250), "6+1");
  answer(bench, data(6, 6));
  EXPECT_EQ(bench.receiver.missing, (std::vector<Range>{{1, 4}}));
  EXPECT_EQ(bench.receiver.totals.messages, 3U);
}

TEST(Receiver, DoesNotInsistWhenItIsTold) {
  ReceiverSettings chosen = settings(1, true);
  chosen.most_per_request = 3;
  chosen.most_tries = 1;
  chosen.insist = false;
  Bench bench(chosen);
  expect_until(bench.receiver, 6, bench.now_ms);
  EXPECT_EQ(after(bench, 20), "1+3");
  answer(bench, data(1, 2));
  EXPECT_EQ(after(bench, 249), "");
  EXPECT_EQ(after(bench, 1), "4+2");
  answer(bench, data(4, 5));
  EXPECT_EQ(bench.receiver.missing, (std::vector<Range>{{3, 3}}));
  EXPECT_EQ(bench.receiver.next, 6U);
}

TEST(Receiver, AsksOnlyForWhatIsStillMissing) {
  Bench bench(settings(1, true));
  feed(bench, data(9, 9));
  EXPECT_EQ(after(bench, 20), "1+8");
  answer(bench, data(1, 3));
  answer(bench, data(6, 8));
  EXPECT_EQ(after(bench, 249), "");
  EXPECT_EQ(after(bench, 1), "4+5");
  answer(bench, data(4, 5));
  EXPECT_EQ(bench.receiver.next, 10U);
  EXPECT_EQ(bench.receiver.totals.duplicates, 0U);
}

TEST(Receiver, SpansSeveralGapsWithOneRequest) {
  Bench bench(settings(1, true));
  feed(bench, data(2, 2));
  feed(bench, data(4, 4));
  feed(bench, data(7, 7));
  EXPECT_EQ(after(bench, 20), "1+6");
  answer(bench, data(1, 6));
  EXPECT_EQ(bench.receiver.totals.messages, 7U);
  EXPECT_EQ(bench.receiver.totals.recovered, 4U);
}

TEST(Receiver, LeavesAGapOutOfARequestWhileItMayBeDisorder) {
  Bench bench(settings(1, true));
  feed(bench, data(2, 2));
  bench.now_ms += 15;
  feed(bench, data(4, 4));
  EXPECT_EQ(after(bench, 5), "1+1");
  answer(bench, data(1, 1));
  EXPECT_EQ(after(bench, 15), "3+1");
}

TEST(Receiver, EndsARequestWithTheLastMissingNumber) {
  ReceiverSettings chosen = settings(1, true);
  chosen.most_per_request = 4;
  Bench bench(chosen);
  feed(bench, data(2, 2));
  feed(bench, data(4, 5));
  feed(bench, data(7, 7));
  EXPECT_EQ(after(bench, 20), "1+3");
  answer(bench, data(1, 3));
  EXPECT_EQ(after(bench, 0), "6+1");
}

TEST(Receiver, SplitsWhatNoBufferHolds) {
  ReceiverSettings chosen = settings(1, true);
  chosen.most_per_request = 10;
  Bench bench(chosen);
  feed(bench, data(25, 25));
  EXPECT_EQ(after(bench, 20), "1+10");
  answer(bench, data(1, 10));
  EXPECT_EQ(after(bench, 0), "11+10");
  answer(bench, data(11, 20));
  EXPECT_EQ(after(bench, 0), "21+4");
  answer(bench, data(21, 24));
  EXPECT_EQ(after(bench, 0), "");
  EXPECT_EQ(bench.receiver.totals.messages, 25U);
}

TEST(Receiver, GivesAGapUpAtOnceWhenItMustNotAsk) {
  Bench bench(settings(1, false));
  feed(bench, data(1, 1));
  feed(bench, data(4, 4));
  feed(bench, data(6, 6));
  EXPECT_EQ(after(bench, 19), "");
  EXPECT_EQ(happened(bench), "1 gap:2-3 gap:5");
  EXPECT_EQ(after(bench, 1), "");
  EXPECT_EQ(happened(bench), "missing:2-3 closed:2-3 4 missing:5 closed:5 6");
}

TEST(Receiver, TellsALateMessageFromADuplicate) {
  Bench bench(settings(1, false));
  feed(bench, data(3, 3));
  after(bench, 20);
  feed(bench, data(2, 2));
  feed(bench, data(3, 3));
  EXPECT_EQ(happened(bench), "gap:1-2 missing:1-2 closed:1-2 3 too_late:2 duplicate:3");
}

TEST(Receiver, JoinsWhatIsMissingSideBySide) {
  Bench bench(settings(1, false));
  feed(bench, heartbeat(3));
  after(bench, 20);
  feed(bench, heartbeat(5));
  after(bench, 20);
  feed(bench, data(5, 5));
  feed(bench, heartbeat(7));
  after(bench, 20);
  EXPECT_EQ(bench.receiver.missing, (std::vector<Range>{{1, 4}, {6, 6}}));
  EXPECT_EQ(bench.receiver.totals.missing, 5U);
}

TEST(Receiver, DoesNotAskForWhatThePublisherNoLongerKeeps) {
  ReceiverSettings chosen = settings(1, true);
  chosen.publisher_keeps = 10;
  Bench bench(chosen);
  feed(bench, data(100, 100));
  EXPECT_EQ(after(bench, 20), "91+9");
  EXPECT_EQ(happened(bench), "gap:1-99 missing:1-90");
  answer(bench, data(91, 99));
  EXPECT_EQ(happened(bench), "91R 92R 93R 94R 95R 96R 97R 98R 99R closed:1-99 100");
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

TEST(Receiver, TakesAnswersThatNobodyAskedForAsNoFault) {
  Bench bench(settings(1, true));
  feed(bench, data(1, 2));
  answer(bench, data(1, 2));
  EXPECT_EQ(happened(bench), "1 2");
  EXPECT_EQ(bench.receiver.totals.duplicates, 0U);
}

TEST(Receiver, AsksForAStretchThatIsKnownToExist) {
  Bench bench(settings(10, true));
  expect_until(bench.receiver, 13, bench.now_ms);
  EXPECT_EQ(after(bench, 20), "10+3");
  answer(bench, data(10, 12));
  EXPECT_EQ(happened(bench), "gap:10-12 10R 11R 12R closed:10-12");
}

}  // namespace
}  // namespace vorbelctl
