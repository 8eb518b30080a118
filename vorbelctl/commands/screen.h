// A terminal's whole screen, while it lasts. The only place that knows of ncurses.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace vorbelctl {

// Owns the terminal; its end gives the terminal back as it was.
struct Screen;
struct CloseScreen {
  void operator()(Screen* screen) const;
};
using ScreenOwner = std::unique_ptr<Screen, CloseScreen>;

// Takes over the terminal of standard input and output; empty when it cannot be drawn on.
ScreenOwner open_screen();

std::size_t screen_width(const Screen& screen);
std::size_t screen_height(const Screen& screen);

// Shows the lines, the first of them as a title, and clears the rest.
void draw(Screen& screen, const std::vector<std::string>& lines);

// True when q was pressed since the last look. Other keys are dropped.
bool wants_to_quit(Screen& screen);

}  // namespace vorbelctl
