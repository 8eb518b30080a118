// What a bench wrote down about its messages: the records of the truth file and the lines of the tape, taken out of
// their JSON into plain records. Every key that a kind of record has is in one table; a record with any key more, less
// or out of order is refused. What the values should be is left to others.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "vorbelctl/handler/fields.h"
#include "vorbelctl/handler/message.h"

namespace vorbelctl {

// A bond's day as the truth file has it after a trade or a correction, and in a daily summary. Prices are those of the
// book, not cut or clamped to what a message can carry; NaN where the file says so.
struct TruthDay {
  bool traded = false;
  double high = 0;
  double low = 0;
  double last = 0;
  std::uint64_t prints = 0;
};

// One record of the truth file. Which members are filled follows from the kind.
struct TruthRecord {
  Kind kind = Kind::control;
  std::uint64_t sequence = 0;
  char category = ' ';
  char type = ' ';
  std::string event;

  std::string cusip;
  std::string symbol;
  std::string trade_id;  // at least seven digits, more where the id has more
  bool capped = false;
  TradeTerms terms;  // price and quantity as written, not yet as a message carries them
  std::string original_id;
  char function = ' ';
  char change = ' ';
  TruthDay day;
  char action = ' ';
  std::string reason;
  std::string at;  // YYYYMMDDhhmmss, feed local time
};

// A label that somebody put between the records by the control port, and the number of the last message before it.
struct TruthMark {
  std::string label;
  std::uint64_t sequence = 0;
};

struct TapeRecord {
  std::uint64_t sequence = 0;
  std::uint64_t written_ms = 0;  // wall clock
  std::string cusip;
  std::string symbol;
  double price = 0;
  double quantity = 0;
  char cap = '0';
  char side = ' ';
  char reporting_party = ' ';
  char contra_party = ' ';
  std::uint64_t executed_ms = 0;
  std::uint64_t report_lag_ms = 0;
  std::string settlement;  // the digits of the date
  std::string trade_id;
  std::string venue;
  std::string where;
};

// A record, or why there is none: the first key whose value does not read, or "keys" when the keys are those of no
// kind of record.
template <class Record>
struct Read {
  Record record;
  std::string wrong_key;  // empty: the record is whole
};

// The mark in `fields`, when they are one.
std::optional<TruthMark> read_mark(const FieldList& fields);

// The kind follows from the keys alone; whether category, type and event fit it is for the reader of the record.
Read<TruthRecord> read_truth(const FieldList& fields);

Read<TapeRecord> read_tape(const FieldList& fields);

// A trade id's number; 0, which names no trade, for what is not written as trade ids are.
std::uint64_t trade_number(const std::string& trade_id);

}  // namespace vorbelctl
