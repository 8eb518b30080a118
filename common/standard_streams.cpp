#include "common/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <initializer_list>

namespace vorbeld {

void keep_standard_descriptors() {
  for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(standard, F_GETFD) >= 0) continue;
    // The system gives the lowest free number, and those below are taken by now. The wrong direction keeps it failing.
    open("/dev/null", standard == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

void fail_writes_without_signals() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

}  // namespace vorbeld
