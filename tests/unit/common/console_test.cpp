// The console: lines that are taken go out at once, others wait, and nothing waits for a reader.
#include "common/console.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <string>

#include "common/standard_streams.h"
#include "tests/unit/common/console.h"
#include "tests/unit/common/loopback.h"

namespace vorbeld {
namespace {

constexpr int pipe_bytes = 4096;  // the least that a pipe can be made to hold

// A pipe; its writing end waits for the reader, as one that a shell made does.
struct Pipe {
  Descriptor reader;
  Descriptor writer;
};

Pipe open_pipe() {
  std::array<int, 2> ends{};
  EXPECT_EQ(pipe(ends.data()), 0);
  EXPECT_EQ(fcntl(ends[1], F_SETPIPE_SZ, pipe_bytes), pipe_bytes);
  fcntl(ends[0], F_SETFL, O_NONBLOCK);
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

std::string read_pipe(const Pipe& pipe) {
  std::string text(2 * std::size_t{pipe_bytes}, '\0');
  const ssize_t length = read(pipe.reader.value, text.data(), text.size());
  text.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
  return text;
}

// A console that may write to the pipe only when it was told of room.
void share(Console& console, const Pipe& pipe) {
  console.descriptor = dup(pipe.writer.value);
  console.writing = Writing::if_asked;
}

const std::string long_line = std::string(1000, 'x') + '\n';

TEST(Console, TakesNothingBeforeItIsOpened) {
  Console console;
  print(console, "lost\n");
  flush_console(console);
  EXPECT_TRUE(console.waiting.empty());
  EXPECT_FALSE(awaits_room(console));
}

TEST(Console, WritesALineAtOnce) {
  const Pipe pipe = open_pipe();
  Console console;
  share(console, pipe);
  print(console, "one\n");
  EXPECT_EQ(read_pipe(pipe), "one\n");
  EXPECT_TRUE(console.waiting.empty());
}

TEST(Console, KeepsWhatASharedPipeDoesNotTake) {
  const Pipe pipe = open_pipe();
  Console console;
  share(console, pipe);
  for (int i = 0; i < 6; ++i) print(console, long_line);
  EXPECT_TRUE(awaits_room(console));
  std::string text = read_pipe(pipe);
  EXPECT_LT(text.size(), 6 * long_line.size());
  for (int i = 0; i < 2; ++i) {
    flush_console(console);
    text += read_pipe(pipe);
  }
  EXPECT_FALSE(awaits_room(console));
  EXPECT_EQ(text, long_line + long_line + long_line + long_line + long_line + long_line);
}

TEST(Console, GivesALongTextToASharedPipeInPieces) {
  const Pipe pipe = open_pipe();
  Console console;
  share(console, pipe);
  const std::string text = std::string(10'000, 'y') + '\n';
  print(console, text);
  std::string read = read_pipe(pipe);
  for (int i = 0; i < 2; ++i) {
    flush_console(console);
    read += read_pipe(pipe);
  }
  EXPECT_EQ(read, text);
}

TEST(Console, FailsWhereNobodyReads) {
  fail_writes_without_signals();
  Pipe pipe = open_pipe();
  Console console;
  share(console, pipe);
  close(pipe.reader.value);
  pipe.reader.value = -1;
  print(console, "lost\n");
  EXPECT_EQ(console.descriptor, -1);
  EXPECT_TRUE(console.waiting.empty());
}

TEST(Console, WaitsForADiskWithRoomWithoutPolling) {
  Console console;
  console.descriptor = open("/dev/full", O_WRONLY);
  print(console, "one\n");
  print(console, "two\n");
  EXPECT_FALSE(awaits_room(console));
  EXPECT_EQ(console.waiting, "one\ntwo\n");
}

TEST(Console, LeavesOutLinesBeyondTheMost) {
  const Pipe pipe = open_pipe();
  Console console;
  share(console, pipe);
  print(console, std::string(pipe_bytes - 1, 'a') + '\n');
  print(console, std::string(most_waiting - 1, 'b') + '\n');
  print(console, "left ");
  print(console, "out\n");
  print(console, "left out\n");
  EXPECT_EQ(console.waiting.size(), most_waiting);
  EXPECT_EQ(console.left_out, 2U);
  console.waiting = "rest\n";  // as after a long time of reading
  print(console, "kept\n");
  EXPECT_EQ(console.waiting, "rest\n[vorbeld] console: 2 lines left out, nobody took them\nkept\n");
}

TEST(Console, KeepsALineThatHasBegunWhole) {
  const Pipe pipe = open_pipe();
  Console console;
  share(console, pipe);
  print(console, std::string(pipe_bytes - 1, 'a') + '\n');
  print(console, std::string(most_waiting, 'b'));
  print(console, "its end\n");
  print(console, "left out\n");
  EXPECT_EQ(console.waiting.size(), most_waiting + 8);
}

TEST(Console, StandsInForTheStreamWhileItLives) {
  std::FILE* const before = stderr;
  const ConsoleCapture capture;
  {
    Console console;
    open_console(console);
    EXPECT_NE(stderr, before);
    std::fprintf(stderr, "%s %d\n", "number", 7);
    EXPECT_EQ(captured_text(capture), "number 7\n");
  }
  EXPECT_EQ(stderr, before);
  std::fputs("behind\n", stderr);
  EXPECT_EQ(captured_text(capture), "number 7\nbehind\n");
}

}  // namespace
}  // namespace vorbeld
