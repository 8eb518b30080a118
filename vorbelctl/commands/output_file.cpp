#include "vorbelctl/commands/output_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "vorbelctl/doors/sockets.h"
#include "vorbelctl/handler/input.h"

namespace vorbelctl {
namespace {

[[noreturn]] void refuse_output(const std::string& path, std::string_view why) {
  throw std::invalid_argument(fmt::format("cannot write {}: {}", path, why));
}

std::optional<struct stat> status_of_file(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return {};
  return status;
}

std::optional<struct stat> status_of_input(const std::string& path) {
  if (path != standard_input) return status_of_file(path);
  struct stat status {};
  if (fstat(STDIN_FILENO, &status) != 0) return {};
  return status;
}

// A link is not replaced, but what it leads to.
std::filesystem::path place_of(const std::string& path) {
  constexpr int most_links = 40;  // more lead round in circles
  std::filesystem::path place = path;
  std::error_code problem;
  for (int i = 0; i < most_links && std::filesystem::is_symlink(place, problem); ++i) {
    place = place.parent_path() / std::filesystem::read_symlink(place, problem);
  }
  return place;
}

std::string folder_of(const std::filesystem::path& place) {
  return place.has_parent_path() ? place.parent_path().string() : ".";
}

void check_existing(const std::string& path, const struct stat& status, std::span<const std::string> inputs) {
  if (S_ISDIR(status.st_mode)) refuse_output(path, "it is a folder");
  for (const std::string& name : inputs) {
    const auto input = status_of_input(name);
    const bool same = input && input->st_dev == status.st_dev && input->st_ino == status.st_ino;
    if (same && S_ISREG(status.st_mode)) refuse_output(path, fmt::format("it is read as {}", input_name(name)));
  }
  if (access(path.c_str(), W_OK) != 0) refuse_output(path, std::strerror(errno));
}

bool write_whole(int file, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = write(file, content.data(), content.size());
    if (written < 0) return false;
    content.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

bool close_whole(Descriptor& file) {
  return close(std::exchange(file.number, -1)) == 0;
}

// What the file's mode is, or will be when it is new.
mode_t mode_of(const std::optional<struct stat>& status) {
  if (status) return status->st_mode & 0777U;
  const mode_t mask = umask(0);
  umask(mask);
  return 0666U & ~mask;
}

std::string write_in_place(const std::string& path, const std::string& content) {
  Descriptor file(open(path.c_str(), O_WRONLY | O_CLOEXEC));
  const bool good = file.number >= 0 && write_whole(file.number, content) && close_whole(file);
  return good ? "" : std::strerror(errno);
}

std::string write_beside(const std::string& place, const std::string& content, mode_t mode) {
  std::string beside = place + ".XXXXXX";
  Descriptor file(mkostemp(beside.data(), O_CLOEXEC));
  if (file.number < 0) return std::strerror(errno);
  const bool good = write_whole(file.number, content) && fchmod(file.number, mode) == 0 && close_whole(file) &&
                    rename(beside.c_str(), place.c_str()) == 0;
  if (good) return "";
  const std::string why = std::strerror(errno);
  unlink(beside.c_str());
  return why;
}

}  // namespace

void check_output(const std::string& path, std::span<const std::string> inputs) {
  if (path.empty()) throw std::invalid_argument("a file to be written needs a name");
  if (path == standard_input) refuse_output(path, "it would stand between the results; name a file");
  const auto status = status_of_file(path);
  if (status) check_existing(path, *status, inputs);
  if (status && !S_ISREG(status->st_mode)) return;
  const std::string folder = folder_of(place_of(path));
  if (!status_of_file(folder)) refuse_output(path, fmt::format("there is no folder {}", folder));
  if (access(folder.c_str(), W_OK | X_OK) != 0) {
    refuse_output(path, fmt::format("the folder {}: {}", folder, std::strerror(errno)));
  }
}

std::string write_output(const std::string& path, const std::string& content) {
  const auto status = status_of_file(path);
  if (status && !S_ISREG(status->st_mode)) return write_in_place(path, content);
  return write_beside(place_of(path).string(), content, mode_of(status));
}

}  // namespace vorbelctl
