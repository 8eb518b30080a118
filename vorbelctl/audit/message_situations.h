// Which situations a message puts its receiver through, by its record and by the book of its bond. Nothing here is of
// the wire.
#pragma once

#include <cstdint>

#include "vorbelctl/audit/record.h"
#include "vorbelctl/audit/situations.h"
#include "vorbelctl/handler/book.h"

namespace vorbelctl {

// What an amendment may move.
struct BookBefore {
  Day day;
  std::uint64_t last_executed_at = 0;
  std::uint64_t prints = 0;
};

inline BookBefore book_before(const Book& book) {
  return {book.day, book.last_executed_at, book.prints.live};
}

// One message that came.
struct MessageMet {
  std::uint64_t sequence = 0;
  const TruthRecord& record;
  const Message& expected;   // by the records; holds the original's terms in an amendment
  const Book* book;          // the bond's, with the message taken in; null: a control message
  const BookBefore& before;  // of an amendment
};

// Cheap, as every message passes here.
void meet_message(Situations& situations, const MessageMet& message);

}  // namespace vorbelctl
