// Checks of the doctor that need no bench.
#include "vorbelctl/commands/doctor_checks.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace vorbelctl {
namespace {

TEST(Route, BeginsAtAnAddressOfThisMachine) {
  Addresses addresses;
  EXPECT_EQ(check_route(addresses).verdict, Verdict::fine);
  addresses.interface = "192.0.2.1";  // for documentation: nobody has it
  const Finding finding = check_route(addresses);
  EXPECT_EQ(finding.verdict, Verdict::problem);
  EXPECT_EQ(finding.says.substr(0, 52), "there is no way to 233.54.19.111 from 192.0.2.1: Can");
}

TEST(Route, IsNotLookedForWithoutAddresses) {
  Addresses addresses;
  addresses.interface = "foo";
  EXPECT_THROW(check_route(addresses), std::invalid_argument);
  addresses.interface = "127.0.0.1";
  addresses.group = "foo";
  EXPECT_THROW(check_route(addresses), std::invalid_argument);
}

TEST(Route, SaysWhatIsWrongWithoutTheAdviceOfWhoeverOpens) {
  Addresses addresses;
  addresses.interface = "192.0.2.1";
  EXPECT_EQ(check_route(addresses).says.find(';'), std::string::npos);
  EXPECT_EQ(check_membership(addresses).says.find("vorbelctl doctor"), std::string::npos);
}

}  // namespace
}  // namespace vorbelctl
