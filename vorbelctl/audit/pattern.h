// How a field is wrong where it is wrong in many messages: by the same time, by the same factor, always cut. Tells the
// likely reason of most discrepancies of a run. Looks only at what was found wrong, so a right run costs nothing.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vorbelctl {

// The way in which a value differs.
enum class Way : std::uint8_t {
  shifted,   // a time that is so many seconds ahead
  scaled,    // a number that is so many times as large
  unpadded,  // digits without the zeros before them
  cut,       // a text that ends early
  blank,     // nothing
  other
};

struct Difference {
  Way way = Way::other;
  double by = 0;  // seconds or a factor
};

// How the received text differs from the expected one, both as discrepancies show them.
Difference difference_between(std::string_view expected, std::string_view received);

// One field that was found wrong.
struct WrongField {
  std::string field;
  Difference first;
  std::uint64_t alike = 0;  // discrepancies that differ like the first one
  std::uint64_t count = 0;  // all
};

inline constexpr std::size_t most_wrong_fields = 100;

// Counts one more; beyond most_wrong_fields names nothing is kept.
void count_wrong_field(std::vector<WrongField>& fields, std::string_view field, std::string_view expected,
                       std::string_view received);

// The likely reason as a sentence: a way in which a field, or several alike, differ in nearly all of the messages that
// are wrong; empty where there is none. `messages`: those that were compared.
std::string likely_reason(const std::vector<WrongField>& fields, std::uint64_t messages);

}  // namespace vorbelctl
