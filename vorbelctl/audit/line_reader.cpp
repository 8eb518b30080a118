#include "vorbelctl/audit/line_reader.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "vorbelctl/audit/record.h"

namespace vorbelctl {
namespace {

constexpr std::size_t block_size = 1 << 16;

// Reads up to `count` bytes from the offset `at`; fewer where the file ends. A file that grows gives more later.
std::size_t read_into(const Descriptor& file, std::uint64_t at, char* room, std::size_t count) {
  std::size_t length = 0;
  while (length < count) {
    const ssize_t more = pread(file.number, room + length, count - length, static_cast<off_t>(at + length));
    if (more < 0 && errno == EINTR) continue;
    if (more <= 0) break;
    length += static_cast<std::size_t>(more);
  }
  return length;
}

std::string read_at(const Descriptor& file, std::uint64_t at, std::size_t count) {
  std::string bytes(count, '\0');
  bytes.resize(read_into(file, at, bytes.data(), count));
  return bytes;
}

// Makes the block begin at `from` and reaches further into the file; false when there is nothing further.
bool extend_block(LineReader& file, std::uint64_t from) {
  const std::size_t kept = file.block.size() - (from - file.block_at);
  const char* const rest = file.block.data() + (from - file.block_at);
  if (file.room_size < kept + block_size) {
    file.room_size = 2 * (kept + block_size);
    auto larger = std::make_unique_for_overwrite<char[]>(file.room_size);
    std::copy_n(rest, kept, larger.get());
    file.room = std::move(larger);
  } else {
    std::copy_n(rest, kept, file.room.get());  // forwards, so that the two may overlap
  }
  const std::size_t more = read_into(file.file, from + kept, file.room.get() + kept, block_size);
  file.block = {file.room.get(), kept + more};
  file.block_at = from;
  return more != 0;
}

// Reads on to the end of a line that is too long to be kept; false while its end is not there.
bool skip_long_line(LineReader& file) {
  std::uint64_t at = file.block_at + file.block.size();
  for (;;) {
    const std::string more = read_at(file.file, at, block_size);
    if (more.empty()) return false;
    const std::size_t end = more.find('\n');
    at += end == std::string::npos ? more.size() : end + 1;
    if (end == std::string::npos) continue;
    file.block = {};
    file.block_at = at;
    return true;
  }
}

// The line of this length that is next in the block; behind it stand `line_feeds`, one or none.
Line take_line(LineReader& file, std::size_t length, std::size_t line_feeds) {
  const auto text = file.block.substr(file.next_at - file.block_at, length);
  const Line line{file.next_at, file.next_number++, text, false, line_feeds != 0};
  file.next_at += length + line_feeds;
  return line;
}

// Where a text stands in what has been read of a file: looked for in a block at a time, which costs a tenth of looking
// for it in each line.
struct Occurrence {
  std::string_view text;
  std::uint64_t at = 0;           // offset of the next one; none before `searched_to` where they are equal
  std::uint64_t searched_to = 0;  // offset
};

// Whether the line that has just been read holds the text. Lines are asked for in order.
bool holds(Occurrence& sought, const LineReader& file, const Line& line) {
  const std::uint64_t end = line.at + line.text.size();
  if (sought.at < line.at || (sought.at == sought.searched_to && sought.searched_to < end)) {
    // memmem takes a fifth of the time of std::string_view::find: every other byte could be the quote of the text.
    const std::string_view rest = file.block.substr(line.at - file.block_at);
    const void* const found = memmem(rest.data(), rest.size(), sought.text.data(), sought.text.size());
    sought.searched_to = line.at + rest.size();
    sought.at = found == nullptr ? sought.searched_to
                                 : line.at + static_cast<std::uint64_t>(static_cast<const char*>(found) - rest.data());
  }
  return sought.at + sought.text.size() <= end;
}

}  // namespace

LineReader open_reader(const std::string& path) {
  LineReader file;
  file.file = Descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  char byte = 0;
  if (file.file.number < 0 || pread(file.file.number, &byte, 1, 0) < 0) {  // a folder opens, but cannot be read
    throw std::invalid_argument("cannot read " + path + ": " + std::strerror(errno));
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
      const Line line{file.next_at, file.next_number++, {}, true, true};
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
    const std::string more = read_at(file.file, at + line.size(), 1024);
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
  Occurrence sought{first_line_has};
  while (const auto line = next_line(file, false)) {
    if (!line->text.empty() && holds(sought, file, *line)) run = {line->at, line->number, 0};
    if (const std::uint64_t sequence = leading_sequence(line->text)) run.last = sequence;
  }
  run.end = file.next_at;
  return run;
}

std::string read_bytes(LineReader& file, std::uint64_t at, std::size_t count) {
  return read_at(file.file, at, count);
}

void go_to_run(LineReader& file, const RunExtent& run) {
  file.block = {};
  file.block_at = file.next_at = run.at;
  file.next_number = run.number;
}

}  // namespace vorbelctl
