// The doors of a bench as the doctor finds them: closed, or open and nobody's.
#include "vorbelctl/commands/doctor_doors.h"

#include <gtest/gtest.h>

#include "tests/unit/common/loopback.h"

namespace vorbelctl {
namespace {

// A port that was somebody's a moment ago.
std::uint16_t closed_port() {
  return vorbeld::open_udp().port;
}

TEST(AskedDoor, IsAProblemWhereItIsClosedAndAskedFor) {
  Addresses addresses;
  addresses.report_port = addresses.retrans_port = addresses.control_port = closed_port();
  EXPECT_EQ(check_reports(addresses, true).verdict, Verdict::problem);
  EXPECT_EQ(check_retransmission(addresses, true, 2).verdict, Verdict::problem);
  const ControlDoor control = ask_control_door(addresses, true);
  EXPECT_EQ(control.finding.verdict, Verdict::problem);
  EXPECT_TRUE(control.is_closed);
  EXPECT_EQ(control.latest, 0U);
}

TEST(AskedDoor, IsWorthANoteWhereItIsClosedAndNobodyAskedForIt) {
  Addresses addresses;
  addresses.report_port = addresses.retrans_port = addresses.control_port = closed_port();
  EXPECT_EQ(check_reports(addresses, false).verdict, Verdict::note);
  EXPECT_EQ(check_retransmission(addresses, false, 2).verdict, Verdict::note);
  const Finding control = ask_control_door(addresses, false).finding;
  EXPECT_EQ(control.verdict, Verdict::note);
  EXPECT_EQ(control.says.substr(control.says.find(" is closed")),
            " is closed; a bench may run without it; if it has another, give that with --control-port");
}

TEST(AskedDoor, IsAProblemWhereItIsOpenAndSilent) {
  const vorbeld::UdpSocket silent = vorbeld::open_udp();
  Addresses addresses;
  addresses.retrans_port = addresses.control_port = silent.port;
  EXPECT_EQ(check_retransmission(addresses, false, 2).verdict, Verdict::problem);
  const ControlDoor control = ask_control_door(addresses, false);
  EXPECT_EQ(control.finding.verdict, Verdict::problem);
  EXPECT_FALSE(control.is_closed);
}

}  // namespace
}  // namespace vorbelctl
