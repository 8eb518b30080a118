// The day of every bond, rebuilt from the feed's messages alone: high, low and last sale, prints, halts. Owns the rule
// which trades count. What the messages themselves say of the day is followed, and compared with what the prints say.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/text.h"
#include "vorbelctl/handler/message.h"
#include "vorbelctl/wording/fields.h"

namespace vorbelctl {

// A trade that counts for high, low and last: a last sale.
struct Print {
  std::uint64_t trade_id = 0;     // ascending; what messages carry are its low seven digits
  std::uint64_t executed_at = 0;  // YYYYMMDDhhmmss: compares like the time, but in the hour that is repeated in autumn
  double price = 0;
  std::optional<double> yield;
  bool live = true;  // neither cancelled nor corrected
};

struct Sale {
  double price = 0;
  std::optional<double> yield;

  bool operator==(const Sale&) const = default;
};

// The prints of a bond in the order of dissemination. They are kept for the run, as any of them may be cancelled; of
// each block of neighbours the best ones are at hand, so that the day can be told again without going through all.
struct Prints {
  static constexpr std::uint32_t none = 0xFFFFFFFF;
  static constexpr std::size_t block_size = 256;
  struct Block {  // places of live prints; none: there are none
    std::uint32_t high = none;
    std::uint32_t low = none;
    std::uint32_t last = none;
  };

  std::vector<Print> all;
  std::vector<Block> blocks;  // one for each block_size prints
  std::uint64_t live = 0;
};

// What the prints make of a day. Empty where there is no live print.
struct Day {
  std::optional<Sale> high;
  std::optional<Sale> low;
  std::optional<Sale> last;
};

struct Book {
  std::string symbol;
  bool halted = false;
  std::string halt_reason;  // of the last halt or resume
  // Empty before the first print; empty too after a late start, until a message tells.
  Day day;
  std::uint64_t last_executed_at = 0;  // of the print that set `day.last`; 0: there is none, or its time is not known
  Prints prints;
  std::uint64_t trades = 0;  // trade messages seen, those that do not count included
  std::uint64_t cancels = 0;
  std::uint64_t corrections = 0;
  std::optional<Sale> close;  // from the daily summary
};

// By CUSIP; one for every bond that the feed has named.
using Books = vorbeld::TextMap<Book>;

// The fields of a trade's terms that bear on the book: its own, or those of the original in an amendment.
struct PrintFields {
  FieldId price;
  FieldId yield;
  FieldId executed_at;
  FieldId as_of;
  FieldId special;
  FieldId sale_condition_3;
  FieldId sale_condition_4;
};
inline constexpr PrintFields own_terms{
    "price", "yield", "executed_at", "as_of", "special", "sale_condition_3", "sale_condition_4"};
inline constexpr PrintFields original_terms{"original_price",           "original_yield",   "original_executed_at",
                                            "original_as_of",           "original_special", "original_sale_condition_3",
                                            "original_sale_condition_4"};

// True when a trade of these terms counts for high, low and last.
bool is_last_sale(const Message& message, const PrintFields& terms);

// The change indicator from one state of the day to another: '0' plus 4 for the high, 2 for the low, 1 for the last;
// '7' for a day that begins or becomes empty.
char change_between(const Day& before, const Day& after);

// Takes one message into its bond's book by the prints alone and returns the change indicator that follows; what the
// message itself says of the day is not looked at. A halt or a summary makes no prints.
char count_message(Book& book, const Message& message);

// Takes one message into the books and returns what it claims otherwise than the prints say, one line per difference
// ("change is 5, the prints say 1"); nothing when they agree. Prices then follow the message. To be called with every
// message in order; after a late start or a loss, differences are to be expected until every print is known.
std::vector<std::string> apply_message(Books& books, const Message& message);

// The book's state by name: cusip, symbol, traded, high, low, last with their yields, prints, halted.
FieldList list_book(const std::string& cusip, const Book& book);

}  // namespace vorbelctl
