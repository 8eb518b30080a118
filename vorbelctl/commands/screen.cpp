#include "vorbelctl/commands/screen.h"

#define NCURSES_NOMACROS  // their names are those of operations elsewhere
#include <curses.h>
#include <unistd.h>

#include <cstdio>

namespace vorbelctl {

struct Screen {
  SCREEN* terminal = nullptr;
  bool colours = false;
};

namespace {

// The pairs of colours; 0 is the terminal's own.
enum Pair : short { own_pair, good_pair, notice_pair, bad_pair, warning_pair, alarm_pair };

// Whether the terminal has colours, which are then ready.
bool take_colours() {
  if (!has_colors() || start_color() == ERR || use_default_colors() == ERR) return false;
  constexpr short terminals_own = -1;
  init_pair(good_pair, COLOR_GREEN, terminals_own);
  init_pair(notice_pair, COLOR_YELLOW, terminals_own);
  init_pair(bad_pair, COLOR_RED, terminals_own);
  init_pair(warning_pair, COLOR_BLACK, COLOR_YELLOW);
  init_pair(alarm_pair, COLOR_WHITE, COLOR_RED);
  return true;
}

attr_t attributes_of(Look look) {
  switch (look) {
    case Look::title:
    case Look::bad:
    case Look::notice:
      return A_BOLD;
    case Look::heading:
      return A_UNDERLINE;
    case Look::warning:
      return A_REVERSE;
    case Look::alarm:
      return A_REVERSE | A_BOLD;
    case Look::plain:
    case Look::good:
      return A_NORMAL;
  }
  return A_NORMAL;
}

attr_t coloured_attributes_of(Look look) {
  switch (look) {
    case Look::good:
      return COLOR_PAIR(good_pair);
    case Look::notice:
      return COLOR_PAIR(notice_pair);
    case Look::bad:
      return COLOR_PAIR(bad_pair) | A_BOLD;
    case Look::warning:
      return COLOR_PAIR(warning_pair);
    case Look::alarm:
      return COLOR_PAIR(alarm_pair) | A_BOLD;
    case Look::plain:
    case Look::title:
    case Look::heading:
      return attributes_of(look);
  }
  return A_NORMAL;
}

}  // namespace

void CloseScreen::operator()(Screen* screen) const {
  endwin();
  delscreen(screen->terminal);
  delete screen;  // made in open_screen
}

ScreenOwner open_screen(bool colours) {
  if (isatty(STDIN_FILENO) != 1 || isatty(STDOUT_FILENO) != 1) return {};
  SCREEN* const terminal = newterm(nullptr, stdout, stdin);
  if (terminal == nullptr) return {};
  ScreenOwner screen(new Screen{terminal, colours && take_colours()});
  if (tigetstr("cup") == nullptr) return {};  // the cursor cannot be moved
  cbreak();
  noecho();
  nodelay(stdscr, TRUE);
  keypad(stdscr, TRUE);
  curs_set(0);
  return screen;
}

Size size_of(const Screen& /*screen*/) {
  return {static_cast<std::size_t>(getmaxx(stdscr)), static_cast<std::size_t>(getmaxy(stdscr))};
}

void draw(Screen& screen, const std::vector<ScreenLine>& lines) {
  erase();
  for (int row = 0; const auto& line : lines) {
    move(row++, 0);
    for (const Span& span : line) {
      attrset(screen.colours ? coloured_attributes_of(span.look) : attributes_of(span.look));
      addnstr(span.text.c_str(), static_cast<int>(span.text.size()));
    }
  }
  attrset(A_NORMAL);
  refresh();
}

Key next_key(Screen& /*screen*/) {
  switch (getch()) {
    case ERR:
      return Key::none;
    case 'q':
      return Key::quit;
    case KEY_UP:
      return Key::up;
    case KEY_DOWN:
      return Key::down;
    case KEY_PPAGE:
      return Key::page_up;
    case KEY_NPAGE:
      return Key::page_down;
    case KEY_HOME:
      return Key::home;
    case KEY_END:
      return Key::end;
    default:
      return Key::other;
  }
}

}  // namespace vorbelctl
