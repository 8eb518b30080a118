#include "tests/unit/common/console.h"

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstdio>

namespace vorbeld {

ConsoleCapture::ConsoleCapture() : console(dup(STDERR_FILENO)), file(memfd_create("console", 0)) {
  std::fflush(stderr);
  dup2(file, STDERR_FILENO);
}

ConsoleCapture::~ConsoleCapture() {
  std::fflush(stderr);
  dup2(console, STDERR_FILENO);
  close(console);
  close(file);
}

std::string captured_text(const ConsoleCapture& capture) {
  std::fflush(stderr);
  std::string text;
  std::array<char, 4096> buffer;
  ssize_t read = 0;
  while ((read = pread(capture.file, buffer.data(), buffer.size(), static_cast<off_t>(text.size()))) > 0) {
    text.append(buffer.data(), static_cast<std::size_t>(read));
  }
  return text;
}

}  // namespace vorbeld
