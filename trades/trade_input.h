// A trade as the generator or a report hands it in for dissemination.
#pragma once

#include <cstdint>
#include <string_view>

#include "btds/trade_block.h"

namespace vorbeld {

// The views must live until the dissemination returns.
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

}  // namespace vorbeld
