// The lines of truth file and tape that an audit was about, out of files that may hold other runs and may still grow.
#pragma once

#include <ostream>

#include "vorbelctl/audit/tape.h"
#include "vorbelctl/audit/truth.h"

namespace vorbelctl {

// Writes the run's lines, byte for byte, from its first one to where the audit has come; with `to_the_end` at least to
// where the file ended when it was opened.
void copy_truth(Truth& truth, bool to_the_end, std::ostream& out);
void copy_tape(Tape& tape, bool to_the_end, std::ostream& out);

}  // namespace vorbelctl
