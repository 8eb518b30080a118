#include "common/text_line.h"

#include <algorithm>
#include <bit>
#include <span>

#include "common/digits.h"
#include "common/fixed_point.h"

namespace vorbeld {
namespace {

constexpr std::size_t most_decimal_digits = powers_of_ten.size();
}  // namespace

std::size_t room_for(Decimal /*piece*/) {
  return most_decimal_digits;
}

std::size_t room_for(TradeId /*piece*/) {
  return most_decimal_digits;
}

std::size_t room_for(Escaped piece) {
  return 2 * piece.text.size();
}

char* put_piece(char* at, Decimal piece) {
  char* const end = at + digit_count(piece.number);
  put_digits(end, piece.number, static_cast<std::size_t>(end - at));
  return end;
}

char* put_piece(char* at, TradeId piece) {
  constexpr std::size_t least_digits = 7;
  const std::size_t count = std::max(least_digits, digit_count(piece.id));
  put_digits(at + count, piece.id, count);
  return at + count;
}

char* put_piece(char* at, Escaped piece) {
  for (const char character : piece.text) {
    if (character == '"' || character == '\\') *at++ = '\\';
    *at++ = character;
  }
  return at;
}

char* put_number(char* at, Fixed piece, KnownNumbers& numbers) {
  constexpr std::uint64_t spread = 0x9e37'79b9'7f4a'7c15;  // 2^64 divided by the golden ratio
  const auto bits = std::bit_cast<std::uint64_t>(piece.value);
  KnownNumbers::Known& known = numbers.known[(bits + piece.decimals) * spread >> 58U];
  if (known.bits != bits || known.decimals != piece.decimals || known.length == 0) {
    known.bits = bits;
    known.decimals = static_cast<std::uint32_t>(piece.decimals);
    const std::span<char> text(known.text.data(), fixed_characters);
    known.length = static_cast<std::uint32_t>(put_fixed(text, piece.value, 0, piece.decimals));
  }
  std::memcpy(at, known.text.data(), known.text.size());  // all of it, which is cheaper than to the length
  return at + known.length;
}

}  // namespace vorbeld
