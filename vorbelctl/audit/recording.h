// What a feed handler under test wrote down of the feed: JSON lines with sequence numbers, decoded fields and books.
// Each line is reconciled like a message of the feed; that every message is there, once and in order, is checked here.
// Reads one line at a time.
#pragma once

#include "vorbelctl/audit/audit.h"
#include "vorbelctl/handler/input.h"

namespace vorbelctl {

// Reconciles the file's messages from `audit.from`, or the first of all where that is 0, to `audit.to`, or the last one
// that the file has where that is 0; lines without a number belong to the message before them. What the truth has
// behind the file's last message is missing as far as due_number says.
void reconcile_recording(Audit& audit, const Input& input);

}  // namespace vorbelctl
