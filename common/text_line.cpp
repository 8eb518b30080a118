#include "common/text_line.h"

#include <algorithm>

#include "common/numbers.h"

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

char* put_piece(char* at, Fixed piece) {
  return at + put_fixed({at, fixed_characters}, piece.value, 0, piece.decimals);
}

}  // namespace vorbeld
