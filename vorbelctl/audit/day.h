// A bond's day in the reconciliation: what the record, the message and a handler's book say of high, low, last and
// prints, against what the prints make of them. Knows when messages cannot tell the day as exactly as the publisher
// knows it. What is wrong because of something that was wrong before is counted with its cause.
#pragma once

#include <string>

#include "vorbelctl/audit/reconcile.h"

namespace vorbelctl {

// The message whose day is compared.
struct DayOf {
  std::uint64_t sequence = 0;
  const TruthRecord& record;
  const Received* received;  // null: nothing came
  Expectation& expectation;  // completed by what the book tells
  const Message&
      to_count;  // brings the prints: the message itself, or, where it did not come or is wrong, the expected
                 // one, so that one fault is one discrepancy and not one with every message that follows
};

// Whether this trade makes of the bond's day what the record says of it.
bool makes_day(const Book& book, const Message& trade, const TruthRecord& record);

// Takes the message into the bond's book and compares what everybody says of the day afterwards.
void compare_day(Reconciliation& all, BondState& bond, const DayOf& day);

// Compares what a handler says of a bond with its book as it stands.
void compare_book(Reconciliation& all, std::uint64_t sequence, const std::string& cusip, const Claims& claims);

}  // namespace vorbelctl
