// Where the messages of an audit come from: the feed as it is sent, the retransmission port, a capture of packets, or
// what a handler wrote down. Each operation brings every message to the reconciliation, waits for records that are
// still to be written, and completes the outcome.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "vorbelctl/audit/outcome.h"
#include "vorbelctl/doors/addresses.h"
#include "vorbelctl/handler/ends.h"
#include "vorbelctl/handler/follow.h"

namespace vorbelctl {

// Nothing to audit was found; what() says where it was looked for.
struct NoFeed : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct AuditRequest {
  Addresses addresses;
  std::uint64_t from = 0;  // 0: the first message of the run, or of the capture
  Ends ends;               // time and silence are those of a live audit
  std::string pcap;        // a capture of packets
  std::string recording;   // what a handler wrote down
  std::string keep;        // where to write a capture of all that is received or read; empty: nowhere
};

// Joins the feed. Throws as the doors do.
Follower join_feed_for(Outcome& outcome, const AuditRequest& request);

// Follows the feed that was joined until there is a reason to end. Throws NoFeed when nothing of the session came, and
// std::invalid_argument when the truth file is not of this run, or the bench does not write to it.
// Returns false when not one of the messages that were asked for came by retransmission.
bool audit_feed(Outcome& outcome, Follower& follower, const AuditRequest& request);

// Fetches everything from the retransmission port. Throws NoFeed when nobody answers there, and std::invalid_argument
// when the truth file is not of this run.
void audit_retransmission(Outcome& outcome, const AuditRequest& request);

// Reads a capture of packets. Throws NoFeed when there is none of the session among them, std::invalid_argument when it
// cannot be read.
void audit_pcap(Outcome& outcome, const AuditRequest& request);

// Throws std::invalid_argument, saying which, when the truth file and the messages that were received are clearly of
// two runs. With `no_more` also when only some messages have come.
void check_run(Outcome& outcome, bool no_more);

// Reads a handler's recording. Throws std::invalid_argument when it cannot be read.
void audit_recording(Outcome& outcome, const AuditRequest& request);

}  // namespace vorbelctl
