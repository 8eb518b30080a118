// An append-only file of whole lines for readers that follow it while the bench runs: every line is in the file when
// the operation that wrote it returns, and failures are silent.
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
void write_line(LineFile& file, std::string_view line);

}  // namespace vorbeld
