// The report line: ten fields between bars that make one trade.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "trades/trade_index.h"

namespace vorbeld {

// The fields by their position in the line; fields behind the last are ignored.
enum ReportField : std::size_t {
  record_type,  // "T"
  report_cusip,
  report_symbol,      // of the bond, should the CUSIP be new
  report_price,       // percent of par
  report_quantity,    // par amount in currency units
  report_side,        // empty or D...: between dealers; else the first character is the side of a customer trade
  report_venue,       // counted, and copied to the tape
  report_exec_ms,     // milliseconds since 1970-01-01 UTC
  report_settlement,  // YYYYMMDD; anything else: one day after execution
  report_where,       // "book": executed on an ATS
  report_fields
};

// True when the fields are a trade report: at least ten, the first exactly "T".
bool is_report(const std::vector<std::string_view>& fields);

// Settlement dates read before, so that a run of reports for one date reads it once.
struct SettlementMemo {
  std::array<char, 8> text{};  // all zero bytes: none yet
  std::uint64_t settle_s = 0;
};

// 12:00 UTC of the date that `field` holds as YYYYMMDD, in seconds since 1970; 0 when it is not eight characters, does
// not scan as three numbers or holds one below zero. Months and days past their range carry over (30 February is
// 2 March).
std::uint64_t settlement_s(SettlementMemo& memo, std::string_view field);

// The trade that a report describes, all but its bond. `report_ms` is when it was read, wall-clock milliseconds. The
// views are those of `fields`. A price, quantity or execution time that does not start with a number, or is out of
// range, throws what std::stod and std::stoull throw.
TradeInput read_report(const std::vector<std::string_view>& fields, SettlementMemo& memo, std::uint64_t report_ms);

}  // namespace vorbeld
