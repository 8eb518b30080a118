// What the code under test prints on standard error, taken as text.
#pragma once

#include <string>

namespace vorbeld {

// Redirects descriptor 2 into a file in memory while it lives. One at a time.
struct ConsoleCapture {
  int console;  // a duplicate of the descriptor that is restored at the end
  int file;

  ConsoleCapture();
  ConsoleCapture(const ConsoleCapture&) = delete;
  ConsoleCapture& operator=(const ConsoleCapture&) = delete;
  ConsoleCapture(ConsoleCapture&&) = delete;
  ConsoleCapture& operator=(ConsoleCapture&&) = delete;
  ~ConsoleCapture();
};

// Everything printed since the capture began.
std::string captured_text(const ConsoleCapture& capture);

// What `action` prints.
template <class Action>
std::string console_of(const Action& action) {
  const ConsoleCapture capture;
  action();
  return captured_text(capture);
}

}  // namespace vorbeld
