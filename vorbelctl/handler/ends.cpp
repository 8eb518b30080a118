#include "vorbelctl/handler/ends.h"

#include <fmt/core.h>

#include <csignal>

namespace vorbelctl {
namespace {

// The one thing that a signal handler may touch.
volatile std::sig_atomic_t interrupt_seen = 0;

extern "C" void note_interrupt(int number) {
  interrupt_seen = 1;
  std::signal(number, SIG_DFL);
}

bool have_passed(double seconds, std::uint64_t since_ms, std::uint64_t now_ms) {
  return seconds > 0 && static_cast<double>(now_ms - since_ms) >= seconds * 1000;
}

std::string where_it_stands(const Progress& progress, const Receiver& receiver, std::uint64_t now_ms) {
  const std::string last = receiver.next > receiver.joined_at
                               ? fmt::format("the last message was #{}", receiver.next - 1)
                               : std::string("no message came");
  const std::uint64_t silent_since_ms = progress.heard_ms == 0 ? progress.begun_ms : progress.heard_ms;
  return fmt::format("{}, and the feed had been silent for {:.1f} s", last,
                     static_cast<double>(now_ms - silent_since_ms) / 1000);
}

// Several things may have been asked for; the first that did not come is named.
std::string unmet(const Ends& ends, const Receiver& receiver) {
  if (ends.from != 0 && receiver.next <= ends.from) return fmt::format("#{} did not come", ends.from);
  if (ends.to != 0 && receiver.next <= ends.to) return fmt::format("#{} did not come", ends.to);
  if (ends.messages > receiver.totals.messages) {
    return fmt::format("{} of the {} messages asked for came", receiver.totals.messages, ends.messages);
  }
  return ends.end_of_session && !receiver.ended ? "the end of session did not come" : "";
}

}  // namespace

std::string_view end_name(End end) {
  switch (end) {
    case End::none:
      return "";
    case End::interrupt:
      return "interrupt";
    case End::messages:
      return "count";
    case End::number:
      return "number";
    case End::end_of_session:
      return "end of session";
    case End::time:
      return "time";
    case End::silence:
      return "silence";
    case End::began_again:
      return "began again";
  }
  return "";
}

void note_packets(Progress& progress, const Receiver& receiver, std::uint64_t now_ms) {
  if (receiver.totals.ours == progress.packets) return;
  progress.packets = receiver.totals.ours;
  progress.heard_ms = now_ms;
}

End end_of(const Ends& ends, const Progress& progress, const Receiver& receiver, std::uint64_t now_ms) {
  if (interrupted()) return End::interrupt;
  if (ends.one_run && receiver.totals.began_again != 0) return End::began_again;
  if (ends.messages != 0 && receiver.totals.messages >= ends.messages) return End::messages;
  if (ends.to != 0 && receiver.next > ends.to) return End::number;
  if (ends.end_of_session && complete(receiver)) return End::end_of_session;
  if (have_passed(ends.seconds, progress.begun_ms, now_ms)) return End::time;
  const std::uint64_t silent_since_ms = progress.heard_ms == 0 ? progress.begun_ms : progress.heard_ms;
  return have_passed(ends.silence_s, silent_since_ms, now_ms) ? End::silence : End::none;
}

std::string what_did_not_come(const Ends& ends, const Progress& progress, const Receiver& receiver,
                              std::uint64_t now_ms) {
  const std::string lacking = unmet(ends, receiver);
  return lacking.empty() ? lacking : fmt::format("{}: {}", lacking, where_it_stands(progress, receiver, now_ms));
}

void catch_interrupts() {
  std::signal(SIGINT, note_interrupt);
  std::signal(SIGTERM, note_interrupt);
}

bool interrupted() {
  return interrupt_seen != 0;
}

}  // namespace vorbelctl
