// The table of situations, and the lists of names that are read from it.
#include "vorbelctl/audit/situations.h"

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>

namespace vorbelctl {
namespace {

using List = std::vector<Situation>;

std::string why_not(const std::string& names, bool on_the_wire = true) {
  try {
    read_situations(names, on_the_wire);
  } catch (const std::invalid_argument& refused) {
    return refused.what();
  }
  return "";
}

TEST(Situations, HaveNamesOfTheirOwnAndSentences) {
  std::set<std::string_view> names;
  for (const SituationRow& row : all_situations()) {
    EXPECT_TRUE(names.insert(row.name).second) << row.name;
    EXPECT_FALSE(row.says.empty() || row.told.empty()) << row.name;
    EXPECT_EQ(&situation_row(row.situation), &row);
  }
}

TEST(Situations, AreCountedWithTheirFirstNumber) {
  Situations situations;
  meet(situations, Situation::halt, 7);
  meet(situations, Situation::halt, 5);
  EXPECT_EQ(met_of(situations, Situation::halt).count, 2U);
  EXPECT_EQ(met_of(situations, Situation::halt).first, 7U);
  EXPECT_EQ(met_of(situations, Situation::resume).count, 0U);
}

TEST(Situations, OfTheWireDoNotCountWhereTheyCannotBeKnown) {
  Situations situations;
  meet(situations, Situation::halt, 7);
  meet(situations, Situation::gap_one, 8);
  const MetCount all = count_met(situations, true);
  EXPECT_EQ(all.met, 2U);
  EXPECT_EQ(all.known, situation_count);
  const MetCount without = count_met(situations, false);
  EXPECT_EQ(without.met, 1U);
  EXPECT_EQ(without.known, 37U);
}

TEST(SituationNames, AreReadInAnyOrderAndOnce) {
  EXPECT_EQ(read_situations("gap-tail,control-I,gap-tail", true), (List{Situation::control_i, Situation::gap_tail}));
}

TEST(SituationNames, AreRefusedWithTheNearOne) {
  EXPECT_EQ(why_not("trade,gap-tal"), "--require: there is no situation \"gap-tal\"; did you mean gap-tail?");
  EXPECT_EQ(why_not("Cancel_High"), "--require: there is no situation \"Cancel_High\"; did you mean cancel-high?");
  EXPECT_EQ(why_not("xyzzy"),
            "--require: there is no situation \"xyzzy\"; docs/audit.md lists them, and so does --situations");
}

TEST(SituationNames, CannotBeEmpty) {
  EXPECT_NE(why_not(""), "");
  EXPECT_NE(why_not("trade,"), "");
}

TEST(SituationNames, OfTheWireAreRefusedWhereThereIsNone) {
  EXPECT_EQ(why_not("idle,trade", false), "");
  EXPECT_EQ(
      why_not("trade,gap-one", false),
      "--require: gap-one is not knowable here, as it takes the packets of the feed to know it; audit the feed, or "
      "a capture of it with --pcap");
}

}  // namespace
}  // namespace vorbelctl
