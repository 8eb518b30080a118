#include "trades/bonds.h"

#include <cstddef>
#include <utility>

namespace vorbeld {

Bond& add_bond(Universe& universe, Bond bond) {
  universe.by_cusip.try_emplace(bond.cusip, static_cast<std::uint32_t>(universe.bonds.size()));
  return universe.bonds.emplace_back(std::move(bond));
}

std::optional<std::uint32_t> find_position(const Universe& universe, std::string_view cusip) {
  const auto found = universe.by_cusip.find(cusip);
  if (found == universe.by_cusip.end()) return std::nullopt;
  return found->second;
}

Bond* find_bond(Universe& universe, std::string_view cusip) {
  const auto position = find_position(universe, cusip);
  return position ? &universe.bonds[*position] : nullptr;
}

std::uint32_t find_or_add_bond(Universe& universe, std::string_view cusip, std::string_view symbol, bool high_yield) {
  if (const auto position = find_position(universe, cusip)) return *position;
  constexpr std::size_t short_name_length = 12;
  Bond bond;
  bond.cusip = cusip;
  bond.symbol = symbol;
  bond.short_name = symbol.substr(0, short_name_length);
  bond.description = symbol;
  bond.sub_product = "CORP";
  bond.high_yield = high_yield;
  add_bond(universe, std::move(bond));
  return static_cast<std::uint32_t>(universe.bonds.size() - 1);
}

}  // namespace vorbeld
