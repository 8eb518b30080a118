// The 74-byte trade block: the terms of a trade as its message carries them. A cancel or correction repeats the block
// of the trade that it amends.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "btds/message_table.h"

namespace vorbeld {

using TradeBody = std::array<char, layout::trade_body.length>;

// What a trade block says. The one-character attributes are blank (a space) where they do not apply.
struct TradeTerms {
  double price = 0;     // percent of par
  double quantity = 0;  // par amount in currency units
  bool yield_wanted = true;
  char side = 'S';              // B buy, S sell; any character from a report
  char contra_party = 'D';      // C customer, A affiliate, D dealer
  char reporting_party = 'D';   // D dealer, T for a trade on an ATS
  char ats = ' ';               // Y when executed on an ATS
  char remuneration = ' ';      // M, C, N
  char as_of = ' ';             // A as-of, R reversal
  char sale_condition_3 = ' ';  // Z late, T after hours
  char sale_condition_4 = ' ';  // W weighted average
  char special = ' ';           // Y special price
  char second_modifier = ' ';
  std::uint64_t exec_s = 0;    // execution time, UTC seconds
  std::uint64_t settle_s = 0;  // settlement time, UTC seconds; 0: one day after execution
};

// The quantity, in currency units, above which only the fact is disseminated.
inline double quantity_cap(bool high_yield) {
  return high_yield ? 1'000'000.0 : 5'000'000.0;
}

// True when the quantity is strictly greater than the cap.
inline bool exceeds_cap(double quantity, bool high_yield) {
  return quantity > quantity_cap(high_yield);
}

// Writes the quantity indicator, the quantity or its cap text, the price and the yield (blank: none is sent), the part
// of a block in which a correction differs from the trade that it corrects.
void encode_amounts(std::span<char, layout::trade_body.length> block, bool high_yield, double price, double quantity,
                    std::optional<double> yield);

// Writes the whole block.
void encode_trade_block(std::span<char, layout::trade_body.length> block, bool high_yield, const TradeTerms& terms,
                        std::optional<double> yield);

// One character of a body, and the text of a wider field; the view lives as long as the body.
inline char body_char(const TradeBody& body, Field field) {
  return body[field.offset];
}
inline std::string_view body_text(const TradeBody& body, Field field) {
  return {body.data() + field.offset, field.width};
}

}  // namespace vorbeld
