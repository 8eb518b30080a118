// What the values of options must be. Each kind says so in the help, and names what it refuses in plain words.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <limits>

namespace vorbelctl {

// The largest sequence number that has a next one.
inline constexpr std::uint64_t largest_sequence = std::numeric_limits<std::uint64_t>::max() - 1;

// Decimal digits and nothing else, from `least` up to `most`. Leading zeros are taken away. To be given to
// Option::transform.
CLI::Validator whole_number(std::uint64_t least, std::uint64_t most);

// A number of seconds above 0, and small enough for milliseconds to fit everywhere.
CLI::Validator positive_seconds();

// The same, or 0.
CLI::Validator seconds_or_zero();

}  // namespace vorbelctl
