// Lines of text put together from pieces: `append(line, "{\"seq\":", Decimal{sequence}, ...)`. Room is made once for
// all pieces of a call, then each writes itself behind the one before; the JSON lines of a trade consist of some sixty.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

namespace vorbeld {

// An unsigned number in decimal.
struct Decimal {
  std::uint64_t number;
};

// A trade id as "%07llu": at least seven digits, more where the id has more.
struct TradeId {
  std::uint64_t id;
};

// "%.*f" of a value with 0 to 6 decimals, cut to the 31 characters that a 32-byte buffer keeps. NaN and infinities come
// out as the C library prints them, so such a line is not strict JSON.
struct Fixed {
  double value;
  std::size_t decimals;
};
inline constexpr std::size_t fixed_characters = 31;

// A text with a backslash before every double quote and backslash; all other bytes, control characters too, unchanged.
struct Escaped {
  std::string_view text;
};

// The most bytes that a piece may take. A literal's length is known when compiling, which makes it cheap.
template <std::size_t Size>
std::size_t room_for(const char (&/*literal*/)[Size]) {
  return Size - 1;
}
inline std::size_t room_for(char /*piece*/) {
  return 1;
}
inline std::size_t room_for(std::string_view piece) {
  return piece.size();
}
std::size_t room_for(Decimal piece);
std::size_t room_for(TradeId piece);
inline std::size_t room_for(Fixed /*piece*/) {
  return fixed_characters;
}
std::size_t room_for(Escaped piece);

// Writes a piece at `at`, where there is room for it, and returns the place behind it.
template <std::size_t Size>
char* put_piece(char* at, const char (&literal)[Size]) {
  std::memcpy(at, literal, Size - 1);
  return at + Size - 1;
}
inline char* put_piece(char* at, char piece) {
  *at = piece;
  return at + 1;
}
inline char* put_piece(char* at, std::string_view piece) {
  if (!piece.empty()) std::memcpy(at, piece.data(), piece.size());  // an empty view may be null
  return at + piece.size();
}
char* put_piece(char* at, Decimal piece);
char* put_piece(char* at, TradeId piece);
char* put_piece(char* at, Escaped piece);
char* put_piece(char* at, Fixed piece);

// A line under construction. The room that it has gained is kept from line to line, so it is made out once.
struct TextLine {
  std::vector<char> room;
  std::size_t size = 0;  // bytes of it that are the line
};

inline std::string_view text(const TextLine& line) {
  return {line.room.data(), line.size};
}

inline void clear(TextLine& line) {
  line.size = 0;
}

// Appends the pieces in their order. Views of the line's text end with it.
template <class... Pieces>
void append(TextLine& line, const Pieces&... pieces) {
  const std::size_t most = line.size + (room_for(pieces) + ...);
  if (line.room.size() < most) line.room.resize(2 * most);
  char* at = line.room.data() + line.size;
  ((at = put_piece(at, pieces)), ...);
  line.size = static_cast<std::size_t>(at - line.room.data());
}

}  // namespace vorbeld
