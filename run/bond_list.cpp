#include "run/bond_list.h"

#include <vector>

#include "common/split.h"

namespace vorbeld {
namespace {

enum BondField : std::size_t { bond_cusip, bond_description, bond_symbol, bond_grade, bond_price, bond_coupon };

Bond read_bond(const std::vector<std::string_view>& fields, const CusipSet& high_yield) {
  Bond bond;
  bond.cusip = fields[bond_cusip];
  bond.description = fields[bond_description];
  bond.symbol = fields[bond_symbol];
  bond.short_name = fields[bond_description].substr(0, fields[bond_description].find(' '));  // the issuer
  bond.sub_product = "CORP";
  bond.high_yield = fields[bond_grade] == "HY" || high_yield.contains(fields[bond_cusip]);
  if (fields.size() > bond_price) bond.mid = std::stod(std::string(fields[bond_price]));
  if (fields.size() > bond_coupon) bond.coupon = std::stod(std::string(fields[bond_coupon]));
  return bond;
}

}  // namespace

CusipSet read_cusips(std::string_view text) {
  CusipSet cusips;
  std::vector<std::string_view> pieces;
  split(text, ',', pieces);
  for (const std::string_view piece : pieces) {
    if (!piece.empty()) cusips.emplace(piece);
  }
  return cusips;
}

void read_bonds(std::string_view text, const CusipSet& high_yield, Universe& universe) {
  std::vector<std::string_view> records;
  std::vector<std::string_view> fields;
  split(text, ',', records);
  for (const std::string_view record : records) {
    split(record, ':', fields);
    if (fields.size() > bond_grade) add_bond(universe, read_bond(fields, high_yield));
  }
}

}  // namespace vorbeld
