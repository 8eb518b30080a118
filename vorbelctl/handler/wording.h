// Small pieces of text for people: figures, counts, columns and ranges of sequence numbers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "vorbelctl/handler/receiver.h"

namespace vorbelctl {

// 1,234,567
std::string grouped(std::uint64_t number);

// "1 message", "2,000 messages".
std::string counted(std::uint64_t number, const std::string& one);

// The text with blanks behind it, or before it, up to the width; a longer one stays as it is.
std::string padded(std::string text, std::size_t width);
std::string padded_left(const std::string& text, std::size_t width);

// "7", or "7 to 9" of several numbers.
std::string range_text(const Range& range);

// "missing: 7, 9 to 12", at most ten ranges of them; empty when there are none.
std::string missing_text(const std::vector<Range>& missing);

}  // namespace vorbelctl
