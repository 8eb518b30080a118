// Network byte order, compared with bytes written out by hand.
#include "common/big_endian.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <string>

namespace vorbeld {
namespace {

TEST(BigEndian, PutsTheHighByteOfTwoFirst) {
  std::array<char, 4> bytes{'a', 'b', 'c', 'd'};
  put_u16(bytes.data() + 1, 0x81fe);
  EXPECT_EQ(std::string(bytes.data(), bytes.size()),
            "a\x81\xfe"
            "d");
}

TEST(BigEndian, PutsTheHighByteOfEightFirst) {
  std::array<char, 10> bytes{'a', 0, 0, 0, 0, 0, 0, 0, 0, 'b'};
  put_u64(bytes.data() + 1, 0x0123'4567'89ab'cdefU);
  EXPECT_EQ(std::string(bytes.data(), bytes.size()),
            "a\x01\x23\x45\x67\x89\xab\xcd\xef"
            "b");
}

TEST(BigEndian, TakesBytesAsUnsigned) {
  EXPECT_EQ(take_u16("\xff\x80"), 0xff80U);
  EXPECT_EQ(take_u16("\x00\x01"), 1U);
  EXPECT_EQ(take_u64("\xff\xfe\xfd\xfc\x80\x00\x7f\x01"), 0xfffe'fdfc'8000'7f01U);
  EXPECT_EQ(take_u64("\x00\x00\x00\x00\x00\x00\x00\x05"), 5U);
}

TEST(BigEndian, TakesBackTheLimitsOfItsTypes) {
  std::array<char, 8> bytes{};
  for (const std::uint64_t value :
       {std::uint64_t{0}, std::uint64_t{1} << 63U, std::numeric_limits<std::uint64_t>::max()}) {
    put_u64(bytes.data(), value);
    EXPECT_EQ(take_u64(bytes.data()), value);
  }
  for (const int value : {0, 0x8000, 0xffff}) {
    put_u16(bytes.data(), static_cast<std::uint16_t>(value));
    EXPECT_EQ(take_u16(bytes.data()), value);
  }
}

}  // namespace
}  // namespace vorbeld
