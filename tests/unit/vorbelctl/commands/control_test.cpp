// Lines of a control script.
#include "vorbelctl/commands/control.h"

#include <gtest/gtest.h>

namespace vorbelctl {
namespace {

TEST(ScriptLine, IsACommand) {
  const ScriptLine line = read_script_line("mark before  fault \r\n");
  EXPECT_EQ(line.command, "mark before  fault");
  EXPECT_EQ(line.at_ms, 0U);
  EXPECT_EQ(line.wrong, "");
}

TEST(ScriptLine, MayWait) {
  const ScriptLine line = read_script_line("--at-ms 1500 drop 3");
  EXPECT_EQ(line.command, "drop 3");
  EXPECT_EQ(line.at_ms, 1500U);
}

TEST(ScriptLine, MayBeginWithBlanks) {
  EXPECT_EQ(read_script_line("  drop 3").command, "drop 3");
  const ScriptLine line = read_script_line("  --at-ms  1500   drop 3");
  EXPECT_EQ(line.command, "drop 3");
  EXPECT_EQ(line.at_ms, 1500U);
}

TEST(ScriptLine, MayHoldNothing) {
  for (const char* text : {"", "   ", "# rate 5", "  # rate 5", "\r"}) {
    const ScriptLine line = read_script_line(text);
    EXPECT_EQ(line.command, "") << text;
    EXPECT_EQ(line.wrong, "") << text;
  }
}

TEST(ScriptLine, SaysWhatIsWrong) {
  for (const char* text : {"--at-ms", "--at-ms 5", "--at-ms x drop", "--at-ms -5 drop", "--at-ms 5drop",
                           "--at-msx5 drop", "--at-ms=5 drop", "--at-ms 99999999999999999999 drop"}) {
    EXPECT_EQ(read_script_line(text).wrong, "--at-ms needs a number of milliseconds and a command") << text;
  }
}

TEST(ScriptLine, WaitsNoLongerThanItCan) {
  EXPECT_EQ(read_script_line("--at-ms 1000000000 drop").wrong, "");
  for (const char* text : {"--at-ms 1000000001 drop", "--at-ms 18446744073709551615 drop"}) {
    EXPECT_EQ(read_script_line(text).wrong, "--at-ms goes up to 1000000000") << text;
  }
}

TEST(Command, HoldsNoControlBytes) {
  EXPECT_EQ(check_command("mark a\nb"), "the command \"mark a\\x0ab\" holds a control byte");
  for (const std::string& command : {std::string("\tstats"), std::string("mark \x1b[2J"), std::string("mark\0x", 6)}) {
    EXPECT_NE(check_command(command), "") << command;
  }
  EXPECT_EQ(check_command("mark \xc3\xa4 and a blank"), "");
}

TEST(Command, MustFitADatagramOfTheBench) {
  EXPECT_EQ(check_command(std::string(255, 'x')), "");
  EXPECT_EQ(check_command(std::string(256, 'x')), "the command has 256 bytes; the bench reads no more than 255");
  EXPECT_EQ(check_command(""), "there is no command");
}

}  // namespace
}  // namespace vorbelctl
