// A terminal's whole screen, while it lasts. The only place that knows of ncurses.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "vorbelctl/commands/screen_text.h"

namespace vorbelctl {

// Owns the terminal; its end gives the terminal back as it was.
struct Screen;
struct CloseScreen {
  void operator()(Screen* screen) const;
};
using ScreenOwner = std::unique_ptr<Screen, CloseScreen>;

// Takes over the terminal of standard input and output; empty when it cannot be drawn on. Without `colours`, looks are
// told apart by bold and reversed letters.
ScreenOwner open_screen(bool colours);

struct Size {
  std::size_t columns = 0;
  std::size_t rows = 0;
};

Size size_of(const Screen& screen);

// Shows the lines and clears the rest.
void draw(Screen& screen, const std::vector<ScreenLine>& lines);

enum class Key : std::uint8_t { none, quit, up, down, page_up, page_down, home, end, other };

// The next key that was pressed since the last look; none when there is no more.
Key next_key(Screen& screen);

}  // namespace vorbelctl
