// The table of the commands, and what becomes of what a command returns or throws.
#include "vorbelctl/commands/command_table.h"

#include <gtest/gtest.h>

#include <iostream>
#include <set>
#include <stdexcept>

#include "vorbelctl/doors/sockets.h"

namespace vorbelctl {
namespace {

struct Ending {
  int status = 0;
  std::string errors;
};

Ending end_of_run(int (*command)(const Options&)) {
  Ending outcome;
  testing::internal::CaptureStderr();
  outcome.status = run_command({"test", "", nullptr, command, ""}, {});
  outcome.errors = testing::internal::GetCapturedStderr();
  return outcome;
}

TEST(Table, FindsCommandsByTheirNames) {
  for (const Command& command : all_commands()) EXPECT_EQ(find_command(command.name), &command);
  EXPECT_EQ(find_command("bogus"), nullptr);
  EXPECT_EQ(find_command(""), nullptr);
}

TEST(Table, NamesEachOptionOfACommandOnce) {
  Options options;
  for (const Command& command : all_commands()) {
    std::set<std::string> names{"--help"};
    for (const OptionList& rows :
         {command.options(options), address_options(command, options), output_options(options)}) {
      for (const OptionRow& row : rows) EXPECT_TRUE(names.insert(row.name).second) << command.name << " " << row.name;
    }
    for (const OptionRow& row : command.options(options)) {
      for (const auto& other : row.excludes) EXPECT_TRUE(names.contains(other)) << command.name << " " << other;
    }
  }
}

TEST(Table, LetsNoCommandDoWithoutItsOwnPort) {
  Options options;
  for (const Command& command : all_commands()) {
    for (const OptionRow& row : address_options(command, options)) {
      const auto* number = std::get_if<WholeNumber>(&row.check);
      if (number == nullptr) continue;
      const bool needed = row.name == "--port" || (row.name == "--control-port" && command.name == "control") ||
                          (row.name == "--report-port" && command.name == "report") ||
                          (row.name == "--retrans-port" && command.name == "fetch");
      EXPECT_EQ(number->least, needed ? 1U : 0U) << command.name << " " << row.name;
      EXPECT_EQ(number->most, 65535U) << command.name << " " << row.name;
    }
  }
}

TEST(Status, IsTheOneThatTheCommandReturns) {
  const Ending outcome = end_of_run([](const Options&) -> int { return something_amiss; });
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.errors, "");
}

TEST(Status, Is2ForWhatCannotBeRead) {
  const Ending outcome = end_of_run([](const Options&) -> int { throw std::invalid_argument("cannot read it"); });
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.errors, "vorbelctl: cannot read it\n");
}

TEST(Status, Is3ForADoorThatCannotBeOpened) {
  const Ending outcome = end_of_run([](const Options&) -> int { throw DoorError("cannot join", "try again"); });
  EXPECT_EQ(outcome.status, 3);
  EXPECT_EQ(outcome.errors, "vorbelctl: cannot join; try again\n");
}

TEST(Status, Is4ForAnErrorOfOurOwn) {
  const Ending outcome = end_of_run([](const Options&) -> int { throw std::out_of_range("vector::at"); });
  EXPECT_EQ(outcome.status, 4);
  EXPECT_EQ(outcome.errors, "vorbelctl: an error of vorbelctl itself: vector::at\n");
  EXPECT_EQ(end_of_run([](const Options&) -> int { throw std::runtime_error("no door"); }).status, 4);
}

TEST(Status, Is6WhereOnlyTheOutputCannotBeWritten) {
  std::cout.setstate(std::ios::badbit);
  const Ending outcome = end_of_run([](const Options&) -> int { return all_well; });
  const Ending amiss = end_of_run([](const Options&) -> int { return something_amiss; });
  std::cout.clear();
  EXPECT_EQ(outcome.status, 6);
  EXPECT_EQ(outcome.errors, "vorbelctl: standard output cannot be written\n");
  EXPECT_EQ(amiss.status, 1);
  EXPECT_EQ(amiss.errors, outcome.errors);
}

}  // namespace
}  // namespace vorbelctl
