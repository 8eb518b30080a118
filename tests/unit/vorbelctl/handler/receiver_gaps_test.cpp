// How long a gap was open: from its first sign to its own last number, whatever else is missing.
#include <gtest/gtest.h>

#include "receiver_bench.h"

namespace vorbelctl {
namespace {

using test::after;
using test::answer;
using test::Bench;
using test::data;
using test::feed;
using test::heartbeat;
using test::settings;

struct Closed {
  std::uint64_t first = 0;
  std::uint64_t last = 0;
  std::uint64_t open_ms = 0;
  std::uint64_t missing = 0;

  bool operator==(const Closed&) const = default;
};

std::vector<Closed> closed_gaps(Bench& bench) {
  std::vector<Closed> gaps;
  for (const Event& event : take_events(bench.receiver)) {
    if (event.kind == EventKind::gap_closed) gaps.push_back({event.first, event.last, event.open_ms, event.missing});
  }
  return gaps;
}

TEST(Gap, IsOpenUntilItsOwnNumberComesThoughAnEarlierOneIsMissing) {
  ReceiverSettings chosen = settings(1, false);
  chosen.reorder_window_ms = 5000;
  Bench bench(chosen);
  feed(bench, data(1, 1));
  feed(bench, data(3, 3));  // 2 never comes
  after(bench, 1000);
  feed(bench, data(5, 5));
  after(bench, 7);
  feed(bench, data(4, 4));
  EXPECT_EQ(closed_gaps(bench), std::vector<Closed>());
  after(bench, 5000);
  EXPECT_EQ(closed_gaps(bench), (std::vector<Closed>{{2, 2, 6007, 1}, {4, 4, 7, 0}}));
}

TEST(Gap, TellsWhenItClosedThoughItIsToldLater) {
  Bench bench(settings(1, true));
  feed(bench, data(2, 2));
  feed(bench, data(4, 4));
  after(bench, 3);
  feed(bench, data(3, 3));
  after(bench, 40);
  answer(bench, data(1, 1));
  const auto events = take_events(bench.receiver);
  const auto closed = std::find_if(events.begin(), events.end(), [](const Event& event) {
    return event.kind == EventKind::gap_closed && event.first == 3;
  });
  ASSERT_NE(closed, events.end());
  EXPECT_EQ(closed->at_ms, 1003U);
  EXPECT_EQ(closed->open_ms, 3U);
}

TEST(Gap, OfSeveralNumbersIsOpenUntilTheLastOfThem) {
  Bench bench(settings(1, true));
  feed(bench, data(4, 4));
  after(bench, 5);
  feed(bench, data(3, 3));
  after(bench, 5);
  feed(bench, data(1, 1));
  after(bench, 5);
  feed(bench, data(2, 2));
  EXPECT_EQ(closed_gaps(bench), (std::vector<Closed>{{1, 3, 15, 0}}));
}

TEST(Gap, ThatIsFilledIsNotWidened) {
  Bench bench(settings(1, true));
  feed(bench, data(2, 2));
  feed(bench, heartbeat(4));
  feed(bench, data(3, 3));
  after(bench, 10);
  feed(bench, heartbeat(6));
  answer(bench, data(4, 5));
  answer(bench, data(1, 1));
  EXPECT_EQ(closed_gaps(bench), (std::vector<Closed>{{1, 1, 10, 0}, {3, 3, 0, 0}, {4, 5, 0, 0}}));
}

TEST(Gap, ThatIsFilledIsNotAskedFor) {
  Bench bench(settings(1, true));
  feed(bench, data(2, 2));
  feed(bench, data(4, 4));
  feed(bench, data(3, 3));
  EXPECT_EQ(after(bench, 20), "1+1");
}

TEST(Gap, SaysHowManyOfItsNumbersWereGivenUp) {
  Bench bench(settings(1, false));
  feed(bench, data(4, 4));
  feed(bench, data(2, 2));
  after(bench, 20);
  EXPECT_EQ(closed_gaps(bench), (std::vector<Closed>{{1, 3, 20, 2}}));
}

}  // namespace
}  // namespace vorbelctl
