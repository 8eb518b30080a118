// The day of every bond, rebuilt from the feed's messages alone: high, low and last sale, prints, halts. Owns the rule
// which trades count. What the messages themselves say of the day is followed, and compared with what the prints say.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/text_hash.h"
#include "vorbelctl/handler/message.h"

namespace vorbelctl {

// A trade that counts for high, low and last: a last sale that was neither cancelled nor corrected.
struct Print {
  std::uint32_t trade_id = 0;     // its low seven digits
  std::uint64_t executed_at = 0;  // YYYYMMDDhhmmss: compares like the time, but in the hour that is repeated in autumn
  double price = 0;
  std::optional<double> yield;
};

struct Sale {
  double price = 0;
  std::optional<double> yield;

  bool operator==(const Sale&) const = default;
};

struct Book {
  std::string symbol;
  bool halted = false;
  std::string halt_reason;  // of the last halt or resume
  // Empty before the first print; empty too after a late start, until a message tells.
  std::optional<Sale> high;
  std::optional<Sale> low;
  std::optional<Sale> last;
  std::uint64_t last_executed_at = 0;  // of the print that set `last`; 0: there is none, or its time is not known
  std::vector<Print> prints;  // in the order of dissemination; grows with the run, as any of them may be cancelled
  std::uint64_t trades = 0;   // trade messages seen, those that do not count included
  std::uint64_t cancels = 0;
  std::uint64_t corrections = 0;
  std::optional<Sale> close;  // from the daily summary
};

// By CUSIP; one for every bond that the feed has named.
using Books = vorbeld::TextMap<Book>;

// True when a trade of these terms counts for high, low and last.
bool is_last_sale(const TradeTerms& terms);

// Takes one message into its bond's book by the prints alone and returns the day that they then make, with the change
// indicator that follows; what the message itself says of the day is not looked at. A halt or a summary makes no
// prints.
DayPrices count_message(Book& book, const Message& message);

// Takes one message into the books and returns what it claims otherwise than the prints say, one line per difference
// ("change is 5, the prints say 1"); nothing when they agree. Prices then follow the message. To be called with every
// message in order; after a late start or a loss, differences are to be expected until every print is known.
std::vector<std::string> apply_message(Books& books, const Message& message);

// The book's state by name: cusip, symbol, traded, high, low, last with their yields, prints, halted.
FieldList list_book(const std::string& cusip, const Book& book);

}  // namespace vorbelctl
