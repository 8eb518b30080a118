// The bonds of the run in their order, and the look-up of a bond by its CUSIP.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "common/text_hash.h"
#include "trades/bond.h"

namespace vorbeld {

// CUSIPs in order, asked with a view.
using CusipSet = std::set<std::string, std::less<>>;

// Unbounded: reports add a bond for every new CUSIP.
struct Universe {
  std::deque<Bond> bonds;           // only appended to, never reordered; references stay valid
  TextMap<std::uint32_t> by_cusip;  // position of the first bond with the CUSIP
};

// Appends a bond. A second bond with a CUSIP already there is kept but never found.
Bond& add_bond(Universe& universe, Bond bond);

// Position of the first bond with this CUSIP, or nothing.
std::optional<std::uint32_t> find_position(const Universe& universe, std::string_view cusip);

// The first bond with this CUSIP, or null.
Bond* find_bond(Universe& universe, std::string_view cusip);

// Position of the first bond with this CUSIP. When there is none, a corporate bond with mid 100, coupon 5, the given
// symbol and grade, and the symbol for its description and (cut to 12 characters) its short name is appended.
std::uint32_t find_or_add_bond(Universe& universe, std::string_view cusip, std::string_view symbol, bool high_yield);

}  // namespace vorbeld
