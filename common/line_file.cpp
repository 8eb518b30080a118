#include "common/line_file.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

#include "common/stop_signal.h"

namespace vorbeld {
namespace {

// Waits until a pipe takes more. False when it did not for half a second after a stop signal came.
bool wait_for_room(int descriptor) {
  constexpr int step_ms = 10;
  constexpr int after_stop_ms = 500;
  pollfd room{descriptor, POLLOUT, 0};
  for (int waited_ms = 0; waited_ms < after_stop_ms;) {
    if (poll(&room, 1, step_ms) > 0) return true;
    if (stop_requested()) waited_ms += step_ms;
  }
  return false;
}

void fail(LineFile& file) {
  close(file.descriptor);
  file.descriptor = -1;
}

}  // namespace

LineFile::~LineFile() {
  if (descriptor >= 0) close(descriptor);
}

void open_lines(LineFile& file, const std::string& path) {
  constexpr int readable_by_all = 0666;  // less the umask
  file.descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, readable_by_all);
  // The wait for a slow reader must see a stop signal; the wait above, for the first reader of a FIFO, is ended by one.
  if (takes_lines(file)) fcntl(file.descriptor, F_SETFL, O_APPEND | O_NONBLOCK);
}

void write_line(LineFile& file, std::string_view line) {
  if (!takes_lines(file)) return;
  while (!line.empty()) {
    const ssize_t written = write(file.descriptor, line.data(), line.size());
    if (written < 0) {
      if (errno == EINTR || (errno == EAGAIN && wait_for_room(file.descriptor))) continue;
      return fail(file);
    }
    line.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace vorbeld
