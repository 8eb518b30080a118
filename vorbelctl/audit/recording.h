// What a feed handler under test wrote down of the feed: JSON lines with sequence numbers, decoded fields and books.
// Each line is reconciled like a message of the feed; that every message is there, once and in order, is checked here.
// Reads one line at a time.
#pragma once

#include <string>

#include "vorbelctl/audit/audit.h"

namespace vorbelctl {

// Reconciles the whole file, whose first message should be `audit.from`, or the first of all where that is 0. The bench
// is taken to have written all it will. Throws std::invalid_argument when the file cannot be read.
void reconcile_recording(Audit& audit, const std::string& path);

}  // namespace vorbelctl
