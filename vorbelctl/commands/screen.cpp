#include "vorbelctl/commands/screen.h"

#include <curses.h>
#include <unistd.h>

#include <cstdio>

namespace vorbelctl {

struct Screen {
  SCREEN* terminal = nullptr;
};

void CloseScreen::operator()(Screen* screen) const {
  endwin();
  delscreen(screen->terminal);
  delete screen;  // made in open_screen
}

ScreenOwner open_screen() {
  if (isatty(STDIN_FILENO) != 1 || isatty(STDOUT_FILENO) != 1) return {};
  SCREEN* const terminal = newterm(nullptr, stdout, stdin);
  if (terminal == nullptr) return {};
  ScreenOwner screen(new Screen{terminal});
  cbreak();
  noecho();
  nodelay(stdscr, TRUE);
  keypad(stdscr, TRUE);
  curs_set(0);
  return screen;
}

std::size_t screen_width(const Screen& /*screen*/) {
  return static_cast<std::size_t>(getmaxx(stdscr));
}

std::size_t screen_height(const Screen& /*screen*/) {
  return static_cast<std::size_t>(getmaxy(stdscr));
}

void draw(Screen& /*screen*/, const std::vector<std::string>& lines) {
  erase();
  for (int row = 0; const auto& line : lines) {
    if (row == 0) attron(A_BOLD);
    mvaddnstr(row++, 0, line.c_str(), static_cast<int>(line.size()));
    attroff(A_BOLD);
  }
  refresh();
}

bool wants_to_quit(Screen& /*screen*/) {
  bool quit = false;
  for (int key = getch(); key != ERR; key = getch()) quit = quit || key == 'q';
  return quit;
}

}  // namespace vorbelctl
