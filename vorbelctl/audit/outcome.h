// The outcome of an audit, complete: what was audited, how it ended and everything that was found. The verdict for
// people, the one for harnesses and the page are three views of this record. Owns what counts as equal.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "vorbelctl/audit/audit.h"
#include "vorbelctl/handler/input.h"

namespace vorbelctl {

// Where the messages came from.
enum class Origin : std::uint8_t { feed, retransmission, pcap, recording };

struct Outcome {
  Origin origin = Origin::feed;
  std::string where;  // address and port, or the file
  std::string session;
  std::string truth;
  std::string tape;      // empty: there was none
  std::string ended_by;  // "end of session", "time", "interrupt", "silence", "began again" or "end of input"
  std::uint64_t lasted_ms = 0;
  std::string unfinished;           // what was asked for and did not come, as a sentence; empty: nothing
  std::uint64_t feed_buffer = 0;    // bytes that the receive buffer of a live audit had
  bool kept_whole = true;           // false: the capture that was to be kept could not be written whole
  std::vector<Situation> required;  // situations without which the outcome is not well
  bool lists_situations = false;    // the text has the table of all situations
  Input recording;                  // of a handler; its path is empty where there was none
  ReceiverTotals totals;            // of the receiver; nothing of a handler's recording
  Audit audit;
};

// True when every message was there and the same as all that was written about it.
bool is_equal(const Outcome& outcome);

// True for a recording that holds sequence numbers and nothing that could be compared.
bool compared_nothing(const Outcome& outcome);

// What there is in such a recording, as a sentence.
std::string only_numbers_text(const Outcome& outcome);

// Messages that never came, those from before the feed was joined included.
std::uint64_t missing_in_all(const Outcome& outcome);

// Messages that the feed did not carry to us, whether they were recovered or not.
std::uint64_t lost_on_wire(const Outcome& outcome);

// The required situations that were not met, in their order.
std::vector<Situation> unmet_situations(const Outcome& outcome);

// True when losses may be this audit's own and not the wire's, and nothing else is wrong.
bool could_not_keep_up(const Outcome& outcome);

// The likely reason of most that is wrong, as a sentence; empty: none is known.
std::string likely_text(const Outcome& outcome);

// The lowest sequence number with which something is wrong, and what; nothing when all is equal.
std::optional<Discrepancy> first_wrong(const Outcome& outcome);

// The discrepancies that are listed, by sequence number.
std::vector<const Discrepancy*> in_order(const Discrepancies& discrepancies);

// "equal", "lost" when messages are missing but all others are right, or "different"; "unfinished" when nothing is
// wrong but not everything that was asked for came; "unmet" when all of that is well but a required situation was not
// met; "began again" whenever the feed did; "could not keep up" when packets were lost at our own receive
// buffer and nothing else is wrong.
std::string_view verdict_word(const Outcome& outcome);

// The verdict in one sentence.
std::string verdict_sentence(const Outcome& outcome);

// "31 of 44", and how many are not knowable where there are such.
std::string met_text(const Outcome& outcome);

// "feed", "retransmission", "pcap" or "recording".
std::string_view origin_name(Origin origin);

// The verdict for people: a table of figures, then what is missing and what differs, each cut at a stated length.
std::string verdict_text(const Outcome& outcome);

// The verdict for harnesses: one JSON object without a line feed. Its keys are a promise.
std::string verdict_json(const Outcome& outcome);

}  // namespace vorbelctl
