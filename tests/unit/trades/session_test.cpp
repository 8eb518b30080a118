// The messages about the session and its bonds: controls, halts and resumes, summaries, the close.
#include "trades/session.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "tests/unit/common/console.h"
#include "tests/unit/trades/engine_fixture.h"
#include "trades/amendment.h"

namespace vorbeld {
namespace {

constexpr std::string_view closing_line_of_none =
    "[vorbeld] session closed: 0 daily summaries, end of session on the wire\n";

// Category and type of the messages sent since the last call.
std::string kinds_sent(const EngineBench& bench) {
  std::string kinds;
  for (const std::string& message : sent_messages(bench.feed)) {
    if (!kinds.empty()) kinds += ' ';
    kinds += message.substr(0, 2);
  }
  return kinds;
}

// Closes the session without a line on the console of the test.
std::string close(EngineBench& bench) {
  return console_of([&] { close_session(bench.engine); });
}

TEST(ControlMessage, IsSentAndRecorded) {
  EngineBench bench;
  open_truth(bench);
  EXPECT_EQ(message_of(bench, [&] { disseminate_control(bench.engine, 'I'); }), "CI       O(the time now)");
  EXPECT_EQ(last_truth(bench), R"({"seq":1,"cat":"C","type":"I","event":"control"})");
  disseminate_control(bench.engine, 'O');
  EXPECT_EQ(last_truth(bench), R"({"seq":2,"cat":"C","type":"O","event":"control"})");
  EXPECT_EQ(kinds_sent(bench), "CI CO");
}

TEST(ControlMessage, PrintsOneLineUnlessQuiet) {
  EngineBench bench;
  EXPECT_EQ(console_of([&] { disseminate_control(bench.engine, 'I'); }), "");
  bench.engine.quiet = false;
  EXPECT_EQ(console_of([&] { disseminate_control(bench.engine, 'O'); }), "[vorbeld] #2 control C/O\n");
}

TEST(SummaryMessage, TellsTheDayOfABond) {
  EngineBench bench;
  trade_at(bench, {96.25, 385, 77});
  EXPECT_EQ(message_of(bench, [&] { disseminate_summary(bench.engine, apple_of(bench)); }),
            "AE       O(the time now)"
            "AAPL 3.85 43  "
            "037833DT4"
            "AAPL        "
            "CORP "
            " "
            "0385.000000"
            " 000001.000000"
            "0077.000000"
            " 000005.000000"
            "0077.000000"
            " 000005.000000");
  EXPECT_EQ(bench.engine.counters.daily_summaries, 1U);
}

TEST(SummaryMessage, HasATruthRecordWithTheWholePrices) {
  EngineBench bench;
  open_truth(bench);
  apple_of(bench).symbol = R"(A"B)";
  trade_at(bench, {-2, -1.5, -3});
  disseminate_summary(bench.engine, apple_of(bench));
  EXPECT_EQ(last_truth(bench), R"({"seq":4,"cat":"A","type":"E","event":"summary","cusip":"037833DT4","symbol":"A\"B",)"
                               R"("high":-1.500000,"low":-3.000000,"close":-3.000000})");
  EXPECT_EQ(last_message(bench).substr(65, 25), "0000.000000 000000.000000");
  EXPECT_EQ(last_message(bench).substr(90, 11), "0000.000000");
  EXPECT_EQ(last_message(bench).substr(115, 11), "0000.000000");
}

TEST(SummaryMessage, HasTheCusipUnescapedInItsTruthRecord) {
  EngineBench bench;
  open_truth(bench);
  apple_of(bench).cusip = R"(A"B\C)";
  disseminate_summary(bench.engine, apple_of(bench));
  EXPECT_TRUE(last_truth(bench).find(R"("cusip":"A"B\C","symbol")") != std::string::npos) << last_truth(bench);
}

TEST(SummaryMessage, PrintsNothing) {
  EngineBench bench;
  bench.engine.quiet = false;
  EXPECT_EQ(console_of([&] { disseminate_summary(bench.engine, apple_of(bench)); }), "");
}

TEST(Close, BeforeAnyTradeSendsFourControls) {
  EngineBench bench;
  EXPECT_EQ(close(bench), closing_line_of_none);
  EXPECT_EQ(kinds_sent(bench), "CC CX CJ CZ");
  EXPECT_EQ(last_sequence(bench.feed.publisher), 4U);
}

