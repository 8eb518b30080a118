// What the wire puts a receiver through: packets go into a real receiver, and its events tell.
#include "vorbelctl/audit/wire_situations.h"

#include <gtest/gtest.h>

#include "tests/unit/vorbelctl/handler/receiver_bench.h"
#include "vorbelctl/audit/wire_rules.h"

namespace vorbelctl {
namespace {

// A receiver that starts with #1 and recovers.
struct WireStory {
  test::Bench bench{test::settings(1, true)};
  WireSituations wire;
  Situations situations;
};

void look(WireStory& story) {
  for (const Event& event : take_events(story.bench.receiver)) {
    meet_event(story.wire, story.situations, event, true);
  }
}

void send(WireStory& story, std::uint64_t first, std::uint64_t last) {
  test::feed(story.bench, test::data(first, last));
  look(story);
}

void send(WireStory& story, std::uint64_t number) {
  send(story, number, number);
}

void send_bytes(WireStory& story, const std::string& packet) {
  test::feed(story.bench, packet);
  look(story);
}

void recover(WireStory& story, std::uint64_t first, std::uint64_t last) {
  test::after(story.bench, 30);
  test::answer(story.bench, test::data(first, last));
  look(story);
}

void end(WireStory& story) {
  finish(story.bench.receiver, story.bench.now_ms);
  look(story);
}

// "gap-one 1 #3" for each that was met, in the order of the table.
std::string met(const Situations& situations) {
  std::string text;
  for (const SituationRow& row : all_situations()) {
    const Met& each = met_of(situations, row.situation);
    if (each.count == 0) continue;
    text += (text.empty() ? "" : ", ") + std::string(row.name) + " " + std::to_string(each.count) + " #" +
            std::to_string(each.first);
  }
  return text;
}

TEST(WireSituations, AreNoneWhereNothingIsLost) {
  WireStory story;
  send(story, 1, 3);
  send_bytes(story, test::heartbeat(4));
  send_bytes(story, test::end_of_session(4));
  EXPECT_EQ(met(story.situations), "");
}

TEST(WireSituations, KnowAGapOfOne) {
  WireStory story;
  send(story, 1);
  send(story, 3);
  EXPECT_EQ(met(story.situations), "");
  recover(story, 2, 2);
  EXPECT_EQ(met(story.situations), "gap-one 1 #2");
}

TEST(WireSituations, KnowABurst) {
  WireStory story;
  send(story, 1);
  send(story, 4);
  recover(story, 2, 3);
  EXPECT_EQ(met(story.situations), "gap-burst 1 #2");
}

TEST(WireSituations, KnowAGapThatIsGivenUp) {
  WireStory story;
  send(story, 1);
  send(story, 3);
  end(story);
  EXPECT_EQ(met(story.situations), "gap-one 1 #2");
}

TEST(WireSituations, KnowATailThatAHeartbeatTellsOf) {
  WireStory story;
  send(story, 1);
  send_bytes(story, test::heartbeat(3));
  recover(story, 2, 2);
  EXPECT_EQ(met(story.situations), "gap-one 1 #2, gap-tail 1 #2");
}

TEST(WireSituations, KnowNoTailWhereAMessageToldOfTheGap) {
  WireStory story;
  send(story, 1);
  send(story, 3);
  send_bytes(story, test::heartbeat(4));
  recover(story, 2, 2);
  EXPECT_EQ(met(story.situations), "gap-one 1 #2");
}

TEST(WireSituations, KnowAGapThatOpensWhileAnotherIsOpen) {
  WireStory story;
  send(story, 1);
  send(story, 3);
  send(story, 5);
  recover(story, 2, 4);
  EXPECT_EQ(met(story.situations), "gap-one 2 #2, gap-in-gap 1 #4");
}

TEST(WireSituations, KnowGapsOneAfterTheOther) {
  WireStory story;
  send(story, 1);
  send(story, 3);
  recover(story, 2, 2);
  send(story, 5);
  recover(story, 4, 4);
  EXPECT_EQ(met(story.situations), "gap-one 2 #2");
}

TEST(WireSituations, KnowTheEndWithAGapOpen) {
  WireStory story;
  send(story, 1);
  send(story, 3);
  send_bytes(story, test::end_of_session(4));
  recover(story, 2, 2);
  EXPECT_EQ(met(story.situations), "gap-one 1 #2, close-in-gap 1 #2");
}

TEST(WireSituations, DoNotTakeTheEndForOneInAGapThatHasClosed) {
  WireStory story;
  send(story, 1);
  send(story, 3);
  recover(story, 2, 2);
  send_bytes(story, test::end_of_session(4));
  EXPECT_EQ(met(story.situations), "gap-one 1 #2");
}

TEST(WireSituations, KnowDisorder) {
  WireStory story;
  send(story, 1);
  send(story, 3);
  send(story, 2);
  EXPECT_EQ(met(story.situations), "reorder 1 #2");
}

TEST(WireSituations, KnowDisorderBesideALoss) {
  WireStory story;
  send(story, 1);
  send(story, 4);
  send(story, 2);
  recover(story, 3, 3);
  EXPECT_EQ(met(story.situations), "gap-one 1 #2, reorder 1 #2, reorder-across-gap 1 #2");
}

TEST(WireSituations, KnowDisorderBehindALoss) {
  WireStory story;
  send(story, 1);
  send(story, 3);
  send(story, 5);
  send(story, 4);
  recover(story, 2, 2);
  EXPECT_EQ(met(story.situations), "gap-one 1 #2, reorder 1 #4, reorder-across-gap 1 #4");
}

TEST(WireSituations, KnowDuplicates) {
  WireStory story;
  send(story, 1);
  send(story, 1);
  send(story, 2);
  send(story, 2);
  EXPECT_EQ(met(story.situations), "duplicate 2 #1");
}

TEST(WireSituations, KnowADuplicateBeforeRecovery) {
  WireStory story;
  send(story, 1);
  send(story, 3);
  send(story, 3);
  recover(story, 2, 2);
  EXPECT_EQ(met(story.situations), "gap-one 1 #2, duplicate-before-recovery 1 #3");
}

TEST(WireSituations, TakeADuplicateInMereDisorderForAnyOther) {
  WireStory story;
  send(story, 1);
  send(story, 3);
  send(story, 3);
  send(story, 2);
  EXPECT_EQ(met(story.situations), "duplicate 1 #3, reorder 1 #2");
}

TEST(WireSituations, KnowADuplicateOfWhatWasRecovered) {
  WireStory story;
  send(story, 1);
  send_bytes(story, test::heartbeat(3));
  recover(story, 2, 2);
  send(story, 3);
  send(story, 2);
  send(story, 3);
  EXPECT_EQ(met(story.situations), "gap-one 1 #2, gap-tail 1 #2, duplicate 1 #3, duplicate-after-recovery 1 #2");
}

TEST(WireSituations, KnowAGapThatNoPacketOfAnAnswerHolds) {
  // 246 blocks of 6 bytes are 1476, which fit behind the header; 247 are 1482.
  for (const std::uint64_t last : {345, 346}) {
    WireStory story;
    send(story, 1, 99);
    send(story, last + 1);
    recover(story, 100, last);
    EXPECT_EQ(met_of(story.situations, Situation::gap_burst).count, 1U);
    EXPECT_EQ(met_of(story.situations, Situation::gap_beyond_packet).count, last == 346 ? 1U : 0U) << last;
  }
}

TEST(WireSituations, KnowAGapThatNoRequestAsksFor) {
  for (const std::uint64_t lost : {65535, 65536}) {
    WireStory story;
    send(story, 1);
    send_bytes(story, test::heartbeat(2 + lost));
    end(story);
    EXPECT_EQ(met_of(story.situations, Situation::gap_beyond_request).count, lost == 65536 ? 1U : 0U) << lost;
    EXPECT_EQ(met_of(story.situations, Situation::gap_beyond_packet).count, 1U);
    EXPECT_EQ(met_of(story.situations, Situation::gap_beyond_store).count, 0U);
  }
}

TEST(WireSituations, KnowNumbersThatTheBenchNoLongerHas) {
  for (const std::uint64_t lost : {400000, 400001}) {
    WireStory story;
    send(story, 1);
    send_bytes(story, test::heartbeat(2 + lost));
    end(story);
    EXPECT_EQ(met_of(story.situations, Situation::gap_beyond_store).count, lost == 400001 ? 1U : 0U) << lost;
  }
}

Event lost_message(std::uint64_t number, const std::string& bytes, Via via = Via::recovered) {
  Event event;
  event.first = event.last = number;
  event.via = via;
  event.text = bytes;
  return event;
}

TEST(WireSituations, KnowWhatWasLost) {
  WireStory story;
  const Event halt = lost_message(2, "AH and so on");
  const Event close = lost_message(3, "CC and so on");
  for (const Event& event : {halt, close, lost_message(4, "CI"), lost_message(5, "AH", Via::live)}) {
    meet_event(story.wire, story.situations, event, true);
  }
  EXPECT_EQ(met(story.situations), "gap-across-halt 1 #2, gap-across-close 1 #3");
  meet_event(story.wire, story.situations, halt, false);
  EXPECT_EQ(met_of(story.situations, Situation::gap_across_halt).count, 1U) << "it was sent before the feed was joined";
}

TEST(WireSituations, DoNotHangOnToAGapThatReachesBackBehindTheJoining) {
  WireStory story;
  Event event;
  event.kind = EventKind::gap;
  event.first = event.last = 40;
  meet_event(story.wire, story.situations, event, true);
  event.kind = EventKind::gap_closed;
  event.first = 1;
  meet_event(story.wire, story.situations, event, false);
  EXPECT_TRUE(story.wire.gaps.empty());
  EXPECT_EQ(met(story.situations), "");
}

struct Listened {
  Wire wire;
  Discrepancies discrepancies;
};

void hear(Listened& listened, std::uint64_t at_ms, const std::string& packet, std::uint64_t unsure_ms = 0) {
  hear_packet(listened.wire, packet, make_session("BTDS000001"), {at_ms - unsure_ms, at_ms}, listened.discrepancies);
}

TEST(HeartbeatLost, IsToldBySilenceInWhichNothingElseWasSent) {
  Listened listened;
  hear(listened, 1000, test::data(1, 1));
  hear(listened, 2000, test::heartbeat(2));
  hear(listened, 4000, test::heartbeat(2));
  hear(listened, 6000, test::data(2, 2));
  EXPECT_EQ(listened.wire.heartbeats_lost.count, 2U);
  EXPECT_EQ(listened.wire.heartbeats_lost.first, 2U);
  EXPECT_EQ(listened.discrepancies.total, 0U);
}

TEST(HeartbeatLost, IsNotToldBySilenceInWhichMessagesWereLost) {
  Listened listened;
  hear(listened, 1000, test::data(1, 1));
  hear(listened, 4000, test::data(3, 3));
  hear(listened, 8000, test::heartbeat(5));
  EXPECT_EQ(listened.wire.heartbeats_lost.count, 0U);
}

TEST(HeartbeatLost, IsNotToldWhereThePacketMayHaveWaitedToBeRead) {
  Listened listened;
  hear(listened, 1000, test::data(1, 1));
  hear(listened, 3000, test::heartbeat(2), 500);
  EXPECT_EQ(listened.wire.heartbeats_lost.count, 0U);
}

}  // namespace
}  // namespace vorbelctl
