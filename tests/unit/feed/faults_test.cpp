// The fate of packets: each fault alone and how they meet, and random histories against a plain reading of the rules,
// step by step.
#include "feed/faults.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "feed/publisher.h"
#include "tests/unit/common/console.h"
#include "tests/unit/feed/feed_fixture.h"

namespace vorbeld {
namespace {

// One letter for the fate of each of the packets 1 to `count`: . sent, 2 sent twice, h held, x dropped.
std::string fates(FaultSettings& faults, int count) {
  std::string letters;
  for (int packet = 1; packet <= count; ++packet) {
    switch (decide_fate(faults, static_cast<std::uint64_t>(packet))) {
      case Fate::send:
        letters += '.';
        break;
      case Fate::send_twice:
        letters += '2';
        break;
      case Fate::hold:
        letters += 'h';
        break;
      case Fate::drop:
        letters += 'x';
        break;
    }
  }
  return letters;
}

std::string fates_of(FaultSettings faults, int count) {
  return fates(faults, count);
}

TEST(Faults, AreOffByDefault) {
  EXPECT_EQ(fates_of({}, 12), "............");
}

TEST(Faults, PeriodsCountPackets) {
  EXPECT_EQ(fates_of({.drop_every = 3}, 9), "..x..x..x");
  EXPECT_EQ(fates_of({.duplicate_every = 2}, 6), ".2.2.2");
  EXPECT_EQ(fates_of({.reorder_every = 4}, 8), "...h...h");
  EXPECT_EQ(fates_of({.drop_every = 1}, 3), "xxx");
}

TEST(Faults, ABurstDropsConsecutivePackets) {
  EXPECT_EQ(fates_of({.drop_burst_start = 3, .drop_burst_length = 3}, 7), "..xxx..");
  EXPECT_EQ(fates_of({.drop_burst_start = 3, .drop_burst_length = 1}, 5), "..x..");
  EXPECT_EQ(fates_of({.drop_burst_start = 0, .drop_burst_length = 3}, 5), "xx...");
}

TEST(Faults, ABurstWithoutLengthDropsNothing) {
  EXPECT_EQ(fates_of({.drop_burst_start = 3, .drop_burst_length = 0}, 5), ".....");
}

TEST(Faults, ABurstAtTheEndOfTheNumbersIsNotReachedEarly) {
  FaultSettings faults{.drop_burst_start = std::numeric_limits<std::uint64_t>::max(), .drop_burst_length = 10};
  EXPECT_EQ(fates(faults, 12), "............");
  EXPECT_EQ(decide_fate(faults, std::numeric_limits<std::uint64_t>::max() - 1), Fate::send);
}

TEST(Faults, ABurstMayBeLongerThanAnyRun) {
  FaultSettings faults{.drop_burst_start = 2, .drop_burst_length = std::numeric_limits<std::uint32_t>::max()};
  EXPECT_EQ(fates(faults, 3), ".xx");
  EXPECT_EQ(decide_fate(faults, 4'294'967'296U), Fate::drop);
  EXPECT_EQ(decide_fate(faults, 4'294'967'297U), Fate::send);
}

TEST(Faults, ArmedFaultsHitTheNextPackets) {
  EXPECT_EQ(fates_of({.armed_drops = 2}, 4), "xx..");
  EXPECT_EQ(fates_of({.armed_duplicates = 2}, 4), "22..");
  EXPECT_EQ(fates_of({.armed_reorders = 2}, 4), "hh..");
}

TEST(Faults, ArmedCountsGoDownToZero) {
  FaultSettings faults{.armed_drops = 1, .armed_duplicates = 1, .armed_reorders = 1};
  EXPECT_EQ(fates(faults, 4), "xh..");
  EXPECT_EQ(faults.armed_drops, 0U);
  EXPECT_EQ(faults.armed_duplicates, 0U);
  EXPECT_EQ(faults.armed_reorders, 0U);
}

TEST(Faults, APeriodicDropUsesUpAnArmedOne) {
  FaultSettings faults{.drop_every = 1, .armed_drops = 2};
  EXPECT_EQ(fates(faults, 1), "x");
  EXPECT_EQ(faults.armed_drops, 1U);
}

TEST(Faults, ABurstUsesUpArmedDropsToo) {
  FaultSettings faults{.drop_burst_start = 1, .drop_burst_length = 3, .armed_drops = 2};
  EXPECT_EQ(fates(faults, 4), "xxx.");
  EXPECT_EQ(faults.armed_drops, 0U);
}

TEST(Faults, ADropLeavesTheOtherArmedCountsAlone) {
  FaultSettings faults{.drop_every = 1, .armed_duplicates = 5, .armed_reorders = 6};
  EXPECT_EQ(fates(faults, 3), "xxx");
  EXPECT_EQ(faults.armed_duplicates, 5U);
  EXPECT_EQ(faults.armed_reorders, 6U);
}

TEST(Faults, AHeldPacketSpendsItsArmedDuplicate) {
  FaultSettings faults{.armed_duplicates = 1, .armed_reorders = 1};
  EXPECT_EQ(fates(faults, 2), "h.");
  EXPECT_EQ(faults.armed_duplicates, 0U);
}

TEST(Faults, PeriodicDuplicatesAndReordersUseUpArmedOnes) {
  FaultSettings faults{.duplicate_every = 1, .armed_duplicates = 3};
  EXPECT_EQ(fates(faults, 1), "2");
  EXPECT_EQ(faults.armed_duplicates, 2U);
  faults = {.reorder_every = 1, .armed_reorders = 3};
  EXPECT_EQ(fates(faults, 1), "h");
  EXPECT_EQ(faults.armed_reorders, 2U);
}

TEST(Faults, DropGoesBeforeReorderBeforeDuplicate) {
  EXPECT_EQ(fates_of({.drop_every = 6, .duplicate_every = 2, .reorder_every = 3}, 12), ".2h2.x.2h2.x");
}

TEST(FaultsSummary, CountsWhatWasNotDroppedAsSent) {
  const FaultCounters counters{.dropped = 3, .duplicated = 2, .reordered = 1};
  EXPECT_EQ(faults_summary(counters, 12), "vorbeld faults: sent 9 dropped 3 duplicated 2 reordered 1");
}

TEST(FaultsSummary, IsAllZeroesBeforeTheFirstPacket) {
  EXPECT_EQ(faults_summary({}, 0), "vorbeld faults: sent 0 dropped 0 duplicated 0 reordered 0");
}

// What a receiver and the console get, and the rules' own state.
struct Model {
  FaultSettings faults;
  std::uint64_t packets = 0;
  FaultCounters counters;
  std::optional<std::string> held;
  std::vector<std::string> wire;
  std::string console;
};

bool multiple_of(std::uint64_t packet, std::uint32_t every) {
  return every > 0 && packet % every == 0;
}

void send(Model& model, const std::string& message, bool twice, const std::string& number) {
  model.wire.push_back(message);
  if (twice) {
    model.wire.push_back(message);
    ++model.counters.duplicated;
    model.console += "vorbeld fault: duplicated seq " + number + "\n";
  }
  if (model.held) {
    model.wire.push_back(*model.held);
    model.held.reset();
  }
}

void flush_one(Model& model, const std::string& message, std::uint64_t sequence) {
  FaultSettings& faults = model.faults;
  const std::uint64_t packet = ++model.packets;
  const std::string number = std::to_string(sequence);
  const bool in_burst = faults.drop_burst_length > 0 && faults.drop_burst_start <= packet &&
                        packet < faults.drop_burst_start + faults.drop_burst_length;
  if (multiple_of(packet, faults.drop_every) || in_burst || faults.armed_drops > 0) {
    if (faults.armed_drops > 0) --faults.armed_drops;
    ++model.counters.dropped;
    model.console +=
        "vorbeld fault: dropped seq " + number + " (packet " + std::to_string(packet) + ", 1 message(s))\n";
    return;
  }
  bool twice = multiple_of(packet, faults.duplicate_every);
  if (faults.armed_duplicates > 0) {
    --faults.armed_duplicates;
    twice = true;
  }
  const bool hold = multiple_of(packet, faults.reorder_every) || faults.armed_reorders > 0;
  if (hold) {
    if (faults.armed_reorders > 0) --faults.armed_reorders;
    model.held = message;
    ++model.counters.reordered;
    model.console += "vorbeld fault: reordered seq " + number + " (held behind the next packet)\n";
    return;
  }
  send(model, message, twice, number);
}

// Sets one of the faults as a command in the middle of a run does.
void change_a_fault(FaultSettings& faults, std::mt19937& random) {
  const auto value = static_cast<std::uint32_t>(random() % 6);
  switch (random() % 7) {
    case 0:
      faults.drop_every = value;
      break;
    case 1:
      faults.duplicate_every = value;
      break;
    case 2:
      faults.reorder_every = value;
      break;
    case 3:
      faults.armed_drops = value;
      break;
    case 4:
      faults.armed_duplicates = value;
      break;
    case 5:
      faults.armed_reorders = value;
      break;
    default:
      faults.drop_burst_start = random() % 40;
      faults.drop_burst_length = value;
  }
}

void expect_same_history(std::uint32_t seed) {
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  FeedBench bench;
  Model model;
  const std::string console = console_of([&] {
    for (int step = 0; step < 60; ++step) {
      if (random() % 4 == 0) {
        change_a_fault(model.faults, random);
        const FaultSettings& set = model.faults;
        bench.publisher.faults = set;
      }
      const std::string message = "m" + std::to_string(last_sequence(bench.publisher) + 1);
      flush_one(model, message, send_message(bench, message));
    }
  });
  EXPECT_EQ(sent_messages(bench), model.wire);
  EXPECT_EQ(console, model.console);
  EXPECT_EQ(bench.publisher.packets, model.packets);
  EXPECT_EQ(bench.publisher.fault_counters.dropped, model.counters.dropped);
  EXPECT_EQ(bench.publisher.fault_counters.duplicated, model.counters.duplicated);
  EXPECT_EQ(bench.publisher.fault_counters.reordered, model.counters.reordered);
  EXPECT_EQ(bench.publisher.faults.armed_drops, model.faults.armed_drops);
  EXPECT_EQ(bench.publisher.faults.armed_duplicates, model.faults.armed_duplicates);
  EXPECT_EQ(bench.publisher.faults.armed_reorders, model.faults.armed_reorders);
}

TEST(FaultProperty, RandomHistoriesFollowTheRules) {
  for (std::uint32_t seed = 1; seed <= 500 && !::testing::Test::HasFailure(); ++seed) expect_same_history(seed);
}

}  // namespace
}  // namespace vorbeld
