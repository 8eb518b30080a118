// A publisher that began again, and a second one beside the first: told apart by who sends and by whether the run that
// is followed goes on; never taken for one run.
#include <gtest/gtest.h>

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
using test::other_data;
using test::settings;

const SenderId first_bench = make_sender(0x7f000001, 40001);
const SenderId second_bench = make_sender(0x7f000001, 40002);
const SenderId third_bench = make_sender(0x7f000001, 40003);

Bench bench_that_got(std::uint64_t last, std::uint64_t first = 1) {
  Bench bench(settings(first, true));
  feed(bench, data(std::max<std::uint64_t>(first, 1), last), first_bench);
  happened(bench);
  return bench;
}

// Heartbeats go on as a publisher's do while nothing else is sent.
void beat(Bench& bench, std::uint64_t next, SenderId sender, int beats) {
  for (; beats != 0; --beats) {
    after(bench, 1005);
    feed(bench, heartbeat(next), sender);
  }
  after(bench, 0);
}

TEST(Restart, IsTakenForOneWhenTheFormerSenderStaysSilent) {
  Bench bench = bench_that_got(5);
  feed(bench, other_data(1, 2), second_bench);
  EXPECT_EQ(happened(bench), "");
  EXPECT_EQ(after(bench, 2499), "");
  EXPECT_EQ(happened(bench), "");
  after(bench, 1);
  const auto events = take_events(bench.receiver);
  ASSERT_FALSE(events.empty());
  EXPECT_EQ(events[0].kind, EventKind::began_again);
  EXPECT_EQ(events[0].first, 1U);
  EXPECT_EQ(events[0].last, 5U);
  EXPECT_EQ(events[0].text, "127.0.0.1:40002");
  EXPECT_EQ(events[0].earlier, "127.0.0.1:40001");
  EXPECT_EQ(bench.receiver.totals.began_again, 1U);
}

TEST(Restart, GoesOnWithTheNewRunAndNothingOfTheOld) {
  Bench bench = bench_that_got(5);
  feed(bench, other_data(1, 2), second_bench);
  feed(bench, other_data(3, 9), second_bench);
  happened(bench);
  after(bench, 2500);
  EXPECT_EQ(happened(bench, "!"), "again:1 1 2 3 4 5 6 7 8 9");
  feed(bench, other_data(10, 10), second_bench);
  feed(bench, other_data(2, 2), second_bench);
  EXPECT_EQ(happened(bench, "!"), "10 duplicate:2");
  EXPECT_EQ(bench.receiver.totals.altered, 0U);
  EXPECT_EQ(bench.receiver.totals.messages, 15U);
}

TEST(Restart, IsFoundByHeartbeatsAlone) {
  Bench bench = bench_that_got(5);
  beat(bench, 3, second_bench, 3);
  EXPECT_EQ(bench.receiver.totals.began_again, 1U);
  EXPECT_EQ(bench.receiver.joined_at, 1U);
  EXPECT_EQ(bench.receiver.next, 1U);
}

TEST(Restart, BeforeTheStartOfWhatIsFollowedIsFound) {
  Bench bench(settings(0, false));
  feed(bench, data(500, 510), first_bench);
  feed(bench, other_data(1, 3), second_bench);
  happened(bench);
  after(bench, 2500);
  EXPECT_EQ(happened(bench, "!"), "again:1 joined:1 1 2 3");
}

TEST(Restart, AfterALongSilenceWaitsForThePacketsThatAreOnTheirWay) {
  Bench bench = bench_that_got(5);
  after(bench, 60000);
  feed(bench, other_data(1, 1), second_bench);
  after(bench, 0);
  EXPECT_EQ(bench.receiver.totals.began_again, 0U);
  after(bench, 1100);
  EXPECT_EQ(bench.receiver.totals.began_again, 1U);
}

TEST(Restart, FromTheSameAddressIsFoundByNumbersAndContents) {
  Bench bench = bench_that_got(5);
  feed(bench, other_data(1, 1), first_bench);
  feed(bench, other_data(2, 4), first_bench);
  happened(bench);
  after(bench, 2500);
  EXPECT_EQ(happened(bench, "!"), "again:1 1 2 3 4");
}

TEST(Restart, FromTheSameAddressIsFoundWhenItOvertakesTheOldRun) {
  Bench bench = bench_that_got(5);
  for (std::uint64_t sequence = 1; sequence <= 9; ++sequence) {
    after(bench, 300);
    feed(bench, other_data(sequence, sequence), first_bench);
  }
  EXPECT_EQ(bench.receiver.totals.began_again, 1U);
  EXPECT_EQ(bench.receiver.next, 10U);
  EXPECT_EQ(bench.receiver.totals.altered, 0U);
}

