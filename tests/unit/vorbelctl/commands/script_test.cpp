// Lines of a control script.
#include "vorbelctl/commands/script.h"

#include <gtest/gtest.h>

namespace vorbelctl {
namespace {

TEST(ScriptLine, IsACommand) {
  const ScriptLine line = read_script_line("mark before  fault \r\n", false);
  EXPECT_EQ(line.command, "mark before  fault");
  EXPECT_EQ(line.at_ms, 0U);
  EXPECT_EQ(line.wrong, "");
}

TEST(ScriptLine, MayWait) {
  const ScriptLine line = read_script_line("--at-ms 1500 drop 3", false);
  EXPECT_EQ(line.command, "drop 3");
  EXPECT_EQ(line.at_ms, 1500U);
}

TEST(ScriptLine, MayBeginWithBlanks) {
  EXPECT_EQ(read_script_line("  drop 3", false).command, "drop 3");
  const ScriptLine line = read_script_line("  --at-ms  1500   drop 3", false);
  EXPECT_EQ(line.command, "drop 3");
  EXPECT_EQ(line.at_ms, 1500U);
}

TEST(ScriptLine, MayHoldNothing) {
  for (const char* text : {"", "   ", "# rate 5", "  # rate 5", "\r"}) {
    const ScriptLine line = read_script_line(text, false);
    EXPECT_EQ(line.command, "") << text;
    EXPECT_EQ(line.wrong, "") << text;
  }
}

TEST(ScriptLine, SaysWhatIsWrong) {
  for (const char* text : {"--at-ms", "--at-ms 5", "--at-ms x drop", "--at-ms -5 drop", "--at-ms 5drop",
                           "--at-msx5 drop", "--at-ms=5 drop", "--at-ms 99999999999999999999 drop"}) {
    EXPECT_EQ(read_script_line(text, false).wrong, "--at-ms needs a number of milliseconds and a command") << text;
  }
}

TEST(ScriptLine, WaitsNoLongerThanItCan) {
  EXPECT_EQ(read_script_line("--at-ms 1000000000 drop", false).wrong, "");
  for (const char* text : {"--at-ms 1000000001 drop", "--at-ms 18446744073709551615 drop"}) {
    EXPECT_EQ(read_script_line(text, false).wrong, "--at-ms goes up to 1000000000") << text;
  }
}

TEST(Command, HoldsNoControlBytes) {
  EXPECT_EQ(check_command("mark a\nb", false), "the command \"mark a\\x0ab\" holds a control byte; take it out");
  for (const std::string& command : {std::string("\tstats"), std::string("mark \x1b[2J"), std::string("mark\0x", 6)}) {
    EXPECT_NE(check_command(command, true), "") << command;
  }
  EXPECT_EQ(check_command("mark \xc3\xa4 and a blank", false), "");
}

TEST(Command, MustFitADatagramOfTheBench) {
  EXPECT_EQ(check_command(std::string(255, 'x'), false), "");
  EXPECT_EQ(check_command(std::string(256, 'x'), false), "the command has 256 bytes; the bench reads no more than 255");
  EXPECT_EQ(check_command("", false), "there is no command");
}

TEST(Command, TakesWhatTheBenchWouldReadAsMeant) {
  for (const char* command : {"drop", "drop 0", "drop 4294967295", "rate 007", "pause", "stats", "halt 037833DT4",
                              "halt 037833DT4 T.1", "resume_halt 037833DT4", "mark", "mark a  b", "fly high"}) {
    EXPECT_EQ(check_command(command, false), "") << command;
  }
}

TEST(Command, TakesNothingElseUnlessItIsRaw) {
  for (const char* command :
       {"drop x", "drop -1", "drop 4294967296", "drop  5", "rate 5 6", "pause now", "halt", "halt  037833DT4",
        "halt 037833DT4  T.1", "halt 037833DT4 T.1 x", "resume_halt", "resume_halt 037833DT4 T.2"}) {
    EXPECT_NE(check_command(command, false), "") << command;
    EXPECT_EQ(check_command(command, true), "") << command;
  }
  EXPECT_EQ(check_command("rate abc", false),
            "rate takes a whole number from 0 to 4294967295, not \"abc\"; --raw sends it all the same");
}

TEST(Command, AsksForAmendmentsAsTheBenchReadsThem) {
  EXPECT_EQ(amendments_asked_for("cancel"), 1U);
  EXPECT_EQ(amendments_asked_for("correct 12"), 12U);
  EXPECT_EQ(amendments_asked_for("cancel 3x"), 3U);
  EXPECT_EQ(amendments_asked_for("cancel x"), 1U);
  EXPECT_EQ(amendments_asked_for("cancel -1"), 4294967295U);
  EXPECT_EQ(amendments_asked_for("cancel 4294967296"), 0U);
  EXPECT_EQ(amendments_asked_for("cancel 18446744073709551616"), 1U);
  EXPECT_EQ(amendments_asked_for("drop 3"), std::nullopt);
}

}  // namespace
}  // namespace vorbelctl
