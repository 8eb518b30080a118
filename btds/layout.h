// The layouts of all BTDS 2.1 messages: every field by name, offset and width in bytes, in the order of the message.
// Encoders, decoders and the wire-format page use these names. Messages are fixed-length ASCII.
#pragma once

#include <cstddef>

namespace vorbeld {

// Where a field stands in its message or block, in bytes.
struct Field {
  std::size_t offset;
  std::size_t width;
};

// True when the fields follow each other without gap or overlap from offset `begin` to `end`.
template <class... Fields>
constexpr bool gapless(std::size_t begin, std::size_t end, Fields... fields) {
  std::size_t at = begin;
  const bool in_order = ((fields.offset == at && (at += fields.width, true)) && ...);
  return in_order && at == end;
}

namespace layout {

namespace header {  // opens every message
inline constexpr std::size_t length = 24;
inline constexpr Field category{0, 1};   // T trade, A administrative, C control
inline constexpr Field type{1, 1};       // T: M trade, N cancel, O correction; A: H halt, E summary; C: the code
inline constexpr Field trade_id{2, 7};   // low seven digits in T/M and T/O; blank in all others
inline constexpr Field origin{9, 1};     // always O
inline constexpr Field sent_at{10, 14};  // dissemination date-time
static_assert(gapless(0, length, category, type, trade_id, origin, sent_at));
}  // namespace header

namespace bond {  // follows the header in every message but control
inline constexpr std::size_t end = 64;
inline constexpr Field symbol{24, 14};
inline constexpr Field cusip{38, 9};
inline constexpr Field short_name{47, 12};
inline constexpr Field sub_product{59, 5};
static_assert(gapless(header::length, end, symbol, cusip, short_name, sub_product));
}  // namespace bond

namespace trade_body {  // a trade's terms; offsets within the body
inline constexpr std::size_t length = 74;
inline constexpr Field quantity_indicator{0, 1};  // E over the cap, A otherwise
inline constexpr Field quantity{1, 14};           // "%014.2f", or 1MM+ / 5MM+ when capped
inline constexpr Field price{15, 11};             // "%011.6f"
inline constexpr Field remuneration{26, 1};       // M, C, N or blank
inline constexpr Field special{27, 1};            // Y or blank
inline constexpr Field side{28, 1};               // B, S
inline constexpr Field as_of{29, 1};              // A as-of, R reversal, blank
inline constexpr Field executed_at{30, 14};       // date-time
inline constexpr Field reserved{44, 2};           // blank
inline constexpr Field sale_condition_3{46, 1};   // Z late, T after hours, blank
inline constexpr Field sale_condition_4{47, 1};   // W weighted average, blank
inline constexpr Field settlement{48, 8};         // date
inline constexpr Field yield{56, 14};             // sign and "%013.6f"; blank when no yield is sent
inline constexpr Field second_modifier{70, 1};
inline constexpr Field reporting_party{71, 1};  // D dealer, T ATS
inline constexpr Field contra_party{72, 1};     // C customer, A affiliate, D dealer
inline constexpr Field ats{73, 1};              // Y or blank
static_assert(gapless(0, length, quantity_indicator, quantity, price, remuneration, special, side, as_of, executed_at,
                      reserved, sale_condition_3, sale_condition_4, settlement, yield, second_modifier, reporting_party,
                      contra_party, ats));
}  // namespace trade_body

namespace price_change {  // a bond's day after a cancel or correction; offsets within the block
inline constexpr std::size_t length = 76;
inline constexpr Field high{0, 11};
inline constexpr Field high_yield{11, 14};
inline constexpr Field low{25, 11};
inline constexpr Field low_yield{36, 14};
inline constexpr Field last{50, 11};
inline constexpr Field last_yield{61, 14};
inline constexpr Field change{75, 1};
static_assert(gapless(0, length, high, high_yield, low, low_yield, last, last_yield, change));
}  // namespace price_change

namespace trade {  // T/M
inline constexpr std::size_t length = 147;
inline constexpr Field reversed_date{64, 8};  // date of the reversed trade; blank when the trade is no reversal
inline constexpr Field body{72, trade_body::length};
inline constexpr Field change{146, 1};
static_assert(gapless(bond::end, length, reversed_date, body, change));
}  // namespace trade

namespace cancel {  // T/N
inline constexpr std::size_t length = 230;
inline constexpr Field original_date{64, 8};  // when the cancelled trade was disseminated
inline constexpr Field original_id{72, 7};
inline constexpr Field function{79, 1};  // C
inline constexpr Field original_body{80, trade_body::length};
inline constexpr Field prices{154, price_change::length};
static_assert(gapless(bond::end, length, original_date, original_id, function, original_body, prices));
}  // namespace cancel

namespace correction {  // T/O
inline constexpr std::size_t length = 304;
inline constexpr Field original_date{64, 8};  // when the corrected trade was disseminated
inline constexpr Field original_id{72, 7};
inline constexpr Field function{79, 1};  // N
inline constexpr Field original_body{80, trade_body::length};
inline constexpr Field body{154, trade_body::length};  // the replacement
inline constexpr Field prices{228, price_change::length};
static_assert(gapless(bond::end, length, original_date, original_id, function, original_body, body, prices));
}  // namespace correction

namespace halt {  // A/H
inline constexpr std::size_t length = 113;
inline constexpr Field description{64, 30};
inline constexpr Field action{94, 1};      // H halt, R resume
inline constexpr Field action_at{95, 14};  // date-time, the same instant as the header's
inline constexpr Field reason{109, 4};
static_assert(gapless(bond::end, length, description, action, action_at, reason));
}  // namespace halt

namespace summary {  // A/E
inline constexpr std::size_t length = 140;
inline constexpr Field reserved{64, 1};  // blank
inline constexpr Field high{65, 11};
inline constexpr Field high_yield{76, 14};
inline constexpr Field low{90, 11};
inline constexpr Field low_yield{101, 14};
inline constexpr Field close{115, 11};
inline constexpr Field close_yield{126, 14};
static_assert(gapless(bond::end, length, reserved, high, high_yield, low, low_yield, close, close_yield));
}  // namespace summary

namespace control {  // C: I, O at the start; C, X, J, Z at the close
inline constexpr std::size_t length = header::length;
}  // namespace control

}  // namespace layout
}  // namespace vorbeld