TEST(Restart, GivesUpWhatIsMissingOfTheOldRunAndAsksForNothingMeanwhile) {
  Bench bench = bench_that_got(5);
  feed(bench, data(8, 8), first_bench);
  feed(bench, other_data(1, 1), second_bench);
  happened(bench);
  EXPECT_EQ(after(bench, 100), "");
  answer(bench, other_data(6, 7));  // of the new run, were it that far
  EXPECT_EQ(after(bench, 2400), "");
  const auto events = take_events(bench.receiver);
  ASSERT_EQ(events.size(), 5U);
  EXPECT_EQ(events[0].kind, EventKind::missing);
  EXPECT_EQ(events[1].kind, EventKind::gap_closed);
  EXPECT_EQ(events[2].text, "m8");
  EXPECT_EQ(events[3].kind, EventKind::began_again);
  EXPECT_EQ(events[4].text, "m1!");
}

TEST(Restart, MayComeAgainAndAgain) {
  Bench bench = bench_that_got(5);
  feed(bench, other_data(1, 2), second_bench);
  after(bench, 2500);
  feed(bench, data(1, 1), third_bench);
  after(bench, 2500);
  EXPECT_EQ(bench.receiver.totals.began_again, 2U);
  EXPECT_EQ(bench.receiver.next, 2U);
}

TEST(Restart, IsDecidedWhenNoMoreCanCome) {
  Bench bench = bench_that_got(5);
  after(bench, 1000);
  feed(bench, other_data(1, 2), second_bench);
  happened(bench);
  finish(bench.receiver, bench.now_ms + 200);
  EXPECT_EQ(happened(bench, "!"), "again:1 1 2");
}

TEST(Restart, EndsItsOwnSession) {
  Bench bench = bench_that_got(5);
  feed(bench, other_data(1, 2), second_bench);
  feed(bench, end_of_session(3), second_bench);
  EXPECT_FALSE(complete(bench.receiver));
  after(bench, 2500);
  EXPECT_TRUE(complete(bench.receiver));
}

TEST(SecondSender, IsToldOfAsSoonAsBothGoOn) {
  Bench bench = bench_that_got(5);
  feed(bench, other_data(1, 2), second_bench);
  happened(bench);
  feed(bench, data(6, 6), first_bench);
  const auto events = take_events(bench.receiver);
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(events[0].kind, EventKind::second_sender);
  EXPECT_EQ(events[0].text, "127.0.0.1:40002");
  EXPECT_EQ(events[0].earlier, "127.0.0.1:40001");
  EXPECT_EQ(events[1].text, "m6");
  feed(bench, other_data(3, 9), second_bench);
  EXPECT_EQ(happened(bench), "");
  EXPECT_EQ(bench.receiver.totals.ignored, 2U);
  EXPECT_EQ(bench.receiver.totals.second_senders, 1U);
}

TEST(SecondSender, IsFoundAmongIdleBenchesWithTheSameNumber) {
  Bench bench = bench_that_got(2);
  feed(bench, heartbeat(3), second_bench);
  EXPECT_EQ(happened(bench), "heartbeat:3");
  feed(bench, heartbeat(3), first_bench);
  EXPECT_EQ(happened(bench), "second:3 heartbeat:3");
}

TEST(SecondSender, ThatIsAheadIsFoundToo) {
  Bench bench = bench_that_got(5);
  feed(bench, other_data(9, 9), second_bench);
  feed(bench, data(6, 6), first_bench);
  feed(bench, other_data(10, 10), second_bench);
  EXPECT_EQ(bench.receiver.totals.second_senders, 1U);
}

TEST(SecondSender, ThatStaysAloneBeginsTheFeedAgain) {
  Bench bench = bench_that_got(5);
  feed(bench, other_data(1, 2), second_bench);
  feed(bench, data(6, 6), first_bench);
  after(bench, 2500);
  feed(bench, other_data(3, 3), second_bench);
  after(bench, 1100);
  EXPECT_EQ(bench.receiver.totals.began_again, 1U);
  EXPECT_EQ(bench.receiver.next, 1U) << "the numbers 1 and 2 are still to be recovered";
}

TEST(Sender, MayChangeWhereTheNumbersGoOn) {
  Bench bench = bench_that_got(5);
  feed(bench, data(6, 6), second_bench);
  feed(bench, data(7, 7), third_bench);
  feed(bench, data(7, 7), third_bench);
  EXPECT_EQ(happened(bench), "6 7 duplicate:7");
  EXPECT_EQ(bench.receiver.totals.second_senders, 0U);
}

}  // namespace
}  // namespace vorbelctl
