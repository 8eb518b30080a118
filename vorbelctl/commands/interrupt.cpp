#include "vorbelctl/commands/interrupt.h"

#include <csignal>

namespace vorbelctl {
namespace {

// The one thing that a signal handler may touch.
volatile std::sig_atomic_t interrupt_seen = 0;

extern "C" void note_interrupt(int number) {
  interrupt_seen = 1;
  std::signal(number, SIG_DFL);
}

}  // namespace

void catch_interrupts() {
  std::signal(SIGINT, note_interrupt);
  std::signal(SIGTERM, note_interrupt);
}

bool interrupted() {
  return interrupt_seen != 0;
}

}  // namespace vorbelctl
