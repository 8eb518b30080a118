// The service sockets: how each is opened, and what is printed when its port is taken.
#include "run/start.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <string>

#include "tests/unit/common/console.h"
#include "tests/unit/common/loopback.h"
#include "tests/unit/run/ports.h"

namespace vorbeld {
namespace {

std::string address_of(int descriptor) {
  sockaddr_in address{};
  socklen_t length = sizeof address;
  getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &length);
  return inet_ntoa(address.sin_addr);
}

int socket_option(int descriptor, int option) {
  int value = -1;
  socklen_t length = sizeof value;
  getsockopt(descriptor, SOL_SOCKET, option, &value, &length);
  return value;
}

bool is_non_blocking(int descriptor) {
  return (fcntl(descriptor, F_GETFL) & O_NONBLOCK) != 0;
}

TEST(RetransmissionSocket, TakesUdpOnAllAddresses) {
  const ClaimedPort port = claim_port();
  const Descriptor opened(open_retransmission_socket(port.number));
  ASSERT_GE(opened.value, 0);
  EXPECT_EQ(address_of(opened.value), "0.0.0.0");
  EXPECT_EQ(port_of(opened.value), port.number);
  EXPECT_EQ(socket_option(opened.value, SO_TYPE), SOCK_DGRAM);
  EXPECT_EQ(socket_option(opened.value, SO_REUSEADDR), 1);
  EXPECT_TRUE(is_non_blocking(opened.value));
}

TEST(RetransmissionSocket, TellsWhyItCannotBeHad) {
  const UdpSocket holder = open_udp();
  EXPECT_EQ(console_of([&] { EXPECT_EQ(open_retransmission_socket(holder.port), -1); }),
            "vorbeld: retransmission port: Address already in use\n");
}

TEST(ReportListener, ListensOnAllAddresses) {
  const ClaimedPort port = claim_port();
  const Descriptor opened(open_report_listener(port.number));
  ASSERT_GE(opened.value, 0);
  EXPECT_EQ(address_of(opened.value), "0.0.0.0");
  EXPECT_EQ(port_of(opened.value), port.number);
  EXPECT_EQ(socket_option(opened.value, SO_TYPE), SOCK_STREAM);
  EXPECT_EQ(socket_option(opened.value, SO_ACCEPTCONN), 1);
  EXPECT_EQ(socket_option(opened.value, SO_REUSEADDR), 1);
  EXPECT_TRUE(is_non_blocking(opened.value));
  EXPECT_GE(connect_tcp(port.number).value, 0);
}

TEST(ReportListener, TellsWhyItCannotBeHad) {
  const ClaimedPort port = claim_port();
  const Descriptor holder(open_report_listener(port.number));
  EXPECT_EQ(console_of([&] { EXPECT_EQ(open_report_listener(port.number), -1); }),
            "vorbeld: listen: Address already in use\n");
}

TEST(ControlSocket, TakesUdpOnTheLoopbackAddressAlone) {
  const ClaimedPort port = claim_port();
  const Descriptor opened(open_control_socket(port.number));
  ASSERT_GE(opened.value, 0);
  EXPECT_EQ(address_of(opened.value), "127.0.0.1");
  EXPECT_EQ(port_of(opened.value), port.number);
  EXPECT_EQ(socket_option(opened.value, SO_TYPE), SOCK_DGRAM);
  EXPECT_EQ(socket_option(opened.value, SO_REUSEADDR), 0);
  EXPECT_TRUE(is_non_blocking(opened.value));
}

TEST(ControlSocket, TellsWhyItCannotBeHad) {
  const UdpSocket holder = open_udp();
  EXPECT_EQ(console_of([&] { EXPECT_EQ(open_control_socket(holder.port), -1); }),
            "vorbeld: control port: Address already in use\n");
}

// The next descriptor that the process would be given.
int next_descriptor() {
  return Descriptor(socket(AF_INET, SOCK_DGRAM, 0)).value;
}

TEST(ServiceSockets, AreClosedWhenTheirPortCannotBeHad) {
  const UdpSocket holder = open_udp();
  const int before = next_descriptor();
  console_of([&] { open_control_socket(holder.port); });
  EXPECT_EQ(next_descriptor(), before);
}

}  // namespace
}  // namespace vorbeld
