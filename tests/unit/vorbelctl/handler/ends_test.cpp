// The ends of following a feed, held against a receiver and times made up here.
#include "vorbelctl/handler/ends.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>

#include "packets.h"

namespace vorbelctl {
namespace {

using test::data;
using test::end_of_session;

Receiver receiver_that_got(const std::vector<std::string>& packets) {
  ReceiverSettings settings;
  settings.session = make_session("BTDS000001");
  Receiver receiver = make_receiver(settings);
  for (const auto& packet : packets) take_packet(receiver, packet, Channel::feed, 0);
  return receiver;
}

const Progress begun{1000};

TEST(End, IsNoneWhereNothingIsAskedFor) {
  const Receiver receiver = receiver_that_got({data(1, 2), end_of_session(3)});
  EXPECT_EQ(end_of({}, begun, receiver, 1'000'000'000), End::none);
  EXPECT_EQ(end_name(End::none), "");
}

TEST(End, ComesWithTheMessagesAskedForOnceTheyAreDelivered) {
  Ends ends;
  ends.messages = 2;
  EXPECT_EQ(end_of(ends, begun, receiver_that_got({data(1, 1)}), 1000), End::none);
  EXPECT_EQ(end_of(ends, begun, receiver_that_got({data(1, 1), data(3, 3)}), 1000), End::none);
  EXPECT_EQ(end_of(ends, begun, receiver_that_got({data(1, 3)}), 1000), End::messages);
  EXPECT_EQ(end_name(End::messages), "count");
}

TEST(End, ComesWithTheLastNumberThatIsWanted) {
  Ends ends;
  ends.to = 3;
  EXPECT_EQ(end_of(ends, begun, receiver_that_got({data(1, 2)}), 1000), End::none);
  EXPECT_EQ(end_of(ends, begun, receiver_that_got({data(1, 2), data(4, 1)}), 1000), End::none) << "3 may still come";
  EXPECT_EQ(end_of(ends, begun, receiver_that_got({data(1, 3)}), 1000), End::number);
  EXPECT_EQ(end_name(End::number), "number");
  EXPECT_EQ(what_did_not_come(ends, begun, receiver_that_got({data(1, 2)}), 2000),
            "#3 did not come: the last message was #2, and the feed had been silent for 1.0 s");
  EXPECT_EQ(what_did_not_come(ends, begun, receiver_that_got({data(1, 3)}), 2000), "");
}

TEST(End, OfASessionWaitsForWhatIsMissing) {
  Ends ends;
  ends.end_of_session = true;
  EXPECT_EQ(end_of(ends, begun, receiver_that_got({data(1, 1)}), 1000), End::none);
  EXPECT_EQ(end_of(ends, begun, receiver_that_got({data(1, 1), end_of_session(3)}), 1000), End::none);
  EXPECT_EQ(end_of(ends, begun, receiver_that_got({data(1, 2), end_of_session(3)}), 1000), End::end_of_session);
  EXPECT_EQ(end_name(End::end_of_session), "end of session");
}

TEST(End, ComesWithTheTimeFromTheBeginningOn) {
  Ends ends;
  ends.seconds = 0.25;
  const Receiver receiver = receiver_that_got({});
  EXPECT_EQ(end_of(ends, begun, receiver, 1249), End::none);
  EXPECT_EQ(end_of(ends, begun, receiver, 1250), End::time);
  EXPECT_EQ(end_name(End::time), "time");
}

TEST(End, ComesWithSilenceSinceTheLastSign) {
  Ends ends;
  ends.silence_s = 1;
  Receiver receiver = receiver_that_got({});
  Progress progress = begun;
  EXPECT_EQ(end_of(ends, progress, receiver, 1999), End::none);
  EXPECT_EQ(end_of(ends, progress, receiver, 2000), End::silence);
  take_packet(receiver, data(1, 1), Channel::feed, 1500);
  note_packets(progress, receiver, 1500);
  EXPECT_EQ(end_of(ends, progress, receiver, 2499), End::none);
  note_packets(progress, receiver, 2400);  // nothing new: no sign
  EXPECT_EQ(end_of(ends, progress, receiver, 2500), End::silence);
  EXPECT_EQ(end_name(End::silence), "silence");
}

TEST(End, HasAPacketOfAnotherSessionAsNoSign) {
  Receiver receiver = receiver_that_got({});
  Progress progress = begun;
  take_packet(receiver, data(1, 1, "OTHER"), Channel::feed, 1500);
  note_packets(progress, receiver, 1500);
  EXPECT_EQ(progress.heard_ms, 0U);
}

TEST(End, ComesWithASignalBeforeAnyOther) {
  const auto interrupt = [] {
    catch_interrupts();
    std::raise(SIGTERM);
    Ends ends;
    ends.seconds = 1;
    const bool right = end_of(ends, begun, receiver_that_got({}), 9000) == End::interrupt;
    std::exit(right ? 0 : 1);  // NOLINT(concurrency-mt-unsafe): one thread
  };
  EXPECT_EXIT(interrupt(), testing::ExitedWithCode(0), "");
  EXPECT_EQ(end_name(End::interrupt), "interrupt");
}

TEST(End, ComesAtOnceWithTheSecondSignal) {
  const auto interrupt_twice = [] {
    catch_interrupts();
    std::raise(SIGINT);
    std::raise(SIGINT);
  };
  EXPECT_EXIT(interrupt_twice(), testing::KilledBySignal(SIGINT), "");
}

}  // namespace
}  // namespace vorbelctl
