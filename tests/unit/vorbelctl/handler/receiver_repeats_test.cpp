// Messages that come twice: the same bytes are a duplicate, others are told with both sides, however they come.
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
using test::other_data;
using test::settings;

// The only altered message since the last look.
Event altered_event(Bench& bench) {
  Event found;
  for (Event& event : take_events(bench.receiver)) {
    if (event.kind == EventKind::altered) found = std::move(event);
  }
  return found;
}

TEST(Repeat, WithOtherBytesIsAlteredOnceTheRunGoesOn) {
  Bench bench(settings(1, true));
  feed(bench, data(1, 3));
  feed(bench, other_data(2, 2));
  EXPECT_EQ(happened(bench), "1 2 3");
  feed(bench, data(4, 4));
  EXPECT_EQ(happened(bench), "altered:2 4");
  EXPECT_EQ(bench.receiver.totals.altered, 1U);
  EXPECT_EQ(bench.receiver.totals.duplicates, 0U);
}

TEST(Repeat, ShowsBothSides) {
  Bench bench(settings(1, true));
  feed(bench, data(1, 3));
  feed(bench, other_data(2, 2));
  feed(bench, heartbeat(4));
  const Event event = altered_event(bench);
  EXPECT_EQ(event.first, 2U);
  EXPECT_EQ(event.earlier, "m2");
  EXPECT_EQ(event.text, "m2!");
  EXPECT_EQ(event.via, Via::live);
}

TEST(Repeat, OfAMessageThatIsHeldIsComparedToo) {
  Bench bench(settings(1, true));
  feed(bench, data(1, 1));
  feed(bench, data(3, 3));
  feed(bench, data(3, 3));
  EXPECT_EQ(happened(bench), "1 gap:2 duplicate:3");
  feed(bench, other_data(3, 3));
  feed(bench, data(4, 4));
  EXPECT_EQ(altered_event(bench).earlier, "m3");
}

TEST(Repeat, ByRetransmissionIsComparedToo) {
  Bench bench(settings(1, true));
  feed(bench, data(1, 2));
  feed(bench, data(4, 4));
  EXPECT_EQ(after(bench, 20), "3+1");
  answer(bench, other_data(2, 2));
  const Event event = altered_event(bench);
  EXPECT_EQ(event.text, "m2!");
  EXPECT_EQ(event.via, Via::recovered);
  answer(bench, data(1, 4));
  EXPECT_EQ(happened(bench), "3R closed:3 4");
  EXPECT_EQ(bench.receiver.totals.duplicates, 0U);
}

TEST(Repeat, OnTheFeedOfWhatWasRecoveredIsComparedToo) {
  Bench bench(settings(1, true));
  feed(bench, data(2, 2));
  after(bench, 20);
  answer(bench, other_data(1, 1));
  feed(bench, data(1, 1));
  feed(bench, data(3, 3));
  const Event event = altered_event(bench);
  EXPECT_EQ(event.earlier, "m1!");
  EXPECT_EQ(event.text, "m1");
}

TEST(Repeat, OfWhatWasGivenUpIsComparedFromTheSecondTimeOn) {
  Bench bench(settings(1, false));
  feed(bench, data(2, 2));
  after(bench, 20);
  feed(bench, data(1, 1));
  feed(bench, data(1, 1));
  feed(bench, other_data(1, 1));
  feed(bench, data(3, 3));
  EXPECT_EQ(happened(bench), "gap:1 missing:1 closed:1 2 too_late:1 too_late:1 altered:1 3");
}

TEST(Repeat, IsToldApartWhenNothingElseComesEither) {
  Bench bench(settings(1, true));
  feed(bench, data(1, 3));
  feed(bench, other_data(2, 2));
  finish(bench.receiver, bench.now_ms + 100);
  EXPECT_EQ(happened(bench), "1 2 3 altered:2");
}

TEST(Repeat, OfLongAgoHasNoEarlierSide) {
  ReceiverSettings chosen = settings(1, true);
  chosen.publisher_keeps = 100000;
  Bench bench(chosen);
  for (std::uint64_t first = 1; first < 30000; first += 100) feed(bench, data(first, first + 99));
  take_events(bench.receiver);
  feed(bench, other_data(5, 5));
  feed(bench, data(30001, 30001));
  EXPECT_EQ(altered_event(bench).earlier, "");
  EXPECT_EQ(bench.receiver.totals.altered, 1U);
}

TEST(Repeat, WaitsForNothingWhenItIsTheSame) {
  Bench bench(settings(1, true));
  feed(bench, data(1, 3));
  feed(bench, data(2, 2));
  EXPECT_EQ(happened(bench), "1 2 3 duplicate:2");
}

}  // namespace
}  // namespace vorbelctl