TEST(Close, SummarisesTheBondsThatTradedInTheirOrder) {
  EngineBench bench;
  Bond third = apple();
  third.cusip = "594918BY9";
  add_bond(bench.engine.universe, std::move(third));
  Bond fourth = apple();
  fourth.cusip = "46647PAP1";
  add_bond(bench.engine.universe, std::move(fourth));
  disseminate_trade(bench.engine, plain_trade(100, "46647PAP1"));
  disseminate_trade(bench.engine, plain_trade(100, ford_cusip));
  sent_packets(bench.feed);
  EXPECT_EQ(close(bench), "[vorbeld] session closed: 2 daily summaries, end of session on the wire\n");
  const std::vector<std::string> messages = sent_messages(bench.feed);
  ASSERT_EQ(messages.size(), 6U);
  EXPECT_EQ(messages[0].substr(0, 2), "CC");
  EXPECT_EQ(messages[1].substr(0, 2) + messages[1].substr(38, 9), "AE345370CS9");
  EXPECT_EQ(messages[2].substr(0, 2) + messages[2].substr(38, 9), "AE46647PAP1");
  EXPECT_EQ(messages[3].substr(0, 2) + messages[4].substr(0, 2) + messages[5].substr(0, 2), "CXCJCZ");
  EXPECT_EQ(last_sequence(bench.feed.publisher), 8U);
}

TEST(Close, LeavesOutABondWhosePrintsWereAllCancelled) {
  EngineBench bench;
  trade_at(bench, {100});
  cancel_trade(bench.engine, 1);
  sent_packets(bench.feed);
  EXPECT_EQ(close(bench), closing_line_of_none);
  EXPECT_EQ(kinds_sent(bench), "CC CX CJ CZ");
}

TEST(Close, RefusesTradesFromThenOn) {
  EngineBench bench;
  close(bench);
  EXPECT_TRUE(session_closed(bench.engine));
  console_of([&] { EXPECT_EQ(disseminate_trade(bench.engine, plain_trade()), 0U); });
}

TEST(Close, MakesAnEndOfSessionPacketDueAtOnce) {
  EngineBench bench;
  close(bench);
  EXPECT_TRUE(bench.feed.publisher.closed);
  EXPECT_EQ(bench.feed.publisher.last_send_ms, 0);
  sent_packets(bench.feed);
  send_heartbeat(bench.feed.publisher);
  const std::vector<std::string> packets = sent_packets(bench.feed);
  ASSERT_EQ(packets.size(), 1U);
  EXPECT_EQ(packets[0].substr(10), std::string("\0\0\0\0\0\0\0\x05\xff\xff", 10));
}

TEST(Close, PrintsItsControlsUnlessQuiet) {
  EngineBench bench;
  bench.engine.quiet = false;
  EXPECT_EQ(close(bench),
            "[vorbeld] #1 control C/C\n"
            "[vorbeld] #2 control C/X\n"
            "[vorbeld] #3 control C/J\n"
            "[vorbeld] #4 control C/Z\n" +
                std::string(closing_line_of_none));
}

TEST(Close, DoesNotReleaseAHeldPacket) {
  EngineBench bench;
  bench.feed.publisher.faults.reorder_every = 1;
  close(bench);
  EXPECT_EQ(sent_packets(bench.feed).size(), 0U);
  EXPECT_FALSE(bench.feed.publisher.held_packet.empty());
}

TEST(Close, FlushesWhatWasWaiting) {
  EngineBench bench;
  append_message(bench.feed.publisher, std::string("waiting"));
  close(bench);
  const std::vector<std::string> packets = sent_packets(bench.feed);
  ASSERT_EQ(packets.size(), 4U);
  EXPECT_EQ(packets[0].substr(18, 2), std::string("\0\x02", 2));
}

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
  EXPECT_EQ(last_sequence(bench.feed.publisher), 2U);
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
  bench.engine.publisher.closed = true;
  disseminate_halt(bench.engine, apple_of(bench), 'H', "T.1");
  EXPECT_EQ(last_sequence(bench.feed.publisher), 1U);
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
