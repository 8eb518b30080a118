#include "tests/unit/run/ports.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>

namespace vorbeld {
namespace {

// The range and the lock files are those of the end-to-end tests, so that neither gets in the other's way.
constexpr int first_port = 20100;
constexpr int last_port = 28900;

std::filesystem::path lock_folder() {
  auto folder = std::filesystem::temp_directory_path() / ("bench-test-ports-" + std::to_string(getuid()));
  std::filesystem::create_directories(folder);
  return folder;
}

bool can_bind(int type, int port) {
  const Descriptor opened(socket(AF_INET, type, 0));
  const int reuse = 1;  // old connections of an earlier run may linger on the port
  if (type == SOCK_STREAM) setsockopt(opened.value, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  if (bind(opened.value, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return false;
  return type != SOCK_STREAM || listen(opened.value, 1) == 0;
}

}  // namespace

ClaimedPort claim_port() {
  const std::filesystem::path folder = lock_folder();
  const int start = getpid() * 61 % (last_port - first_port);
  for (int tried = 0; tried < last_port - first_port; ++tried) {
    const int port = first_port + (start + tried) % (last_port - first_port);
    const std::string file = (folder / (std::to_string(port) + ".lock")).string();
    Descriptor lock(open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
    if (lock.value < 0 || flock(lock.value, LOCK_EX | LOCK_NB) != 0) continue;
    if (!can_bind(SOCK_STREAM, port) || !can_bind(SOCK_DGRAM, port)) continue;
    return {std::move(lock), static_cast<std::uint16_t>(port)};
  }
  throw std::runtime_error("no port left");
}

}  // namespace vorbeld
