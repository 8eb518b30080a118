// What "watch" shows, as text: the state of a running bench, gathered from its statistics and its feed, and the lines
// of a screen made of it. Owns no terminal and no clock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "vorbelctl/doors/sockets.h"
#include "vorbelctl/handler/book.h"
#include "vorbelctl/handler/receiver.h"

namespace vorbelctl {

// Changes a second, from two looks at a counter.
struct Rate {
  std::uint64_t count = 0;
  std::uint64_t at_ms = 0;  // 0: not looked at yet
  double per_second = 0;
};

// Takes a look; a counter that went back (a bench that was started anew) counts from zero.
void update_rate(Rate& rate, std::uint64_t count, std::uint64_t now_ms);

struct Dashboard {
  Addresses addresses;
  FieldList stats;  // the latest; empty: the control port does not answer
  Rate messages;    // by the feed
  Rate reports;     // by the statistics
  Books books;
  std::deque<std::string> recent;  // the latest events, oldest first; at most `most_recent`
};

inline constexpr std::size_t most_recent = 100;

// Takes an event of the feed: messages go into the books, and all but trades, heartbeats and the ends of
// gaps among the recent events. Where the feed begins again, so do the books.
void take_event(Dashboard& dashboard, const Event& event);

// The whole screen as at most `height` lines of at most `width` characters: title, rates, faults, a line per bond in
// the order of CUSIPs, and with what room is left the latest events. A few of these are shown even where the bonds need
// more room than there is; the bonds that are left out are counted.
std::vector<std::string> screen_lines(const Dashboard& dashboard, const ReceiverTotals& totals, std::size_t width,
                                      std::size_t height);

// The state in one line, for an output that is not a terminal.
std::string status_line(const Dashboard& dashboard, const ReceiverTotals& totals);

// The same by name, for JSON: the event "watch" with rates, statistics (where there are any) and the receiver's totals.
FieldList list_status(const Dashboard& dashboard, const ReceiverTotals& totals);

// The bonds' CUSIPs in the order in which they are shown.
std::vector<std::string> sorted_cusips(const Books& books);

}  // namespace vorbelctl
