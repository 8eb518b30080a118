// How far a long audit has come, for somebody who waits for it at a terminal: one line of standard error that is
// written over again and again, and taken away in the end.
#pragma once

#include <cstdint>
#include <memory>

#include "vorbelctl/audit/audit.h"

namespace vorbelctl {

struct AuditProgress {
  Audit* audit = nullptr;
  std::uint64_t begun_ms = 0;  // monotonic, as the next
  std::uint64_t next_ms = 0;   // when to write the line again
  bool is_shown = false;
};

// Takes the line away.
struct EraseProgress {
  void operator()(AuditProgress* progress) const;
};
using ProgressOwner = std::unique_ptr<AuditProgress, EraseProgress>;

// Has the audit show how far it is, as long as the result lives; empty where standard error is no terminal. The audit
// must live as long.
ProgressOwner show_progress(Audit& audit);

}  // namespace vorbelctl
