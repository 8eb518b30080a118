#include "common/split.h"

#include <bit>
#include <cstdint>
#include <cstring>

namespace vorbeld {
namespace {

constexpr std::size_t word_bytes = sizeof(std::uint64_t);
constexpr std::uint64_t every_byte = 0x0101'0101'0101'0101;

// The top bit of each byte of `word` that equals `wanted`, and no other bit.
std::uint64_t equal_bytes(std::uint64_t word, char wanted) {
  constexpr std::uint64_t low_bits = every_byte * 0x7f;
  const std::uint64_t unlike = word ^ every_byte * static_cast<unsigned char>(wanted);
  return ~(((unlike & low_bits) + low_bits) | unlike | low_bits);
}

}  // namespace

// Eight bytes at a time: the pieces of a report are so short that a search for the end of each costs more than to read
// it.
void split(std::string_view text, char separator, std::vector<std::string_view>& pieces) {
  static_assert(std::endian::native == std::endian::little, "the first byte of a word is its lowest");
  pieces.clear();
  std::size_t begin = 0;
  const auto end_piece = [&](std::size_t end) {
    pieces.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  };
  std::size_t at = 0;
  for (; at + word_bytes <= text.size(); at += word_bytes) {
    std::uint64_t word;
    std::memcpy(&word, text.data() + at, word_bytes);
    for (std::uint64_t found = equal_bytes(word, separator); found != 0; found &= found - 1) {
      end_piece(at + static_cast<std::size_t>(std::countr_zero(found)) / 8);
    }
  }
  for (; at < text.size(); ++at) {
    if (text[at] == separator) end_piece(at);
  }
  end_piece(text.size());
}

}  // namespace vorbeld
