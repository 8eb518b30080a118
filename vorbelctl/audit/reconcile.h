// The reconciliation: holds each message against the record that was expected of it, from the truth file, the tape, the
// messages before and the books that the messages make. Owns the two files, the books and the discrepancies. Knows
// neither sockets nor recordings; whoever received the messages hands them in, in the order of their numbers.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "common/text.h"
#include "vorbelctl/audit/claim.h"
#include "vorbelctl/audit/discrepancy.h"
#include "vorbelctl/audit/expectation.h"
#include "vorbelctl/audit/rules.h"
#include "vorbelctl/audit/situations.h"
#include "vorbelctl/audit/tape.h"
#include "vorbelctl/audit/truth.h"
#include "vorbelctl/audit/wire_rules.h"
#include "vorbelctl/handler/book.h"

namespace vorbelctl {

// What came of a message: the message itself, or what a handler wrote down of it.
struct Received {
  Source by = Source::message;
  const vorbeld::KindRow* row = nullptr;  // null: a handler did not say what kind of message it was
  const Message* message = nullptr;       // null: there are claims instead
  const Claims* claims = nullptr;
  const Claims* book = nullptr;  // what the handler has of the bond afterwards; null: it did not say
  std::uint64_t until_ms = 0;    // wall clock at which it was here; 0: not known
};

struct BondState {
  Book book;
  BondNames names;
  BondRules rules;
  bool exact = true;    // messages carried every price whole, so the book is the publisher's
  bool ordered = true;  // and every time, so that the last sale is the publisher's too
  bool fine = false;    // prices use the last decimal, so the publisher may see differences that messages do not show
  std::optional<Cause> doubt;       // why what is said of the day may be wrong; until it is right again
  std::optional<Cause> book_doubt;  // the same of the handler's book
};

// How long after their sending trades were written down on the tape.
struct Lag {
  std::uint64_t trades = 0;
  std::int64_t least_s = 0;
  std::int64_t first_taped_s = 0;  // UTC; of the first trade
  Discrepancy first;               // to be noted where all of them are late
};

struct Reconciliation {
  Truth truth;
  bool has_tape = false;
  Tape tape;
  Discrepancies discrepancies;
  std::uint64_t handed_out = 0;  // of their number: what Reconciled has told
  Situations situations;         // that the messages which came, and the wire, were
  Rules rules;
  Lag lag;
  Wire wire;                                        // hears the packets where there are any
  vorbeld::TextMap<BondState> bonds;                // by CUSIP as the truth file has it; one for every bond of the run
  std::unordered_map<std::uint64_t, Cause> doubts;  // by the number of a trade whose record and message differ; those
                                                    // of which the cause is listed
  std::int64_t sent_s = 0;                          // UTC; when the message before was sent; 0: not known
  std::uint64_t fields = 0;                         // values of messages that were compared
  std::uint64_t days = 0;                           // states of a bond's day that were compared
  std::uint64_t books = 0;                          // of these, a handler's books
  std::uint64_t book_values = 0;                    // values of these books that were compared
  bool strict = false;                              // what nothing can be compared with is a discrepancy
  std::vector<std::string> uncompared;  // names that a handler wrote down and the bench does not have; each once
};

// What became of a sequence number, for those who draw and count.
struct Reconciled {
  std::uint64_t sequence = 0;
  bool recorded = false;  // the truth file has a record of it that reads; the rest is filled only then
  Kind kind = Kind::control;
  char type = ' ';
  char action = ' ';  // halt
  std::string cusip;  // of a cancel too, whose record does not name it
  std::string symbol;
  double price = 0;            // trade and correction
  double amended_price = 0;    // cancel and correction: the price that is no more
  bool last_sale = false;      // trade and correction: counts for high, low and last
  std::int64_t sent_s = 0;     // UTC; 0: not known
  std::uint64_t taped_ms = 0;  // wall clock at which its tape line was written; 0: not known

  // What has turned up since the number before was reconciled; filled always.
  std::uint64_t found = 0;          // discrepancies
  std::vector<std::string> labels;  // of the truth file's marks before the record
};

// Opens both files at their latest run. `tape` may be empty: there is none. Throws std::invalid_argument.
void open_files(Reconciliation& reconciliation, const std::string& truth, const std::string& tape);

// Reconciles the message `sequence`, or the lack of it when `received` is null: then the books go on with what the
// truth says, so that one loss is one discrepancy, which `cause` names. Nothing is returned, and nothing has happened,
// while the files do not yet have what is needed; `no_more` says that they never will. Records before `sequence` are
// passed over silently.
std::optional<Reconciled> reconcile(Reconciliation& reconciliation, std::uint64_t sequence, const Received* received,
                                    bool no_more, std::optional<Cause> cause = {});

// How well what a handler wrote down fits a record.
enum class Fit : std::uint8_t {
  none,    // it says something else
  likely,  // it says nothing else, and no more than other messages do
  surely   // it tells the trade, the summary or the control message, and no other does
};

// How well it fits the record of the message `sequence`, which must be the next one to be reconciled; none where that
// is not there. Nothing is noted.
Fit fit_to_record(Reconciliation& reconciliation, std::uint64_t sequence, const Received& received);

// Puts what has turned up since the last time into `reconciled`.
void hand_out(Reconciliation& reconciliation, Reconciled& reconciled);

// To be called once every message up to `last` is reconciled: notes what the tape has beside them, and which heartbeats
// do not fit the day.
void reconcile_rest(Reconciliation& reconciliation, std::uint64_t last);

// Notes that a handler wrote down something of this message under this name, which nothing can be compared with. At
// most most_names_uncompared are kept, each once.
void note_uncompared(Reconciliation& reconciliation, std::uint64_t sequence, const std::string& name);
inline constexpr std::size_t most_names_uncompared = 100;

}  // namespace vorbelctl
