// The fate of single packets: each fault alone, and how they meet.
#include "feed/faults.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

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

}  // namespace
}  // namespace vorbeld
