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

TEST(Route, EndsAtAMulticastGroup) {
  Addresses addresses;
  for (const char* group : {"223.255.255.255", "240.0.0.0", "10.1.2.3"}) {
    addresses.group = group;
    const Finding finding = check_route(addresses);
    EXPECT_EQ(finding.verdict, Verdict::problem) << group;
    EXPECT_EQ(finding.type, "") << group;
  }
  for (const char* group : {"224.0.0.251", "239.255.255.255"}) {
    addresses.group = group;
    EXPECT_EQ(check_route(addresses).verdict, Verdict::fine) << group;
  }
}

TEST(Reason, LeavesTheAdviceOut) {
  EXPECT_EQ(reason_of(std::runtime_error("cannot join: No such device; try: vorbelctl doctor; or not")),
            "cannot join: No such device");
  EXPECT_EQ(reason_of(std::runtime_error("just so")), "just so");
}

}  // namespace
}  // namespace vorbelctl
