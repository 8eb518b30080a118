// Text for a terminal's whole screen: lines made of pieces that have a meaning, and how they are fitted into a width.
// What a meaning looks like is left to the screen. All texts are ASCII, so that a byte is a column.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vorbelctl {

enum class Look : std::uint8_t {
  plain,
  title,
  heading,
  good,
  notice,   // worth a look: a halt, a message that had to be recovered
  bad,      // lost, or wrong
  warning,  // as `notice` and `bad`, but to be seen from afar: the ground is coloured
  alarm
};

struct Span {
  std::string text;
  Look look = Look::plain;
};

using ScreenLine = std::vector<Span>;

// Without its looks.
std::string text_of(const ScreenLine& line);

std::size_t width_of(const ScreenLine& line);

// Without what reaches over the width.
ScreenLine clipped(const ScreenLine& line, std::size_t width);

// The line with blanks in `look` behind it, up to the width. A longer one stays as it is.
ScreenLine filled(ScreenLine line, std::size_t width, Look look);

// The pieces behind `label`, two blanks between them, on as many lines as the width asks for; those behind the first
// one begin below its first piece. A piece that is wider than a line has one of its own and reaches over it.
std::vector<ScreenLine> flowed(const Span& label, const std::vector<Span>& pieces, std::size_t width);

// A line of columns fitted into the width: as it is, else with one blank wherever there are several, else broken
// between words, what follows set in by two. A word that is longer than a line is broken too.
std::vector<std::string> fitted(std::string_view text, std::size_t width);

}  // namespace vorbelctl
