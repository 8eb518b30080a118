// Halts and resumes: message, flag, counter, truth record and console line.
#include "trades/halt.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/common/console.h"
#include "tests/unit/trades/engine_fixture.h"

namespace vorbeld {
namespace {

TEST(Halt, SendsItsMessage) {
  EngineBench bench;
  const std::string message = message_of(bench, [&] { disseminate_halt(bench.engine, apple_of(bench), 'H', "T.1"); });
  const std::string at = last_message(bench).substr(10, 14);
  EXPECT_EQ(message,
            "AH       O(the time now)"
            "AAPL 3.85 43  "
            "037833DT4"
            "AAPL        "
            "CORP "
            "AAPL 3.85 05/04/43            "
            "H" +
                at + "T.1 ");
}

TEST(Halt, SetsAndClearsTheFlag) {
  EngineBench bench;
  disseminate_halt(bench.engine, apple_of(bench), 'H', "T.1");
  EXPECT_TRUE(apple_of(bench).halted);
  EXPECT_FALSE(ford_of(bench).halted);
  disseminate_halt(bench.engine, apple_of(bench), 'R', "T.2");
  EXPECT_FALSE(apple_of(bench).halted);
}

TEST(Halt, AndItsResumeCountTwoAndAreNumberedInARow) {
  EngineBench bench;
  disseminate_halt(bench.engine, apple_of(bench), 'H', "T.1");
  disseminate_halt(bench.engine, apple_of(bench), 'R', "T.2");
  EXPECT_EQ(bench.engine.counters.halts, 2U);
  EXPECT_EQ(bench.feed.publisher.next_sequence, 3U);
  const std::vector<std::string> packets = sent_packets(bench.feed);
  ASSERT_EQ(packets.size(), 2U);
  EXPECT_EQ(packets[1].substr(22), last_message(bench));
  EXPECT_EQ(last_message(bench).substr(94, 1), "R");
}

TEST(Halt, OfAHaltedBondIsSentAgain) {
  EngineBench bench;
  disseminate_halt(bench.engine, apple_of(bench), 'H', "T.1");
  disseminate_halt(bench.engine, apple_of(bench), 'H', "T.1");
  EXPECT_TRUE(apple_of(bench).halted);
  EXPECT_EQ(bench.engine.counters.halts, 2U);
  disseminate_halt(bench.engine, ford_of(bench), 'R', "T.2");
  EXPECT_EQ(last_message(bench).substr(94, 1), "R");
  EXPECT_EQ(bench.engine.counters.halts, 3U);
}

TEST(Halt, IsSentAfterTheCloseToo) {
  EngineBench bench;
  bench.engine.session_closed = true;
  disseminate_halt(bench.engine, apple_of(bench), 'H', "T.1");
  EXPECT_EQ(bench.feed.publisher.messages, 1U);
}

TEST(HaltTruth, HasEveryKeyInOrder) {
  EngineBench bench;
  open_truth(bench);
  disseminate_halt(bench.engine, apple_of(bench), 'H', "T.1");
  EXPECT_EQ(last_truth(bench),
            R"({"seq":1,"cat":"A","type":"H","event":"halt","cusip":"037833DT4","symbol":"AAPL 3.85 43",)"
            R"("action":"H","reason":"T.1","at":")" +
                last_message(bench).substr(95, 14) + R"("})");
}

TEST(HaltTruth, OfAResumeIsAHaltEventWithItsAction) {
  EngineBench bench;
  open_truth(bench);
  disseminate_halt(bench.engine, apple_of(bench), 'R', "T.2");
  EXPECT_NE(last_truth(bench).find(R"("event":"halt",)"), std::string::npos);
  EXPECT_NE(last_truth(bench).find(R"("action":"R","reason":"T.2",)"), std::string::npos);
}

TEST(HaltTruth, KeepsALongReasonWholeAndUnescaped) {
  EngineBench bench;
  open_truth(bench);
  disseminate_halt(bench.engine, apple_of(bench), 'H', R"(LUDP "X")");
  EXPECT_EQ(last_message(bench).substr(109), "LUDP");
  EXPECT_NE(last_truth(bench).find(R"("reason":"LUDP "X"",)"), std::string::npos);
}

TEST(HaltTruth, EscapesTheSymbolAndNotTheCusip) {
  EngineBench bench;
  open_truth(bench);
  apple_of(bench).symbol = R"(A"B\)";
  apple_of(bench).cusip = R"(C"D)";
  disseminate_halt(bench.engine, apple_of(bench), 'H', "T.1");
  EXPECT_NE(last_truth(bench).find(R"("cusip":"C"D","symbol":"A\"B\\",)"), std::string::npos);
  EXPECT_EQ(last_message(bench).substr(24, 14), R"(A"B\          )");
}

TEST(HaltConsole, NamesTheDirectionAndTheWholeReason) {
  EngineBench bench;
  bench.engine.quiet = false;
  EXPECT_EQ(console_of([&] { disseminate_halt(bench.engine, apple_of(bench), 'H', "LUDP and more"); }),
            "[vorbeld] #1 A/H halt 037833DT4 LUDP and more\n");
  EXPECT_EQ(console_of([&] { disseminate_halt(bench.engine, apple_of(bench), 'R', "T.2"); }),
            "[vorbeld] #2 A/H resume 037833DT4 T.2\n");
}

TEST(HaltConsole, IsSilentWhenQuiet) {
  EngineBench bench;
  EXPECT_EQ(console_of([&] { disseminate_halt(bench.engine, apple_of(bench), 'H', "T.1"); }), "");
}

}  // namespace
}  // namespace vorbeld
