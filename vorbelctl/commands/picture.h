// The screen of "watch": how the state of a bench is laid out on a terminal of any size, and how its bonds scroll.
#pragma once

#include <cstddef>
#include <vector>

#include "vorbelctl/commands/dashboard.h"
#include "vorbelctl/commands/screen.h"
#include "vorbelctl/commands/screen_text.h"

namespace vorbelctl {

struct Picture {
  std::vector<ScreenLine> lines;
  std::size_t bonds = 0;
  std::size_t first_bond = 0;   // counted from 0: the topmost one that is shown
  std::size_t bonds_shown = 0;  // from there on
};

// The whole screen as at most as many lines, none of them wider, as it has room for: title, what is wrong or halted,
// rates and counters, a line per bond, and the latest events, which stand beside the bonds where there is room. Bonds
// that are halted or lost something come first, then the CUSIPs are in order; they begin with number `first_bond`, or
// so far before it that no room is left empty. A small screen is given what matters most.
Picture screen_lines(const Dashboard& dashboard, const ReceiverTotals& totals, Size size, std::size_t first_bond);

// The first bond of the next picture after a key.
std::size_t scrolled(const Picture& picture, Key key);

}  // namespace vorbelctl
