// Messages written out by hand, field by field, as they stand on the wire: what the decoder must read.
#pragma once

#include <string>

namespace vorbelctl::sample {

inline std::string bond() {
  return "AAPL 3.85 43  "  // symbol, 14
         "037833DT4"       // cusip, 9
         "AAPL        "    // short name, 12
         "CORP ";          // sub-product, 5
}

// 100,000 at 98.25, sold to a customer, yield 3.918575.
inline std::string terms() {
  return "A"
         "00000100000.00"  // quantity indicator, quantity
         "0098.250000"     // price
         "M"
         " "
         "S"
         " "               // remuneration, special, side, as-of
         "20240701115959"  // executed at
         "  "              // reserved
         " "
         " "               // sale conditions 3 and 4
         "20240702"        // settlement
         " 000003.918575"  // yield
         " "
         "D"
         "C"
         " ";  // second modifier, reporting party, contra party, ATS
}

// More than five million at 101.5 on a trading system, late, yield -0.125.
inline std::string capped_terms() {
  return "E"
         "5MM+          "
         "0101.500000"
         " "
         " "
         "B"
         " "
         "20240701105959"
         "  "
         "Z"
         " "
         "20240702"
         "-000000.125000"
         " "
         "T"
         "D"
         "Y";
}

inline std::string day() {
  return "0101.500000"
         " 000003.793103"  // high and its yield
         "0098.250000"
         " 000003.918575"  // low
         "0099.000000"
         " 000003.888889"  // last
         "5";              // change
}

inline std::string empty_day() {
  return "0000.000000"
         "              "
         "0000.000000"
         "              "
         "0000.000000"
         "              "
         "7";
}

inline std::string trade() {
  return "TM"
         "0000042"
         "O"
         "20240701120000" +
         bond() + "        " + terms() + "7";
}

inline std::string cancel() {
  return "TN"
         "       "
         "O"
         "20240701120001" +
         bond() +
         "20240701"
         "0000042"
         "C" +
         terms() + empty_day();
}

inline std::string correction() {
  return "TO"
         "0000043"
         "O"
         "20240701120002" +
         bond() +
         "20240701"
         "0000042"
         "N" +
         terms() + capped_terms() + day();
}

inline std::string halt() {
  return "AH"
         "       "
         "O"
         "20240701120003" +
         bond() +
         "AAPL 3.85 05/04/43            "  // description, 30
         "H"
         "20240701120003"
         "T.1 ";
}

inline std::string summary() {
  return "AE"
         "       "
         "O"
         "20240701120004" +
         bond() +
         " "
         "0101.500000"
         " 000003.793103"
         "0098.250000"
         " 000003.918575"
         "0099.000000"
         " 000003.888889";
}

inline std::string control() {
  return "CI"
         "       "
         "O"
         "20240701120000";
}

}  // namespace vorbelctl::sample
