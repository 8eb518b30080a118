#include "vorbelctl/commands/audit_progress.h"

#include <fmt/core.h>
#include <unistd.h>

#include <iostream>
#include <string>

#include "common/clocks.h"
#include "vorbelctl/wording/wording.h"

namespace vorbelctl {
namespace {

constexpr std::uint64_t first_after_ms = 500;  // a short audit shows nothing
constexpr std::uint64_t again_after_ms = 300;

std::string progress_text(const Audit& audit, std::uint64_t since_ms) {
  std::string text = "audit: #" + grouped(audit.last);  // short, as a line that is broken could not be taken away
  const std::uint64_t end = audit.reconciliation.truth.last_known;
  if (audit.last < end) text += " of " + grouped(end);
  return fmt::format("{}, {} s", text, since_ms / 1000);
}

void write_progress(AuditProgress& progress) {
  const std::uint64_t now_ms = vorbeld::monotonic_ms();
  if (now_ms < progress.next_ms) return;
  progress.next_ms = now_ms + again_after_ms;
  progress.is_shown = true;
  std::cerr << "\r\x1b[K" << progress_text(*progress.audit, now_ms - progress.begun_ms) << std::flush;
}

}  // namespace

void EraseProgress::operator()(AuditProgress* progress) const {
  progress->audit->on_judged = nullptr;
  if (progress->is_shown) std::cerr << "\r\x1b[K" << std::flush;
  delete progress;  // made in show_progress
}

ProgressOwner show_progress(Audit& audit) {
  if (isatty(STDERR_FILENO) != 1) return {};
  const std::uint64_t now_ms = vorbeld::monotonic_ms();
  ProgressOwner progress(new AuditProgress{&audit, now_ms, now_ms + first_after_ms, false});
  audit.on_judged = [shown = progress.get()] { write_progress(*shown); };
  return progress;
}

}  // namespace vorbelctl
