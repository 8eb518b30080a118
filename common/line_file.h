// An append-only file of whole lines for readers that follow it while the bench runs: every line is in the file when
// the operation that wrote it returns, and failures are silent. A pipe whose reader is slow is waited for.
#pragma once

#include <string>
#include <string_view>

namespace vorbeld {

// Owns the descriptor and closes it. -1: never opened, or failed; such a file takes no more lines.
struct LineFile {
  int descriptor = -1;

  LineFile() = default;
  LineFile(const LineFile&) = delete;
  LineFile& operator=(const LineFile&) = delete;
  LineFile(LineFile&&) = delete;
  LineFile& operator=(LineFile&&) = delete;
  ~LineFile();
};

// Opens `path` for appending, creating it when absent. A file that cannot be opened is left failed, without a message.
void open_lines(LineFile& file, const std::string& path);

// True while lines are taken.
inline bool takes_lines(const LineFile& file) {
  return file.descriptor >= 0;
}

// Writes `line`, line feed included, with one write so that a follower sees it whole; the first error fails the file.
// Waits while a pipe is full, without end until a stop signal comes; then a reader that takes nothing for half a second
// fails the file too.
void write_line(LineFile& file, std::string_view line);

}  // namespace vorbeld
