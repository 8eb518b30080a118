// The commands by themselves: which text is which command, and what flow, market and truth file see of it.
#include "services/control_port.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "common/clocks.h"
#include "tests/unit/common/console.h"
#include "tests/unit/services/service_fixture.h"

namespace vorbeld {
namespace {

using Lines = std::vector<std::string>;

TEST(Commands, AreMatchedExactly) {
  ServiceBench bench;
  for (const std::string_view line : {"", " ", " pause", "PAUSE", "Pause", "pause\t", "paus", "pauses", "pause\tx",
                                      "cancel\n2", "drop-every 3", "help", "resume_Halt 037833DT4"}) {
    EXPECT_EQ(reply_to(bench, line), "unknown command") << line;
  }
  EXPECT_FALSE(bench.flow.paused);
  EXPECT_EQ(last_sequence(bench.feed.publisher), 0U);
}

TEST(Commands, AreEchoedAllButStats) {
  ServiceBench bench;
  const auto echoed = [&](std::string_view line) {
    return run_command(line, {bench.engine, bench.flow, bench.pending, bench.retransmissions}).echoed;
  };
  for (const std::string_view line : {"pause", "drop 0", "cancel", "halt x", "stop", "no command", ""}) {
    EXPECT_TRUE(echoed(line)) << line;
  }
  EXPECT_FALSE(echoed("stats"));
  EXPECT_FALSE(echoed("stats of what"));
  EXPECT_TRUE(echoed("STATS"));
}

TEST(PauseCommand, PausesTheFlowUntilItIsResumed) {
  ServiceBench bench;
  EXPECT_EQ(reply_to(bench, "pause"), "ok");
  EXPECT_TRUE(bench.flow.paused);
  EXPECT_EQ(reply_to(bench, "pause"), "ok");
  EXPECT_TRUE(bench.flow.paused);
  EXPECT_EQ(reply_to(bench, "resume"), "ok");
  EXPECT_FALSE(bench.flow.paused);
  EXPECT_EQ(reply_to(bench, "resume"), "ok");
  EXPECT_FALSE(bench.flow.paused);
}

TEST(PauseCommand, IgnoresAnArgument) {
  ServiceBench bench;
  EXPECT_EQ(reply_to(bench, "pause 5 seconds"), "ok");
  EXPECT_TRUE(bench.flow.paused);
  EXPECT_EQ(reply_to(bench, "resume now"), "ok");
  EXPECT_FALSE(bench.flow.paused);
}

TEST(StopCommand, EndsTheRun) {
  ServiceBench bench;
  EXPECT_EQ(reply_to(bench, "stop"), "ok");
  EXPECT_TRUE(bench.flow.stop_now);
  EXPECT_FALSE(bench.flow.paused);
}

TEST(HaltCommand, HaltsABondWithTheUsualReason) {
  ServiceBench bench;
  open_truth(bench);
  EXPECT_EQ(reply_to(bench, "halt 037833DT4"), "ok");
  EXPECT_TRUE(bench.engine.universe.bonds[0].halted);
  EXPECT_FALSE(bench.engine.universe.bonds[1].halted);
  const std::string message = sent_messages(bench.feed).at(0);
  EXPECT_EQ(message.substr(0, 2), "AH");
  EXPECT_EQ(message.substr(38, 9), "037833DT4");
  EXPECT_EQ(message.substr(94, 1), "H");
  EXPECT_EQ(message.substr(109), "T.1 ");
}

TEST(HaltCommand, TakesTheSecondPieceForTheReason) {
  ServiceBench bench;
  EXPECT_EQ(reply_to(bench, "halt 345370CS9 LUDP extra"), "ok");
  EXPECT_TRUE(bench.engine.universe.bonds[1].halted);
  const std::string message = sent_messages(bench.feed).at(0);
  EXPECT_EQ(message.substr(38, 9), "345370CS9");
  EXPECT_EQ(message.substr(109), "LUDP");
}

TEST(HaltCommand, KeepsALongReasonWholeInTheTruthFile) {
  ServiceBench bench;
  open_truth(bench);
  reply_to(bench, "halt 037833DT4 volatility");
  EXPECT_EQ(sent_messages(bench.feed).at(0).substr(109), "vola");
  EXPECT_NE(truth_lines(bench).at(0).find("\"action\":\"H\",\"reason\":\"volatility\","), std::string::npos);
}

TEST(HaltCommand, TakesAnEmptySecondPieceForAnEmptyReason) {
  ServiceBench bench;
  EXPECT_EQ(reply_to(bench, "halt 037833DT4  LUDP"), "ok");
  EXPECT_EQ(sent_messages(bench.feed).at(0).substr(109), "    ");
}

TEST(HaltCommand, KnowsOnlyCusipsOfTheUniverse) {
  ServiceBench bench;
  for (const std::string_view line : {"halt", "halt ", "halt 037833dt4", "halt 037833DT", "halt  037833DT4",
                                      "halt AAPL", "resume_halt", "resume_halt 037833DT", "resume_halt  037833DT4"}) {
    EXPECT_EQ(reply_to(bench, line), "unknown cusip") << line;
  }
  EXPECT_EQ(last_sequence(bench.feed.publisher), 0U);
  EXPECT_EQ(bench.engine.counters.halts, 0U);
}

TEST(HaltCommand, IsNotRefusedForAHaltedBond) {
  ServiceBench bench;
  reply_to(bench, "halt 037833DT4");
  EXPECT_EQ(reply_to(bench, "halt 037833DT4"), "ok");
  EXPECT_EQ(bench.engine.counters.halts, 2U);
  EXPECT_EQ(last_sequence(bench.feed.publisher), 2U);
}

TEST(ResumeHaltCommand, LiftsAHalt) {
  ServiceBench bench;
  reply_to(bench, "halt 037833DT4");
  EXPECT_EQ(reply_to(bench, "resume_halt 037833DT4"), "ok");
  EXPECT_FALSE(bench.engine.universe.bonds[0].halted);
  EXPECT_EQ(bench.engine.counters.halts, 2U);
  const std::string message = sent_messages(bench.feed).at(1);
  EXPECT_EQ(message.substr(94, 1), "R");
  EXPECT_EQ(message.substr(109), "T.2 ");
}

TEST(ResumeHaltCommand, TakesItsWholeArgumentForTheCusip) {
  ServiceBench bench;
  reply_to(bench, "halt 037833DT4");
  EXPECT_EQ(reply_to(bench, "resume_halt 037833DT4 T.2"), "unknown cusip");
  EXPECT_TRUE(bench.engine.universe.bonds[0].halted);
}

TEST(CloseCommand, ClosesTheSessionAndDropsWhatIsPending) {
  ServiceBench bench;
  bench.pending = {{1, Amendment::cancel, 1}, {2, Amendment::correction, 1}};
  EXPECT_EQ(console_of([&] { EXPECT_EQ(reply_to(bench, "close"), "ok"); }),
            "[vorbeld] session closed: 0 daily summaries, end of session on the wire\n");
  EXPECT_TRUE(session_closed(bench.engine));
  EXPECT_TRUE(bench.pending.empty());
  EXPECT_EQ(last_sequence(bench.feed.publisher), 4U);
}

TEST(CloseCommand, OnlyDropsWhatIsPendingTheSecondTime) {
  ServiceBench bench;
  console_of([&] { reply_to(bench, "close"); });
  bench.pending = {{1, Amendment::cancel, 1}};
  EXPECT_EQ(console_of([&] { EXPECT_EQ(reply_to(bench, "close"), "ok"); }), "");
  EXPECT_TRUE(bench.pending.empty());
  EXPECT_EQ(last_sequence(bench.feed.publisher), 4U);
}

TEST(MarkCommand, WritesALabelUnderTheLastSequenceNumber) {
  ServiceBench bench;
  open_truth(bench);
  for (int i = 0; i < 41; ++i) append_message(bench.feed.publisher, std::string_view("m"));
  EXPECT_EQ(console_of([&] { EXPECT_EQ(reply_to(bench, "mark before fault"), "ok"); }),
            "bench: mark before fault at seq 41\n");
  EXPECT_EQ(truth_lines(bench), Lines{"{\"mark\":\"before fault\",\"seq\":41}"});
}

TEST(MarkCommand, EscapesItsLabelInTheFileOnly) {
  ServiceBench bench;
  open_truth(bench);
  EXPECT_EQ(console_of([&] { reply_to(bench, "mark a \"b\" \\c\t\x01\xff"); }),
            "bench: mark a \"b\" \\c\t\x01\xff at seq 0\n");
  EXPECT_EQ(truth_lines(bench), Lines{"{\"mark\":\"a \\\"b\\\" \\\\c\t\x01\xff\",\"seq\":0}"});
}

TEST(MarkCommand, KeepsLeadingBlanksAndMayBeEmpty) {
  ServiceBench bench;
  open_truth(bench);
  EXPECT_EQ(console_of([&] {
              reply_to(bench, "mark");
              reply_to(bench, "mark   two  words");
            }),
            "bench: mark  at seq 0\n"
            "bench: mark   two  words at seq 0\n");
  EXPECT_EQ(truth_lines(bench), (Lines{"{\"mark\":\"\",\"seq\":0}", "{\"mark\":\"  two  words\",\"seq\":0}"}));
}

TEST(MarkCommand, IsPrintedWithoutATruthFile) {
  ServiceBench bench;
  EXPECT_EQ(console_of([&] { EXPECT_EQ(reply_to(bench, "mark x"), "ok"); }), "bench: mark x at seq 0\n");
}

TEST(MarkCommand, IsPrintedWhenTheTruthFileHasFailed) {
  ServiceBench bench;
  open_lines(bench.engine.truth, "/dev/full");
  const std::string console = console_of([&] {
    reply_to(bench, "mark x");
    reply_to(bench, "mark y");
  });
  EXPECT_EQ(console, "bench: mark x at seq 0\nbench: mark y at seq 0\n");
  EXPECT_FALSE(takes_lines(bench.engine.truth));
}

TEST(StatsCommand, ListsTheCountersInTheirOrder) {
  ServiceBench bench;
  MoldPublisher& publisher = bench.feed.publisher;
  publisher.store.appended = 12;
  publisher.packets = 9;
  bench.retransmissions.requests = 2;
  bench.engine.counters.reports = 10;
  bench.engine.counters.cancels = 1;
  bench.engine.counters.corrections = 1;
  EXPECT_EQ(reply_to(bench, "stats"),
            "seq 12 messages 12 packets 9 reports 10 capped 0 cancels 1 corrections 1 halts 0 retrans 2 "
            "vorbeld faults: sent 9 dropped 0 duplicated 0 reordered 0");
}

TEST(StatsCommand, TellsEachCounterFromTheOthers) {
  ServiceBench bench;
  MoldPublisher& publisher = bench.feed.publisher;
  publisher.store.appended = 18'446'744'073'709'551'614U;
  publisher.packets = 1000;
  bench.retransmissions.requests = 3;
  publisher.fault_counters = {.dropped = 4, .duplicated = 5, .reordered = 6};
  RunCounters& counters = bench.engine.counters;
  counters.reports = 7;
  counters.capped = 8;
  counters.cancels = 9;
  counters.corrections = 10;
  counters.halts = 11;
  EXPECT_EQ(reply_to(bench, "stats"),
            "seq 18446744073709551614 messages 18446744073709551614 packets 1000 reports 7 capped 8 cancels 9 "
            "corrections 10 halts 11 "
            "retrans 3 vorbeld faults: sent 996 dropped 4 duplicated 5 reordered 6");
}

TEST(StatsCommand, StandsAtZeroBeforeTheFirstMessage) {
  ServiceBench bench;
  EXPECT_EQ(reply_to(bench, "stats"),
            "seq 0 messages 0 packets 0 reports 0 capped 0 cancels 0 corrections 0 halts 0 retrans 0 "
            "vorbeld faults: sent 0 dropped 0 duplicated 0 reordered 0");
}

}  // namespace
}  // namespace vorbeld
