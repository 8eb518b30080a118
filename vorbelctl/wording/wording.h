// Small pieces of text for people: figures, counts and columns.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vorbelctl {

// 1,234,567
std::string grouped(std::uint64_t number);

// "1 message", "2,000 messages".
std::string counted(std::uint64_t number, std::string_view one);

// The text with blanks behind it, or before it, up to the width; a longer one stays as it is.
std::string padded(std::string text, std::size_t width);
std::string padded_left(const std::string& text, std::size_t width);

}  // namespace vorbelctl
