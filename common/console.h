// The console: standard error, written without ever waiting for who reads it. A line goes out with one call when it is
// printed. One that is not taken then, by a pipe that is full or a disk without room, waits in memory and is tried
// again; the lines keep their order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace vorbeld {

// How a descriptor is written to without waiting.
enum class Writing {
  at_once,   // write() does not wait: a file, or a description that is ours alone and non-blocking
  by_send,   // a socket, whose description others share
  if_asked,  // anything else that others share: only when poll() tells of room, and no more than a pipe takes whole
};

// Stands in for the stream `stderr` from open_console() to its end. Stays where it is: the stream points to it.
struct Console {
  int descriptor = -1;  // -1: not open, or failed; such a console takes no more lines
  Writing writing = Writing::at_once;
  std::FILE* stream = nullptr;    // ours; what `stderr` is meanwhile
  std::FILE* replaced = nullptr;  // what it was before

  std::string waiting;         // not taken yet, behind what `taken` counts; bounded by most_waiting and one line
  std::size_t taken = 0;       // bytes at its front that are written
  bool full = false;           // the last try found no room that poll() would tell of; a full disk is not such a case
  bool within_line = false;    // what was printed last did not end a line
  bool leaving_out = false;    // the line being printed is left out
  std::uint64_t left_out = 0;  // lines left out since one was kept

  Console() = default;
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;
  Console(Console&&) = delete;
  Console& operator=(Console&&) = delete;
  ~Console();  // waits for a reader that still takes lines, half a second each time; gives `stderr` back
};

// How many bytes wait at most; a line that begins beyond is left out. When lines are kept again, one that tells how
// many were left out stands in their place.
inline constexpr std::size_t most_waiting = std::size_t{16} << 20;

// Makes `stderr` write through this console to descriptor 2, so that whatever prints, the libraries included, never
// waits. The descriptor itself, which other processes may share, stays as it is. Where a stream cannot be had `stderr`
// stays the system's.
void open_console(Console& console);

// Prints a text: writes it at once, or keeps it behind what waits.
void print(Console& console, std::string_view text);

// Writes of what waits as much as is taken now.
void flush_console(Console& console);

// True while lines wait for room on something that poll() watches.
bool awaits_room(const Console& console);

}  // namespace vorbeld
