#include "vorbelctl/commands/line_input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace vorbelctl {
namespace {

[[noreturn]] void fail(const LineInput& input, int error) {
  throw std::invalid_argument("cannot read " + input.name + ": " + std::strerror(error));
}

}  // namespace

LineInput open_lines_of(const std::string& path) {
  LineInput input;
  const bool standard = path == "-";
  input.name = standard ? "standard input" : path;
  input.file = Descriptor(standard ? dup(STDIN_FILENO) : open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (input.file.number < 0) fail(input, errno);
  struct stat status {};
  if (fstat(input.file.number, &status) != 0) fail(input, errno);
  if (S_ISDIR(status.st_mode)) fail(input, EISDIR);
  if (S_ISREG(status.st_mode)) input.size = static_cast<std::uint64_t>(status.st_size);
  return input;
}

void read_more(LineInput& input) {
  std::array<char, 65536> chunk;
  const ssize_t length = read(input.file.number, chunk.data(), chunk.size());
  if (length > 0) {
    input.unread.erase(0, input.at);
    input.at = 0;
    input.unread.append(chunk.data(), static_cast<std::size_t>(length));
  } else if (length == 0) {
    input.file = Descriptor();
  } else if (errno != EINTR && errno != EAGAIN) {
    fail(input, errno);
  }
}

void end_input(LineInput& input) {
  input.file = Descriptor();
  input.at = input.unread.size();
}

bool take_line(LineInput& input, std::string& line) {
  if (is_at_end(input)) return false;
  const std::size_t end = input.unread.find('\n', input.at);
  const bool whole = end != std::string::npos;
  if (!whole && input.file.number >= 0) return false;
  line = input.unread.substr(input.at, whole ? end - input.at : std::string::npos);
  input.at += line.size() + (whole ? 1 : 0);
  input.taken += line.size() + (whole ? 1 : 0);
  ++input.number;
  return true;
}

bool is_at_end(const LineInput& input) {
  return input.file.number < 0 && input.at == input.unread.size();
}

}  // namespace vorbelctl
