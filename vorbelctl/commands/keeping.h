// The folder in which an audit leaves everything that it was about, to be attached to a run of a test: the capture, the
// run's part of truth file and tape, the verdict in both forms and the page.
#pragma once

#include <string>

#include "vorbelctl/audit/outcome.h"

namespace vorbelctl {

// Makes the folder, unless it is there and empty. Throws std::invalid_argument when it holds something, is no folder or
// cannot be made.
void prepare_folder(const std::string& folder);

// Where the capture is to be written.
std::string kept_capture(const std::string& folder);

// Puts everything but the capture of packets into the folder: `verdict`, as JSON and as text, the page where there is a
// verdict, the run's lines of truth file and tape as far as they were opened, and the recording of a handler. Uses up
// the two files. Returns what could not be written, as a sentence; empty: nothing.
std::string keep_audit(const std::string& folder, Outcome& outcome, bool has_verdict, const std::string& json,
                       const std::string& text);

}  // namespace vorbelctl
