// Unsigned integers in network byte order, as MoldUDP64 carries them.
#pragma once

#include <cstdint>

namespace vorbeld {

// Writes 2 bytes at `at`.
inline void put_u16(char* at, std::uint16_t value) {
  at[0] = static_cast<char>(value >> 8U);
  at[1] = static_cast<char>(value);
}

// Writes 8 bytes at `at`.
inline void put_u64(char* at, std::uint64_t value) {
  for (int i = 7; i >= 0; --i) {
    at[i] = static_cast<char>(value);
    value >>= 8U;
  }
}

// Reads 2 bytes at `at`.
inline std::uint16_t take_u16(const char* at) {
  return static_cast<std::uint16_t>(static_cast<unsigned char>(at[0]) << 8U | static_cast<unsigned char>(at[1]));
}

// Reads 8 bytes at `at`.
inline std::uint64_t take_u64(const char* at) {
  std::uint64_t value = 0;
  for (int i = 0; i < 8; ++i) value = value << 8U | static_cast<unsigned char>(at[i]);
  return value;
}

}  // namespace vorbeld
