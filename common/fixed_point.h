// Fixed-point text of doubles, byte for byte what printf's %f gives: most of the formatting work of a trade.
#pragma once

#include <cstddef>
#include <span>

namespace vorbeld {

// Writes the text of printf's "%0*.*f" with `width` and `decimals` (0 to 6) for `value`: rounded half to even
// on the exact binary value, zero-padded to `width` (0: not padded), NaN and infinities as the C library spells them. A
// text longer than `out` is cut at its end; nothing behind a shorter text is touched, and no terminating zero is
// written. Returns the number of bytes written.
std::size_t put_fixed(std::span<char> out, double value, std::size_t width, std::size_t decimals);

}  // namespace vorbeld
