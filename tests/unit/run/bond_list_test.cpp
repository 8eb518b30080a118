// The bond universe out of its text: records, missing fields, grades, numbers.
#include "run/configuration.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vorbeld {
namespace {

Universe bonds_of(std::string_view text, std::string_view high_yield = "") {
  Universe universe;
  read_bonds(text, read_cusips(high_yield), universe);
  return universe;
}

Bond read_one(std::string_view text, std::string_view high_yield = "") {
  Universe universe = bonds_of(text, high_yield);
  EXPECT_EQ(universe.bonds.size(), 1U);
  return std::move(universe.bonds.at(0));
}

std::vector<std::string> cusips_of(const Universe& universe) {
  std::vector<std::string> cusips;
  for (const Bond& bond : universe.bonds) cusips.push_back(bond.cusip);
  return cusips;
}

using Cusips = std::vector<std::string>;

void expect_bond(const Bond& bond, std::string_view cusip, std::string_view description, std::string_view symbol,
                 std::string_view issuer, bool high_yield, double mid, double coupon) {
  EXPECT_EQ(bond.cusip, cusip);
  EXPECT_EQ(bond.description, description);
  EXPECT_EQ(bond.symbol, symbol);
  EXPECT_EQ(bond.short_name, issuer);
  EXPECT_EQ(bond.sub_product, "CORP");
  EXPECT_EQ(bond.high_yield, high_yield);
  EXPECT_EQ(bond.mid, mid);
  EXPECT_EQ(bond.coupon, coupon);
}

TEST(BondList, HoldsFourBondsByDefault) {
  const Universe universe = bonds_of(BenchOptions{}.bonds);
  ASSERT_EQ(universe.bonds.size(), 4U);
  expect_bond(universe.bonds[0], "037833DT4", "AAPL 3.85 05/04/43", "AAPL 3.85 43", "AAPL", false, 98.25, 3.85);
  expect_bond(universe.bonds[1], "594918BY9", "MSFT 3.30 02/06/27", "MSFT 3.3 27", "MSFT", false, 99.10, 3.30);
  expect_bond(universe.bonds[2], "46647PAP1", "JPM 4.20 07/23/29", "JPM 4.2 29", "JPM", false, 101.40, 4.20);
  expect_bond(universe.bonds[3], "345370CS9", "F 4.35 12/08/26", "F 4.35 26", "F", true, 97.80, 4.35);
}

TEST(BondList, GivesBondsAnEmptyBook) {
  for (const Bond& bond : bonds_of(BenchOptions{}.bonds).bonds) {
    EXPECT_FALSE(bond.halted);
    EXPECT_FALSE(bond.prices.traded);
    EXPECT_EQ(bond.prices.high + bond.prices.low + bond.prices.last, 0.0);
    EXPECT_EQ(bond.prints, 0U);
    EXPECT_EQ(bond.last_exec_s, 0U);
  }
}

TEST(BondList, HasDefaultsForPriceAndCoupon) {
  expect_bond(read_one("ABC:Some Bond:SB:IG"), "ABC", "Some Bond", "SB", "Some", false, 100.0, 5.0);
  expect_bond(read_one("ABC:Some Bond:SB:IG:98.5"), "ABC", "Some Bond", "SB", "Some", false, 98.5, 5.0);
  expect_bond(read_one("ABC:Some Bond:SB:IG:98.5:0"), "ABC", "Some Bond", "SB", "Some", false, 98.5, 0.0);
}

TEST(BondList, TakesTheIssuerFromTheFirstWordOfTheDescription) {
  EXPECT_EQ(read_one("A:Whole:S:IG").short_name, "Whole");
  EXPECT_EQ(read_one("A::S:IG").short_name, "");
  EXPECT_EQ(read_one("A: led by a blank:S:IG").short_name, "");
  EXPECT_EQ(read_one("A:tab\tinside it:S:IG").short_name, "tab\tinside");
  EXPECT_EQ(read_one("A:Longerthantwelvecharacters x:S:IG").short_name, "Longerthantwelvecharacters");
}

TEST(BondList, SkipsRecordsOfFewerThanFourFields) {
  EXPECT_EQ(cusips_of(bonds_of("A:d:s:IG,B:d:s,,C,D:d:s:IG,")), (Cusips{"A", "D"}));
  EXPECT_EQ(cusips_of(bonds_of(",,,")), Cusips{});
  EXPECT_EQ(cusips_of(bonds_of("")), Cusips{});
}

TEST(BondList, KeepsEmptyFields) {
  expect_bond(read_one(":::"), "", "", "", "", false, 100.0, 5.0);
}

TEST(BondList, IgnoresFieldsBehindTheSixth) {
  expect_bond(read_one("A:d:s:IG:98:3:not a number:"), "A", "d", "s", "d", false, 98.0, 3.0);
}

TEST(BondList, TrimsNothing) {
  expect_bond(read_one(" A : d : s :HY "), " A ", " d ", " s ", "", false, 100.0, 5.0);
}

TEST(BondList, KeepsItsOrderAndDuplicates) {
  Universe universe = bonds_of("B:one:s:IG,A:two:s:IG,B:three:s:IG");
  EXPECT_EQ(cusips_of(universe), (Cusips{"B", "A", "B"}));
  EXPECT_EQ(find_bond(universe, "B")->description, "one");
  EXPECT_EQ(universe.bonds[2].description, "three");
}

TEST(Grade, IsHighYieldOnlyWhenExactlySo) {
  EXPECT_TRUE(read_one("A:d:s:HY").high_yield);
  for (const std::string_view grade : {"IG", "hy", "Hy", "", "HY ", " HY", "HYX"}) {
    EXPECT_FALSE(read_one("A:d:s:" + std::string(grade)).high_yield) << grade;
  }
}

TEST(Grade, IsHighYieldForListedCusipsWhateverTheRecordSays) {
  EXPECT_TRUE(read_one("A:d:s:IG", "A").high_yield);
  EXPECT_TRUE(read_one("A:d:s:hy", "B,A").high_yield);
  EXPECT_TRUE(read_one("A:d:s:HY", "B").high_yield);
  EXPECT_FALSE(read_one("A:d:s:IG", "a,AA, A,A ").high_yield);
}

TEST(Grade, OfTheFirstDefaultBondCanBeForced) {
  const Universe universe = bonds_of(BenchOptions{}.bonds, "037833DT4");
  EXPECT_TRUE(universe.bonds[0].high_yield);
  EXPECT_FALSE(universe.bonds[1].high_yield);
  EXPECT_FALSE(universe.bonds[2].high_yield);
  EXPECT_TRUE(universe.bonds[3].high_yield);
}

TEST(CusipList, HoldsNonEmptyPiecesOnce) {
  EXPECT_EQ(read_cusips(""), CusipSet{});
  EXPECT_EQ(read_cusips(",,"), CusipSet{});
  EXPECT_EQ(read_cusips("B,A,,B, C,"), (CusipSet{"A", "B", " C"}));
}

TEST(BondNumbers, EndAtTheFirstCharacterThatIsNoneOfThem) {
  EXPECT_EQ(read_one("A:d:s:IG:98.5x:3.x").mid, 98.5);
  EXPECT_EQ(read_one("A:d:s:IG:98.5x:3.x").coupon, 3.0);
  EXPECT_EQ(read_one("A:d:s:IG: \t-7").mid, -7.0);
  EXPECT_EQ(read_one("A:d:s:IG:1e2").mid, 100.0);
  EXPECT_TRUE(std::isnan(read_one("A:d:s:IG:nan").mid));
}

TEST(BondNumbers, ThrowWhenTheyCannotBeRead) {
  for (const std::string_view text : {"A:d:s:IG:x98", "A:d:s:IG:", "A:d:s:IG::5", "A:d:s:IG:98:", "A:d:s:IG:98:x"}) {
    EXPECT_THROW(bonds_of(text), std::invalid_argument) << text;
  }
  EXPECT_THROW(bonds_of("A:d:s:IG:1e400"), std::out_of_range);
}

TEST(BondNumbers, AreReadOnlyInRecordsThatCount) {
  EXPECT_EQ(cusips_of(bonds_of("x:98,A:d:s:IG:98")), Cusips{"A"});
}

}  // namespace
}  // namespace vorbeld
