// What the receiver asks the retransmission server for, how often, and when it gives up.
#include "vorbelctl/handler/receiver.h"

#include <gtest/gtest.h>

#include "receiver_bench.h"

namespace vorbelctl {
namespace {

using test::after;
using test::answer;
using test::Bench;
using test::data;
using test::feed;
using test::happened;
using test::heartbeat;
using test::settings;

TEST(ReceiverRecovery, AsksAgainWhenAnAnswerIsLostAndGivesUpAfterFiveTries) {
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

TEST(ReceiverRecovery, CountsTriesAnewAfterEveryAnswerThatHelps) {
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

TEST(ReceiverRecovery, TriesEveryNumberOnceWhileTheServerIsSilent) {
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

TEST(ReceiverRecovery, DoesNotInsistWhenItIsTold) {
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

TEST(ReceiverRecovery, AsksOnlyForWhatIsStillMissing) {
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

TEST(ReceiverRecovery, SpansSeveralGapsWithOneRequest) {
  Bench bench(settings(1, true));
  feed(bench, data(2, 2));
  feed(bench, data(4, 4));
  feed(bench, data(7, 7));
  EXPECT_EQ(after(bench, 20), "1+6");
  answer(bench, data(1, 6));
  EXPECT_EQ(bench.receiver.totals.messages, 7U);
  EXPECT_EQ(bench.receiver.totals.recovered, 4U);
}

TEST(ReceiverRecovery, LeavesAGapOutOfARequestWhileItMayBeDisorder) {
  Bench bench(settings(1, true));
  feed(bench, data(2, 2));
  bench.now_ms += 15;
  feed(bench, data(4, 4));
  EXPECT_EQ(after(bench, 5), "1+1");
  answer(bench, data(1, 1));
  EXPECT_EQ(after(bench, 15), "3+1");
}

TEST(ReceiverRecovery, EndsARequestWithTheLastMissingNumber) {
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

TEST(ReceiverRecovery, SplitsWhatNoBufferHolds) {
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

TEST(ReceiverRecovery, GivesAGapUpAtOnceWhenItMustNotAsk) {
  Bench bench(settings(1, false));
  feed(bench, data(1, 1));
  feed(bench, data(4, 4));
  feed(bench, data(6, 6));
  EXPECT_EQ(after(bench, 19), "");
  EXPECT_EQ(happened(bench), "1 gap:2-3 gap:5");
  EXPECT_EQ(after(bench, 1), "");
  EXPECT_EQ(happened(bench), "missing:2-3 closed:2-3 4 missing:5 closed:5 6");
}

TEST(ReceiverRecovery, TellsALateMessageFromADuplicate) {
  Bench bench(settings(1, false));
  feed(bench, data(3, 3));
  after(bench, 20);
  feed(bench, data(2, 2));
  feed(bench, data(3, 3));
  EXPECT_EQ(happened(bench), "gap:1-2 missing:1-2 closed:1-2 3 too_late:2 duplicate:3");
}

TEST(ReceiverRecovery, JoinsWhatIsMissingSideBySide) {
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

TEST(ReceiverRecovery, DoesNotAskForWhatThePublisherNoLongerKeeps) {
  ReceiverSettings chosen = settings(1, true);
  chosen.publisher_keeps = 10;
  Bench bench(chosen);
  feed(bench, data(100, 100));
  EXPECT_EQ(after(bench, 20), "91+9");
  EXPECT_EQ(happened(bench), "gap:1-99 missing:1-90");
  answer(bench, data(91, 99));
  EXPECT_EQ(happened(bench), "91R 92R 93R 94R 95R 96R 97R 98R 99R closed:1-99 100");
}

TEST(ReceiverRecovery, TakesAnswersThatNobodyAskedForAsNoFault) {
  Bench bench(settings(1, true));
  feed(bench, data(1, 2));
  answer(bench, data(1, 2));
  EXPECT_EQ(happened(bench), "1 2");
  EXPECT_EQ(bench.receiver.totals.duplicates, 0U);
}

TEST(ReceiverRecovery, AsksForAStretchThatIsKnownToExist) {
  Bench bench(settings(10, true));
  expect_until(bench.receiver, 13, bench.now_ms);
  EXPECT_EQ(after(bench, 20), "10+3");
  answer(bench, data(10, 12));
  EXPECT_EQ(happened(bench), "gap:10-12 10R 11R 12R closed:10-12");
}

}  // namespace
}  // namespace vorbelctl
