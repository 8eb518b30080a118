// The lines of a file that another program may still be writing: whole lines in order, as far as they are there, and
// single lines again by their place. Keeps one block in memory however long the file is. What the lines hold is left to
// others, but for what tells where the latest of several runs in one file begins.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "vorbelctl/doors/sockets.h"

namespace vorbelctl {

struct Line {
  std::uint64_t at = 0;      // offset of its first byte in the file
  std::uint64_t number = 0;  // from 1 on, as editors count
  std::string_view text;     // without the line feed; empty for a line longer than longest_line
  bool is_too_long = false;
  bool is_ended = true;  // false: the file ends without a line feed behind it
};

// A report may carry a symbol of any length; lines beyond this many bytes are not looked at.
inline constexpr std::size_t longest_line = 1 << 20;

// One run of a bench within its file.
struct RunExtent {
  std::uint64_t at = 0;      // offset of its first line
  std::uint64_t number = 1;  // and that line's number
  std::uint64_t last = 0;    // sequence number of its last whole line; 0: it has none
  std::uint64_t end = 0;     // offset behind that line
};

struct LineReader {
  Descriptor file;
  std::unique_ptr<char[]> room;  // of room_size bytes; holds the block
  std::size_t room_size = 0;
  std::string_view block;      // bytes of the file from `block_at` on
  std::uint64_t block_at = 0;  // offset in the file
  std::uint64_t next_at = 0;   // offset of the line to be read next
  std::uint64_t next_number = 1;
  RunExtent run;  // the one that is read; without any, the whole file
};

// Throws std::invalid_argument, saying which file and why, when it cannot be read.
LineReader open_reader(const std::string& path);

// The next line, or nothing while no whole one is there; with `no_more`, when nothing is being written any more, what
// stands behind the last line feed is a line too. Valid until the next call.
std::optional<Line> next_line(LineReader& file, bool no_more);

// The line that begins at the offset `at`, which an earlier Line told; nothing when the file has been cut meanwhile.
std::optional<std::string> line_at(LineReader& file, std::uint64_t at);

// Reads the whole file once and finds its latest run: benches append to their files, and every run counts from the
// start again. The first line of a run is one that holds `first_line_has`; without any, the file is one run.
RunExtent find_last_run(const std::string& path, std::string_view first_line_has);

// The bytes from the offset `at` on; fewer where the file ends.
std::string read_bytes(LineReader& file, std::uint64_t at, std::size_t count);

// From now on next_line starts with the run's first line.
void go_to_run(LineReader& file, const RunExtent& run);

}  // namespace vorbelctl
