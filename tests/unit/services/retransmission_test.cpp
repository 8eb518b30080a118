// Retransmission requests: which messages are served, what counts as a request, and the line on the console.
#include "services/retransmission.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "tests/unit/common/console.h"
#include "tests/unit/services/retransmission_fixture.h"

namespace vorbeld {
namespace {

using Packets = std::vector<std::string>;

TEST(Retransmission, AnswersWithTheMessagesAskedFor) {
  RetransmissionBench bench;
  send_messages(bench.feed, 5);
  EXPECT_EQ(answers_to(bench, request_bytes(2, 3)), Packets{packet_bytes(2, {"m2", "m3", "m4"})});
  EXPECT_EQ(bench.feed.publisher.retransmission_requests, 1U);
  EXPECT_EQ(bench.feed.publisher.retransmitted_messages, 3U);
}

TEST(Retransmission, KeepsNothingBetweenRequests) {
  RetransmissionBench bench;
  send_messages(bench.feed, 3);
  EXPECT_EQ(answers_to(bench, request_bytes(1, 3)), Packets{packet_bytes(1, {"m1", "m2", "m3"})});
  EXPECT_EQ(answers_to(bench, request_bytes(2, 1)), Packets{packet_bytes(2, {"m2"})});
  EXPECT_EQ(bench.feed.publisher.retransmitted_messages, 4U);
}

TEST(Retransmission, CountsFromTheNumberAskedForEvenWhereNoneHasIt) {
  RetransmissionBench bench;
  send_messages(bench.feed, 100);
  EXPECT_EQ(answers_to(bench, request_bytes(0, 5)), Packets{packet_bytes(1, {"m1", "m2", "m3", "m4"})});
}

TEST(Retransmission, EndsWithTheLastMessageSent) {
  RetransmissionBench bench;
  send_messages(bench.feed, 4);
  EXPECT_EQ(answers_to(bench, request_bytes(3, 100)), Packets{packet_bytes(3, {"m3", "m4"})});
}

TEST(Retransmission, SendsNothingForNumbersNotYetGiven) {
  RetransmissionBench bench;
  send_messages(bench.feed, 4);
  EXPECT_EQ(answers_to(bench, request_bytes(5, 3)), Packets{});
  EXPECT_EQ(bench.feed.publisher.retransmission_requests, 1U);
  EXPECT_EQ(bench.feed.publisher.retransmitted_messages, 0U);
}

TEST(Retransmission, SendsNothingFromAnEmptyStore) {
  RetransmissionBench bench;
  EXPECT_EQ(answers_to(bench, request_bytes(1, 10)), Packets{});
  EXPECT_EQ(answers_to(bench, request_bytes(0, 65535)), Packets{});
  EXPECT_EQ(bench.feed.publisher.retransmission_requests, 2U);
}

TEST(Retransmission, SendsNothingWhereTheRangeWrapsAround) {
  RetransmissionBench bench;
  send_messages(bench.feed, 4);
  EXPECT_EQ(answers_to(bench, request_bytes(std::numeric_limits<std::uint64_t>::max(), 5)), Packets{});
  EXPECT_EQ(answers_to(bench, request_bytes(std::uint64_t{1} << 63U, 65535)), Packets{});
  EXPECT_EQ(bench.feed.publisher.retransmission_requests, 2U);
}

TEST(Retransmission, CountsARequestForNothing) {
  RetransmissionBench bench;
  bench.feed.publisher.quiet = false;
  send_messages(bench.feed, 4);
  const std::string console = console_of([&] { EXPECT_EQ(answers_to(bench, request_bytes(2, 0)), Packets{}); });
  EXPECT_EQ(bench.feed.publisher.retransmission_requests, 1U);
  EXPECT_EQ(console, "[vorbeld] retransmission: seq 2 count 0 → 0 message(s) to 127.0.0.1:" +
                         std::to_string(bench.client.port) + "\n");
}

TEST(Retransmission, PrintsWhatWasAskedForAndHowManyWereSent) {
  RetransmissionBench bench;
  bench.feed.publisher.quiet = false;
  send_messages(bench.feed, 7);
  send_request(bench, request_bytes(0, 65535));
  EXPECT_EQ(console_of([&] { serve_pass(bench); }),
            "[vorbeld] retransmission: seq 0 count 65535 → 7 message(s) to 127.0.0.1:" +
                std::to_string(bench.client.port) + "\n");
}

TEST(Retransmission, PrintsTheNumberAskedForWhole) {
  RetransmissionBench bench;
  bench.feed.publisher.quiet = false;
  send_request(bench, request_bytes(std::numeric_limits<std::uint64_t>::max(), 1));
  EXPECT_EQ(console_of([&] { serve_pass(bench); }),
            "[vorbeld] retransmission: seq 18446744073709551615 count 1 → 0 message(s) to 127.0.0.1:" +
                std::to_string(bench.client.port) + "\n");
}

TEST(Retransmission, IsServedAndCountedButNotPrintedWhenQuiet) {
  RetransmissionBench bench;
  send_messages(bench.feed, 2);
  const std::string console = console_of([&] {
    EXPECT_EQ(answers_to(bench, request_bytes(1, 2)), Packets{packet_bytes(1, {"m1", "m2"})});
  });
  EXPECT_EQ(console, "");
  EXPECT_EQ(bench.feed.publisher.retransmission_requests, 1U);
}

TEST(Retransmission, DropsAShortDatagramAndServesThoseBehindItInTheNextPass) {
  RetransmissionBench bench;
  bench.feed.publisher.quiet = false;
  send_messages(bench.feed, 1);
  send_request(bench, request_bytes(1, 1).substr(0, 19));
  send_request(bench, request_bytes(1, 1));
  EXPECT_EQ(console_of([&] { serve_pass(bench); }), "");
  EXPECT_EQ(received_datagrams(bench.client), Packets{});
  EXPECT_EQ(bench.feed.publisher.retransmission_requests, 0U);

  console_of([&] { serve_pass(bench); });
  EXPECT_EQ(received_datagrams(bench.client), Packets{packet_bytes(1, {"m1"})});
  EXPECT_EQ(bench.feed.publisher.retransmission_requests, 1U);
}

TEST(Retransmission, DropsAnEmptyDatagramTheSameWay) {
  RetransmissionBench bench;
  send_messages(bench.feed, 1);
  send_request(bench, "");
  send_request(bench, request_bytes(1, 1));
  serve_pass(bench);
  EXPECT_EQ(bench.feed.publisher.retransmission_requests, 0U);
  serve_pass(bench);
  EXPECT_EQ(bench.feed.publisher.retransmission_requests, 1U);
}

TEST(Retransmission, IgnoresWhatStandsBehindARequest) {
  RetransmissionBench bench;
  send_messages(bench.feed, 3);
  EXPECT_EQ(answers_to(bench, request_bytes(3, 1) + "behind"), Packets{packet_bytes(3, {"m3"})});
  EXPECT_EQ(answers_to(bench, request_bytes(2, 1) + std::string(1000, 'x')), Packets{packet_bytes(2, {"m2"})});
}

TEST(Retransmission, BringsTheSessionBytesOfTheRequestBack) {
  RetransmissionBench bench;
  send_messages(bench.feed, 2);
  const std::string session("other\0\xff \t1", 10);
  EXPECT_EQ(answers_to(bench, request_bytes(1, 2, session)), Packets{packet_bytes(1, {"m1", "m2"}, session)});
}

TEST(Retransmission, ServesAllRequestsThatWaitInOrder) {
  RetransmissionBench bench;
  send_messages(bench.feed, 9);
  for (const std::uint64_t first : {7U, 3U, 5U}) send_request(bench, request_bytes(first, 1));
  serve_pass(bench);
  EXPECT_EQ(received_datagrams(bench.client),
            (Packets{packet_bytes(7, {"m7"}), packet_bytes(3, {"m3"}), packet_bytes(5, {"m5"})}));
  EXPECT_EQ(bench.feed.publisher.retransmission_requests, 3U);
}

TEST(Retransmission, AnswersEachRequesterAlone) {
  RetransmissionBench bench;
  send_messages(bench.feed, 2);
  const UdpSocket other = open_udp();
  send_datagram(other, bench.service.port, request_bytes(1, 1));
  send_request(bench, request_bytes(2, 1));
  serve_pass(bench);
  EXPECT_EQ(received_datagrams(other), Packets{packet_bytes(1, {"m1"})});
  EXPECT_EQ(received_datagrams(bench.client), Packets{packet_bytes(2, {"m2"})});
}

TEST(Retransmission, IsNeverFaultedAndLeavesTheFeedAlone) {
  RetransmissionBench bench;
  send_messages(bench.feed, 2);
  sent_packets(bench.feed);
  FaultSettings& faults = bench.feed.publisher.faults;
  faults = {.drop_every = 1, .duplicate_every = 1, .reorder_every = 1, .armed_drops = 9};
  const std::int64_t last_send_ms = bench.feed.publisher.last_send_ms;
  EXPECT_EQ(answers_to(bench, request_bytes(1, 2)), Packets{packet_bytes(1, {"m1", "m2"})});
  EXPECT_EQ(faults.armed_drops, 9U);
  EXPECT_EQ(bench.feed.publisher.packets, 2U);
  EXPECT_EQ(bench.feed.publisher.last_send_ms, last_send_ms);
  EXPECT_EQ(sent_packets(bench.feed), Packets{});
}

TEST(Retransmission, GoesOnAfterTheClose) {
  RetransmissionBench bench;
  send_messages(bench.feed, 2);
  bench.feed.publisher.closed = true;
  EXPECT_EQ(answers_to(bench, request_bytes(1, 2)), Packets{packet_bytes(1, {"m1", "m2"})});
}

TEST(Retransmission, RecoversWhatTheLiveFeedDropped) {
  RetransmissionBench bench;
  bench.feed.publisher.faults.armed_drops = 2;
  console_of([&] { send_messages(bench.feed, 3); });
  EXPECT_EQ(sent_messages(bench.feed), Packets{"m3"});
  EXPECT_EQ(answers_to(bench, request_bytes(1, 2)), Packets{packet_bytes(1, {"m1", "m2"})});
}

}  // namespace
}  // namespace vorbeld
