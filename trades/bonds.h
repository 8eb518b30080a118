// The bonds of the run: what the messages call a bond, what the generator makes of it, its book of the day; their
// order, and the look-up by CUSIP.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "btds/fields.h"
#include "btds/price_change.h"
#include "common/containers.h"
#include "common/text.h"

namespace vorbeld {

// A print as it is ranked. Ids are kept in 32 bits: memory for more trades than that would be close to a terabyte.
template <class Rank>
struct RankedPrint {
  Rank rank;  // a copy of what the record says: looking there would miss the cache at every comparison
  std::uint32_t id;
};

// Prints of which the best under some order is at hand. Cancelled ones linger until they come up.
template <class Rank>
struct RankedPrints {
  Growing<RankedPrint<Rank>> rising;  // each no worse than the one before it, as when trades come in time order
  Growing<RankedPrint<Rank>> heap;    // the others
};

// The live prints of a bond, those that a replay of the day would count, arranged so that the next best high, low and
// last are at hand when a print is cancelled.
struct LivePrints {
  std::uint32_t first = 0;       // oldest live print; 0: none. The others follow by TradeRecord::next_print.
  std::uint32_t newest = 0;      // newest print, live or not; 0: none
  RankedPrints<double> by_high;  // by price; prints at a NaN price stand in by_last only
  RankedPrints<double> by_low;
  RankedPrints<std::uint64_t> by_last;  // by execution time
};

struct Bond {
  std::string cusip;  // key of the book; of two bonds with one CUSIP, the first is the one that is found
  std::string symbol;
  std::string short_name;
  std::string description;
  std::string sub_product;
  bool high_yield = false;  // selects the cap
  double mid = 100.0;       // mid price, percent of par; the generator's random walk moves it
  double coupon = 5.0;      // percent
  bool halted = false;      // a halted bond generates no trades

  DayPrices prices;
  std::uint64_t last_exec_s = 0;  // execution time, UTC seconds, of the trade that set the last price
  std::uint64_t prints = 0;       // live last-sale-eligible trades
  LivePrints live;
};

// The names as messages carry them; they live as long as the bond is unchanged.
inline BondNames names_of(const Bond& bond) {
  return {bond.symbol, bond.cusip, bond.short_name, bond.sub_product, bond.description};
}

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
