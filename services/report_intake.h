// The report intake: dealers connect over TCP and report trades, a line each; every line is answered with one line.
// Owns the connections and what was received on them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "common/text_line.h"
#include "services/report_line.h"
#include "trades/amendment.h"
#include "trades/bonds.h"
#include "trades/engine.h"

namespace vorbeld {

struct ReportConnection {
  int descriptor = -1;       // -1 once closed
  std::string unframed;      // received, not yet a whole line; unbounded, since a line may have any length
  std::size_t searched = 0;  // bytes of it known to hold no line feed
};

struct ReportIntake {
  int listener = -1;                   // -1: no report port
  std::vector<ReportConnection> open;  // in order of acceptance; closed ones are taken out in the pass that closes them
  std::uint64_t accepted = 0;          // connections since start, closed ones included
  bool starved = false;                // the last one that waited could not be taken for want of descriptors or memory

  CusipSet high_yield_cusips;      // graded so when a report adds them
  std::uint32_t cancel_every = 0;  // every so many-th trade, if reported, is cancelled 3 s later; 0: none

  // Scratch, kept for its capacity.
  std::array<char, 4096> buffer{};
  std::vector<std::string_view> fields;
  TextLine reply;
  SettlementMemo settlement;
};

// Takes all waiting connections; non-blocking, replies leave at once. Those that cannot be had wait on.
void accept_reports(ReportIntake& intake);

// Reads every connection until it would block and handles its whole lines in order, each answered before the next is
// read. A connection that its peer closed, or that failed, is closed, and whatever it sent in this pass is lost.
void serve_reports(ReportIntake& intake, Engine& engine, PendingAmendments& pending);

}  // namespace vorbeld
