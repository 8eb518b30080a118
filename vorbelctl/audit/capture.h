// What a feed handler under test believes to have received, as it wrote it down: JSON lines with sequence numbers,
// decoded fields and books. Each line is judged like a message of the feed; that every message is there, once and in
// order, is judged here. Reads one line at a time.
#pragma once

#include <string>

#include "vorbelctl/audit/audit.h"

namespace vorbelctl {

// Judges the whole file, whose first message should be `audit.from`, or the first of all where that is 0. The bench is
// taken to have written all it will. Throws std::invalid_argument when the file cannot be read.
void judge_capture(Audit& audit, const std::string& path);

}  // namespace vorbelctl
