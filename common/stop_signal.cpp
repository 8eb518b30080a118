#include "common/stop_signal.h"

#include <csignal>

namespace vorbeld {
namespace {

volatile std::sig_atomic_t stop_flag = 0;  // written by the handler only

void on_stop_signal(int /*signal*/) {
  stop_flag = 1;
}

}  // namespace

void catch_stop_signals() {
  std::signal(SIGINT, on_stop_signal);
  std::signal(SIGTERM, on_stop_signal);
}

bool stop_requested() {
  return stop_flag != 0;
}

}  // namespace vorbeld
