#include "vorbelctl/audit/line_reader.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "vorbelctl/audit/record.h"

namespace vorbelctl {
namespace {

constexpr std::size_t block_size = 1 << 16;

// Reads up to `count` bytes from the offset `at`; fewer where the file ends. A file that grows gives more later.
std::string read_at(std::ifstream& stream, std::uint64_t at, std::size_t count) {
  std::string bytes(count, '\0');
  stream.clear();
  stream.seekg(static_cast<std::streamoff>(at));
  stream.read(bytes.data(), static_cast<std::streamsize>(count));
  bytes.resize(static_cast<std::size_t>(std::max<std::streamsize>(stream.gcount(), 0)));
  return bytes;
}

// Makes the block begin at `from` and reaches further into the file; false when there is nothing further.
bool extend_block(LineReader& file, std::uint64_t from) {
  file.block.erase(0, from - file.block_at);
  file.block_at = from;
  const std::string more = read_at(file.stream, from + file.block.size(), block_size);
  file.block += more;
  return !more.empty();
}

// Reads on to the end of a line that is too long to be kept; false while its end is not there.
bool skip_long_line(LineReader& file) {
  std::uint64_t at = file.block_at + file.block.size();
  for (;;) {
    const std::string more = read_at(file.stream, at, block_size);
    if (more.empty()) return false;
    const std::size_t end = more.find('\n');
    at += end == std::string::npos ? more.size() : end + 1;
    if (end == std::string::npos) continue;
    file.block.clear();
    file.block_at = at;
    return true;
  }
}

// The line of this length that is next in the block; behind it stand `line_feeds`, one or none.
Line take_line(LineReader& file, std::size_t length, std::size_t line_feeds) {
  const auto text = std::string_view(file.block).substr(file.next_at - file.block_at, length);
  const Line line{file.next_at, file.next_number++, text};
  file.next_at += length + line_feeds;
  return line;
}

// What std::string_view::find tells, in a fifth of the time: in these lines every other byte could be the quote that
// the text begins with.
bool holds(std::string_view line, std::string_view text) {
  return memmem(line.data(), line.size(), text.data(), text.size()) != nullptr;
}

}  // namespace

LineReader open_reader(const std::string& path) {
  LineReader file;
  errno = 0;
  file.stream.open(path, std::ios::binary);
  file.stream.peek();  // a folder opens, but cannot be read
  if (!file.stream.is_open() || file.stream.bad()) {
    throw std::invalid_argument("cannot read " + path + ": " + std::strerror(errno != 0 ? errno : EISDIR));
  }
  return file;
}

std::optional<Line> next_line(LineReader& file, bool no_more) {
  std::size_t searched = 0;
  for (;;) {
    const std::size_t begin = file.next_at - file.block_at;
    const std::size_t end = file.block.find('\n', begin + searched);
    if (end != std::string::npos) return take_line(file, end - begin, 1);
    searched = file.block.size() - begin;
    if (searched > longest_line) {
      if (!skip_long_line(file)) return {};
      const Line line{file.next_at, file.next_number++, {}};
      file.next_at = file.block_at;
      return line;
    }
    if (extend_block(file, file.next_at)) continue;
    if (no_more && searched != 0) return take_line(file, searched, 0);
    return {};
  }
}

std::optional<std::string> line_at(LineReader& file, std::uint64_t at) {
  std::string line;
  while (line.size() <= longest_line) {
    const std::string more = read_at(file.stream, at + line.size(), 1024);
    if (more.empty()) return {};
    const std::size_t end = more.find('\n');
    line.append(more, 0, end);
    if (end != std::string::npos) return line;
  }
  return {};
}

RunExtent find_last_run(const std::string& path, std::string_view first_line_has) {
  LineReader file = open_reader(path);
  RunExtent run;
  while (const auto line = next_line(file, false)) {
    if (holds(line->text, first_line_has)) run = {line->at, line->number, 0};
    if (const std::uint64_t sequence = leading_sequence(line->text)) run.last = sequence;
  }
  run.end = file.next_at;
  return run;
}

std::string read_bytes(LineReader& file, std::uint64_t at, std::size_t count) {
  return read_at(file.stream, at, count);
}

void go_to_run(LineReader& file, const RunExtent& run) {
  file.block.clear();
  file.block_at = file.next_at = run.at;
  file.next_number = run.number;
}

}  // namespace vorbelctl
