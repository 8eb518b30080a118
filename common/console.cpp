#include "common/console.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>

namespace vorbeld {
namespace {

// A descriptor of our own for what descriptor 2 leads to, non-blocking; -1 where the system gives none: for sockets,
// for a pipe of another user, and without /proc.
int open_again() {
  return open("/proc/self/fd/2", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

void choose_writing(Console& console) {
  struct stat status {};
  fstat(STDERR_FILENO, &status);
  console.descriptor = STDERR_FILENO;
  if (S_ISREG(status.st_mode)) return;
  if (S_ISSOCK(status.st_mode)) {
    console.writing = Writing::by_send;
  } else if (const int own = open_again(); own >= 0) {
    console.descriptor = own;
  } else {
    console.writing = Writing::if_asked;
  }
}

bool has_room(int descriptor, int wait_ms) {
  pollfd room{descriptor, POLLOUT, 0};
  return poll(&room, 1, wait_ms) > 0;
}

ssize_t write_now(const Console& console, std::string_view text) {
  switch (console.writing) {
    case Writing::at_once:
      return write(console.descriptor, text.data(), text.size());
    case Writing::by_send:
      return send(console.descriptor, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    case Writing::if_asked:
      break;
  }
  if (has_room(console.descriptor, 0)) {
    return write(console.descriptor, text.data(), text.size() < PIPE_BUF ? text.size() : PIPE_BUF);
  }
  errno = EAGAIN;
  return -1;
}

void fail(Console& console) {
  if (console.descriptor != STDERR_FILENO) close(console.descriptor);
  console.descriptor = -1;
  console.waiting = std::string();
  console.taken = 0;
}

// How many bytes of the text were taken. A disk may have room again later; any other error is for good.
std::size_t write_some(Console& console, std::string_view text) {
  const ssize_t written = write_now(console, text);
  if (written >= 0) return static_cast<std::size_t>(written);
  console.full = errno == EAGAIN;
  if (errno != EAGAIN && errno != EINTR && errno != ENOSPC && errno != EDQUOT) fail(console);
  return 0;
}

bool is_full(const Console& console) {
  return console.waiting.size() - console.taken >= most_waiting;
}

void tell_left_out(Console& console) {
  console.waiting += "[vorbeld] console: " + std::to_string(console.left_out) + " lines left out, nobody took them\n";
  console.left_out = 0;
}

// What `stderr` calls for each text that is printed.
ssize_t take_text(void* console, const char* text, std::size_t length) {
  print(*static_cast<Console*>(console), {text, length});
  return static_cast<ssize_t>(length);
}

}  // namespace

void open_console(Console& console) {
  cookie_io_functions_t operations{};
  operations.write = take_text;
  console.stream = fopencookie(&console, "w", operations);
  if (console.stream == nullptr) return;
  std::setvbuf(console.stream, nullptr, _IONBF, 0);
  choose_writing(console);
  console.replaced = stderr;
  stderr = console.stream;
}

Console::~Console() {
  constexpr int patience_ms = 500;
  flush_console(*this);
  while (awaits_room(*this) && has_room(descriptor, patience_ms)) flush_console(*this);
  if (stream != nullptr) {
    stderr = replaced;
    std::fclose(stream);
  }
  if (descriptor >= 0 && descriptor != STDERR_FILENO) close(descriptor);
}

void print(Console& console, std::string_view text) {
  if (console.descriptor < 0 || text.empty()) return;
  if (!console.within_line) console.leaving_out = is_full(console);
  console.within_line = text.back() != '\n';
  if (console.leaving_out) {
    console.left_out += static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n'));
    flush_console(console);
    return;
  }
  if (console.left_out != 0) tell_left_out(console);
  if (console.waiting.empty()) {
    text.remove_prefix(write_some(console, text));
    if (console.descriptor >= 0) console.waiting = text;
  } else {
    console.waiting += text;
    flush_console(console);
  }
}

void flush_console(Console& console) {
  if (console.waiting.empty()) return;
  console.taken += write_some(console, std::string_view(console.waiting).substr(console.taken));
  if (console.taken < console.waiting.size() / 2) return;  // moved to the front seldom, not with every line
  console.waiting.erase(0, console.taken);
  console.taken = 0;
}

bool awaits_room(const Console& console) {
  return !console.waiting.empty() && console.full;
}

}  // namespace vorbeld
