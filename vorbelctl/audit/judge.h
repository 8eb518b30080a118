// Judges one message after the other against its truth record, its tape line and the books that the messages make: the
// heart of an audit. Owns the two files, the books and the findings. Knows neither sockets nor captures; whoever heard
// the messages hands them in, in the order of their numbers.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "common/text_hash.h"
#include "vorbelctl/audit/findings.h"
#include "vorbelctl/audit/tape.h"
#include "vorbelctl/audit/truth.h"
#include "vorbelctl/audit/unrecorded.h"
#include "vorbelctl/handler/book.h"

namespace vorbelctl {

// What somebody says of a message.
struct Heard {
  Witness by = Witness::message;
  std::optional<Kind> kind;        // nothing: not said
  FieldList fields;                // all of the message's, or those that a handler under test wrote down
  std::optional<Message> message;  // the message itself, where it was heard on the feed
  std::uint64_t heard_ms = 0;      // wall clock; 0: not known
  FieldList book;                  // what is believed of the bond afterwards; empty: nothing was said
};

struct BondState {
  Book book;
  BondNames names;
  bool exact = true;  // messages carried every price and time whole, so the book is the publisher's
  bool fine = false;  // prices use the last decimal, so the publisher may see differences that messages do not show
};

struct Judge {
  Truth truth;
  std::optional<Tape> tape;
  Findings findings;
  vorbeld::TextMap<BondState> bonds;  // by CUSIP as the truth file has it; one for every bond of the run
  std::int64_t sent_s = 0;            // UTC; when the message before was sent; 0: not known
};

// What became of a sequence number, for those who draw and count.
struct Judged {
  std::uint64_t sequence = 0;
  bool recorded = false;  // the truth file has a record of it that reads; the rest is filled only then
  TruthRecord record;
  std::string cusip;         // of a cancel too, whose record does not name it
  double amended_price = 0;  // cancel and correction: the price that is no more
  bool last_sale = false;    // trade and correction: counts for high, low and last
  std::int64_t sent_s = 0;   // UTC; 0: not known
};

// Opens both files at their latest run. `tape` may be empty: there is none. Throws std::invalid_argument.
Judge make_judge(const std::string& truth, const std::string& tape);

// Judges the message `sequence`, or the lack of it when `heard` is null: then the books go on with what the truth
// says, so that one loss is one finding. Nothing is returned, and nothing has happened, while the files do not yet have
// what is needed; `no_more` says that they never will. Records before `sequence` are passed over silently.
std::optional<Judged> judge_message(Judge& judge, std::uint64_t sequence, const Heard* heard, bool no_more);

// To be called once every message up to `last` is judged: complains of what the tape has beside them.
void judge_rest(Judge& judge, std::uint64_t last);

// Compares what is believed of a bond with its book as it stands.
void judge_book(Judge& judge, std::uint64_t sequence, const std::string& cusip, const FieldList& believed);

}  // namespace vorbelctl
