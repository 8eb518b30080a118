// The outcome of an audit, complete: what was audited, how it ended and everything that was found. The verdict for
// people, the one for harnesses and the page are three views of this record. Owns what counts as equal.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "vorbelctl/audit/audit.h"

namespace vorbelctl {

enum class AuditSource : std::uint8_t { feed, offline, pcap, capture };

struct AuditReport {
  AuditSource source = AuditSource::feed;
  std::string where;  // address and port, or the file
  std::string session;
  std::string truth;
  std::string tape;      // empty: there was none
  std::string ended_by;  // "end of session", "time", "interrupt", "silence" or "end of input"
  std::uint64_t lasted_ms = 0;
  ReceiverTotals totals;  // of the receiver; nothing of a capture of a handler's
  Audit audit;
};

// True when every message was there and the same as all that was written about it.
bool is_equal(const AuditReport& report);

// Messages that never came, those from before the feed was joined included.
std::uint64_t missing_in_all(const AuditReport& report);

// Messages that the feed did not carry to us, whether they were recovered or not.
std::uint64_t lost_on_wire(const AuditReport& report);

// The lowest sequence number with which something is wrong, and what; nothing when all is equal.
std::optional<Difference> first_wrong(const AuditReport& report);

// "equal", "lost" when messages are missing but all others are right, or "different".
std::string_view verdict_word(const AuditReport& report);

// The verdict in one sentence.
std::string verdict_sentence(const AuditReport& report);

// "feed", "retransmission", "pcap" or "capture".
std::string_view source_name(AuditSource source);

// The verdict for people: a table of figures, then what is missing and what differs, each cut at a stated length.
std::string verdict_text(const AuditReport& report);

// The verdict for harnesses: one JSON object without a line feed.
std::string verdict_json(const AuditReport& report);

}  // namespace vorbelctl
