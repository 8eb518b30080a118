#include "common/line_file.h"

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

namespace vorbeld {

LineFile::~LineFile() {
  if (descriptor >= 0) close(descriptor);
}

void open_lines(LineFile& file, const std::string& path) {
  constexpr int readable_by_all = 0666;  // less the umask
  file.descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, readable_by_all);
}

void write_line(LineFile& file, std::string_view line) {
  if (!takes_lines(file)) return;
  while (!line.empty()) {
    const ssize_t written = write(file.descriptor, line.data(), line.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      close(file.descriptor);
      file.descriptor = -1;
      return;
    }
    line.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace vorbeld
