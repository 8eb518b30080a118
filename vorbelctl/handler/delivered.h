// What the messages were that have been delivered: enough to tell whether one that comes again says the same. Keeps
// eight bytes for each of the publisher's latest messages, and the bytes themselves of the newest ones, so that both
// sides of a contradiction can be shown. Nothing is allocated per message once the rings are full.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "vorbelctl/handler/ranges.h"

namespace vorbelctl {

// The newest messages, of which the bytes are kept; some 8 MB.
inline constexpr std::size_t most_texts_kept = 20000;

// Numbers are handed in ascending, each either as remembered or as skipped; one that was skipped may be remembered
// after all.
struct Delivered {
  std::uint64_t keeps = 400000;  // numbers below the highest of which something is known; at least 1
  std::uint64_t begin = 0;       // the lowest and one past the highest number handed in; equal: none
  std::uint64_t end = 0;
  std::vector<std::uint64_t> marks;  // by number modulo `keeps`: a hash of the bytes; 0: not known
  std::vector<std::string> texts;    // by number modulo most_texts_kept
};

void remember(Delivered& delivered, std::uint64_t sequence, std::string_view bytes);

// Numbers that were not delivered.
void skip(Delivered& delivered, const Range& range);

enum class Repeat : std::uint8_t {
  unknown,  // the number was not delivered, or too long ago
  same,
  other
};

// How the bytes compare with those that were delivered under this number.
Repeat compare_repeat(const Delivered& delivered, std::uint64_t sequence, std::string_view bytes);

// The bytes delivered under this number; empty when they are no longer kept. Valid until the next one is remembered.
std::string_view text_of(const Delivered& delivered, std::uint64_t sequence);

}  // namespace vorbelctl
