// Lines from pipes and files, in whatever pieces they come.
#include "vorbelctl/commands/line_input.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace vorbelctl {
namespace {

struct Pipe {
  Descriptor write_end;
  LineInput input;
};

Pipe make_pipe() {
  std::array<int, 2> ends{};
  EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  Pipe result;
  result.input.file = Descriptor(ends[0]);
  result.write_end = Descriptor(ends[1]);
  return result;
}

void write_to(Pipe& pipe, const std::string& text) {
  ASSERT_EQ(write(pipe.write_end.number, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  read_more(pipe.input);
}

// The line that can be taken now, or "-".
std::string taken(Pipe& pipe) {
  std::string line;
  return take_line(pipe.input, line) ? line : "-";
}

TEST(LineInput, GivesLinesWhenTheyAreWhole) {
  Pipe pipe = make_pipe();
  EXPECT_EQ(taken(pipe), "-");
  write_to(pipe, "one\ntw");
  EXPECT_EQ(taken(pipe), "one");
  EXPECT_EQ(taken(pipe), "-");
  write_to(pipe, "o\n\nthree");
  EXPECT_EQ(taken(pipe), "two");
  EXPECT_EQ(taken(pipe), "");
  EXPECT_EQ(taken(pipe), "-");
  EXPECT_FALSE(is_at_end(pipe.input));
  EXPECT_EQ(pipe.input.number, 3U);
}

TEST(LineInput, GivesTheLastLineWithoutALineFeed) {
  Pipe pipe = make_pipe();
  write_to(pipe, "one\ntwo");
  pipe.write_end = Descriptor();
  EXPECT_EQ(taken(pipe), "one");
  EXPECT_EQ(taken(pipe), "-");
  read_more(pipe.input);
  EXPECT_EQ(taken(pipe), "two");
  EXPECT_EQ(taken(pipe), "-");
  EXPECT_TRUE(is_at_end(pipe.input));
  EXPECT_EQ(pipe.input.taken, 7U);
}

TEST(LineInput, SaysWhenAFileCannotBeRead) {
  EXPECT_THROW(open_lines_of("/nowhere/at/all"), std::invalid_argument);
  EXPECT_THROW(open_lines_of("/"), std::invalid_argument);
}

TEST(LineInput, DoesNotTakeAnErrorForTheEnd) {
  LineInput input;
  input.file = Descriptor(open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));  // can be opened, and never read
  input.name = "trades.csv";
  try {
    read_more(input);
    FAIL() << "no error";
  } catch (const std::invalid_argument& problem) {
    EXPECT_STREQ(problem.what(), "cannot read trades.csv: Is a directory");
  }
}

TEST(LineInput, WaitsForAWriterThatHasNothingYet) {
  Pipe pipe = make_pipe();
  ASSERT_EQ(fcntl(pipe.input.file.number, F_SETFL, O_NONBLOCK), 0);
  read_more(pipe.input);
  EXPECT_FALSE(is_at_end(pipe.input));
  write_to(pipe, "one\n");
  EXPECT_EQ(taken(pipe), "one");
}

TEST(LineInput, CanBeEndedEarly) {
  Pipe pipe = make_pipe();
  write_to(pipe, "one\ntwo\n");
  EXPECT_EQ(taken(pipe), "one");
  end_input(pipe.input);
  EXPECT_TRUE(is_at_end(pipe.input));
  EXPECT_EQ(taken(pipe), "-");
}

}  // namespace
}  // namespace vorbelctl
