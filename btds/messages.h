// The administrative and control messages as bytes. What they announce, and the records kept of them, is up to those
// who send them.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "btds/fields.h"
#include "btds/message_table.h"
#include "btds/price_change.h"

namespace vorbeld {

// A/H: a halt (action 'H') or its end ('R') at `now_s`. Of the reason, the first four characters are sent.
std::array<char, layout::halt.length> encode_halt(const BondNames& names, char action, std::string_view reason,
                                                  std::int64_t now_s);

// A/E: the day's prices of a bond.
std::array<char, layout::summary.length> encode_summary(const BondNames& names, const DayPrices& prices,
                                                        std::int64_t now_s);

// C: one control code, the message type.
std::array<char, layout::header.length> encode_control(char code, std::int64_t now_s);

}  // namespace vorbeld
