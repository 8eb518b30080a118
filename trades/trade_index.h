// Trades as they come in and as they are kept. Every trade disseminated in the run is found by its trade id: ids are
// dense from 1, so the index is an array, and the list of ids in dissemination order is the order of the array. Records
// are never removed and never move.
#pragma once

#include <cstdint>
#include <string_view>

#include "btds/trade_block.h"
#include "common/containers.h"

namespace vorbeld {

// A trade as the generator or a report hands it in. The views must live until the dissemination returns.
struct TradeInput {
  std::string_view cusip;
  std::string_view symbol;  // used only when the bond must be added
  std::string_view venue;   // where the trade was sourced; counted
  std::string_view where;   // free routing tag, copied to the tape
  TradeTerms terms;
  std::uint64_t orig_trade_date_s = 0;  // of a reversal: date of the reversed trade, UTC seconds; 0: none
  std::uint64_t exec_ms = 0;            // execution time, milliseconds since 1970; 0: that of the terms
  std::uint64_t report_ms = 0;          // when the trade was reported, wall-clock milliseconds
};

// What later cancels and corrections need of a trade. Kept for the whole run, so every byte counts.
struct TradeRecord {
  double quantity = 0;         // currency units, uncapped
  double price = 0;            // percent of par
  double yield = 0;            // percent; 0 when none was sent
  std::uint64_t exec_s = 0;    // execution time, UTC seconds
  std::uint64_t report_s = 0;  // when it was disseminated, UTC seconds; its local date is the report date

  std::uint32_t bond = 0;             // position in the universe of the first bond with the trade's CUSIP
  std::uint32_t next_print = 0;       // next last-sale-eligible trade of the same bond, live or not; 0: none yet
  std::uint32_t older_amendable = 0;  // next older trade whose as-of indicator is blank; 0: none
  bool capped = false;                // the quantity exceeded the cap
  bool yield_wanted = false;
  bool cancelled = false;  // set by a cancel, and by a correction for the trade that it replaces
  bool last_sale_eligible = false;

  TradeBody body{};  // as it was sent
};

// The quantity as it is told to others: the cap of the bond's grade when it exceeds that.
inline double disseminated_quantity(const TradeRecord& record, bool high_yield) {
  return record.capped ? quantity_cap(high_yield) : record.quantity;
}

struct TradeIndex {
  Chunked<TradeRecord, 256> records;   // that of trade id N at N - 1
  std::uint64_t newest_amendable = 0;  // head of the TradeRecord::older_amendable list, live or not; 0: none
};

// The id of the newest trade; 0 before the first.
inline std::uint64_t newest_trade(const TradeIndex& trades) {
  return trades.records.size;
}

// Appends an empty record under the next trade id, which newest_trade() then gives. The reference stays valid.
TradeRecord& record_trade(TradeIndex& trades);

// The record of a trade, or null when the id was never given.
TradeRecord* find_trade(TradeIndex& trades, std::uint64_t trade_id);

// The record of a trade that is known to exist.
inline TradeRecord& trade(TradeIndex& trades, std::uint64_t trade_id) {
  return trades.records[trade_id - 1];
}

// Makes the trade `trade_id` the newest that latest_amendable() can give, unless it is an as-of trade or a reversal.
// Its record must have its body.
void note_amendable(TradeIndex& trades, std::uint64_t trade_id);

// The newest trade that is neither cancelled nor corrected and whose as-of indicator is blank; 0 when there is none.
std::uint64_t latest_amendable(TradeIndex& trades);

}  // namespace vorbeld
