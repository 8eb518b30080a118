#include "vorbelctl/handler/input.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace vorbelctl {
namespace {

using Packed = std::unique_ptr<gzFile_s, int (*)(gzFile)>;

[[noreturn]] void refuse_input(const std::string& name, std::string_view why) {
  throw std::invalid_argument(fmt::format("cannot read {}: {}", name, why));
}

bool is_packed(int file) {
  std::array<unsigned char, 2> first{};
  return pread(file, first.data(), first.size(), 0) == 2 && first[0] == 0x1f && first[1] == 0x8b;
}

Descriptor open_temporary() {
  // Closing the stream frees its file; a second descriptor keeps that.
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), std::fclose);
  return Descriptor(file ? fcntl(fileno(file.get()), F_DUPFD_CLOEXEC, 3) : -1);
}

void write_out(int file, std::string_view bytes, const std::string& name) {
  while (!bytes.empty()) {
    const ssize_t written = write(file, bytes.data(), bytes.size());
    if (written < 0) refuse_input(name, fmt::format("no room to unpack it: {}", std::strerror(errno)));
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

// Copies what the descriptor gives, unpacked where it is packed, and closes it.
void unpack(Input& input, Descriptor source) {
  input.grows = false;
  input.unpacked = open_temporary();
  if (input.unpacked.number < 0) refuse_input(input.name, fmt::format("no temporary file: {}", std::strerror(errno)));
  Packed packed(gzdopen(source.number, "rb"), gzclose_r);
  if (!packed) refuse_input(input.name, "no memory to unpack it");
  source.number = -1;  // the stream closes it
  std::array<char, 1 << 16> block;
  for (int length = 1; length > 0;) {
    length = gzread(packed.get(), block.data(), block.size());
    if (length > 0) write_out(input.unpacked.number, {block.data(), static_cast<std::size_t>(length)}, input.name);
  }
  int problem = Z_OK;
  const std::string says = gzerror(packed.get(), &problem);
  input.is_cut = problem == Z_BUF_ERROR;
  if (problem == Z_ERRNO) refuse_input(input.name, std::strerror(errno));
  if (problem < 0 && !input.is_cut) refuse_input(input.name, fmt::format("it is damaged ({})", says));
  input.path = fmt::format("/proc/self/fd/{}", input.unpacked.number);
}

}  // namespace

Input open_input(const std::string& path) {
  Input input;
  const bool standard = path == standard_input;
  input.name = input_name(path);
  input.path = path;
  Descriptor file(standard ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3) : open(path.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat status {};
  if (file.number < 0 || fstat(file.number, &status) != 0) refuse_input(input.name, std::strerror(errno));
  if (S_ISDIR(status.st_mode)) refuse_input(input.name, std::strerror(EISDIR));
  const bool as_it_is = !standard && S_ISREG(status.st_mode) && !is_packed(file.number);
  if (!as_it_is) unpack(input, std::move(file));
  return input;
}

std::string input_name(const std::string& path) {
  return path == standard_input ? "standard input" : path;
}

std::string cut_note(const std::string& name) {
  return name + " is cut off: it is judged as far as it goes";
}

}  // namespace vorbelctl
