// What is remembered of delivered messages: bounded, and never mistaken for another number's.
#include "vorbelctl/handler/delivered.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

namespace vorbelctl {
namespace {

std::string bytes_of(std::uint64_t sequence) {
  return "message " + std::to_string(sequence);
}

Delivered delivered_up_to(std::uint64_t first, std::uint64_t last, std::uint64_t keeps = 400000) {
  Delivered delivered;
  delivered.keeps = keeps;
  for (std::uint64_t sequence = first; sequence <= last; ++sequence) remember(delivered, sequence, bytes_of(sequence));
  return delivered;
}

TEST(Delivered, TellsTheSameBytesFromOthers) {
  const Delivered delivered = delivered_up_to(7, 9);
  EXPECT_EQ(compare_repeat(delivered, 8, "message 8"), Repeat::same);
  EXPECT_EQ(compare_repeat(delivered, 8, "message 9"), Repeat::other);
  EXPECT_EQ(compare_repeat(delivered, 8, ""), Repeat::other);
  EXPECT_EQ(text_of(delivered, 8), "message 8");
}

TEST(Delivered, KnowsNothingOfWhatWasNot) {
  const Delivered delivered = delivered_up_to(7, 9);
  for (const std::uint64_t sequence : {0, 6, 10}) {
    EXPECT_EQ(compare_repeat(delivered, sequence, "message 8"), Repeat::unknown) << sequence;
    EXPECT_EQ(text_of(delivered, sequence), "");
  }
  EXPECT_EQ(compare_repeat(Delivered(), 0, ""), Repeat::unknown);
}

TEST(Delivered, ForgetsWhatThePublisherForgets) {
  const Delivered delivered = delivered_up_to(1, 15, 10);
  EXPECT_EQ(compare_repeat(delivered, 5, "message 5"), Repeat::unknown);
  EXPECT_EQ(compare_repeat(delivered, 6, "message 6"), Repeat::same);
  EXPECT_EQ(compare_repeat(delivered, 15, "message 5"), Repeat::other);
  EXPECT_EQ(delivered.marks.size(), 10U);
}

TEST(Delivered, KeepsTheBytesOfTheNewestOnly) {
  const Delivered delivered = delivered_up_to(1, most_texts_kept + 5);
  EXPECT_EQ(text_of(delivered, 5), "");
  EXPECT_EQ(compare_repeat(delivered, 5, "message 5"), Repeat::same);
  EXPECT_EQ(compare_repeat(delivered, 5, "message 6"), Repeat::other);
  EXPECT_EQ(text_of(delivered, 6), "message 6");
  EXPECT_EQ(delivered.texts.size(), most_texts_kept);
}

TEST(Delivered, HasSkippedNumbersAsUnknownUntilTheyComeAfterAll) {
  Delivered delivered = delivered_up_to(1, 12, 10);
  skip(delivered, {13, 14});
  remember(delivered, 15, "message 15");
  EXPECT_EQ(compare_repeat(delivered, 13, "message 3"), Repeat::unknown);
  EXPECT_EQ(text_of(delivered, 13), "");
  remember(delivered, 13, "message 13");
  EXPECT_EQ(compare_repeat(delivered, 13, "message 13"), Repeat::same);
  EXPECT_EQ(text_of(delivered, 13), "message 13");
}

TEST(Delivered, SkipsAWideRangeAtOnce) {
  Delivered delivered = delivered_up_to(1, 12, 10);
  skip(delivered, {13, 18446744073709551614U});
  for (std::uint64_t sequence = 1; sequence < 30; ++sequence) {
    EXPECT_EQ(compare_repeat(delivered, sequence, "message 3"), Repeat::unknown);
  }
}

TEST(Delivered, EqualsAMapOverRandomHistories) {
  constexpr std::uint64_t keeps = 17;
  for (std::uint64_t seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937_64 random(seed);
    Delivered delivered;
    delivered.keeps = keeps;
    std::map<std::uint64_t, std::string> model;
    std::uint64_t next = 1 + random() % 50;
    for (int step = 0; step < 100; ++step) {
      if (random() % 4 == 0) {
        const std::uint64_t last = next + random() % 30;
        skip(delivered, {next, last});
        next = last + 1;
      } else {
        model[next] = bytes_of(next);
        remember(delivered, next, model[next]);
        ++next;
      }
      for (std::uint64_t sequence = next > 60 ? next - 60 : 0; sequence < next + 3; ++sequence) {
        const auto found = model.find(sequence);
        const bool known = found != model.end() && next - sequence <= keeps;
        ASSERT_EQ(compare_repeat(delivered, sequence, bytes_of(sequence)), known ? Repeat::same : Repeat::unknown);
        ASSERT_EQ(compare_repeat(delivered, sequence, "x"), known ? Repeat::other : Repeat::unknown);
        ASSERT_EQ(text_of(delivered, sequence), known ? found->second : "");
      }
    }
  }
}

}  // namespace
}  // namespace vorbelctl
