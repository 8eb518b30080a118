// What "watch" knows of a running bench, gathered from its statistics and its feed, and that as one line. Owns no
// terminal and no clock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "vorbelctl/commands/bond_losses.h"
#include "vorbelctl/commands/screen_text.h"
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

// All times are monotonic ms.
struct Dashboard {
  Addresses addresses;
  FieldList stats;  // the latest; empty: the control port does not answer
  Rate messages;    // by the feed
  Rate reports;     // by the statistics
  Books books;
  vorbeld::TextMap<BondLoss> losses;  // by CUSIP; of bonds that lost something in this run
  bool is_lossy = false;              // a message of this run never came
  bool has_ended = false;             // this run's end of session was announced
  std::uint64_t now_ms = 0;           // the latest look
  std::uint64_t heard_ms = 0;         // the latest packet of the session; before the first one: the first look
  std::uint64_t heard = 0;            // packets of the session by then
  std::uint64_t restarted_ms = 0;     // when the bench was last seen to begin again; 0: never
  std::uint64_t bench_seq = 0;        // by the latest statistics that came
  std::deque<Span> recent;            // the latest events, oldest first; at most `most_recent`
};

inline constexpr std::size_t most_recent = 100;

// Silence of the feed that is told: the bench sends a heartbeat a second.
inline constexpr std::uint64_t silent_after_ms = 2000;

// Takes an event of the feed: messages go into the books, and all but trades, heartbeats and the ends of
// gaps among the recent events. Where the feed begins again, so do the books.
void take_event(Dashboard& dashboard, const Event& event);

// Takes the answer of the control port, nothing where there was none. Numbers that went back are a bench that began
// again.
void take_stats(Dashboard& dashboard, const std::optional<FieldList>& stats, std::uint64_t now_ms);

// To be called regularly: how long the feed has been silent follows from it.
void look_at_clock(Dashboard& dashboard, const ReceiverTotals& totals, std::uint64_t now_ms);

// For how long nothing of the session has come.
std::uint64_t silent_ms(const Dashboard& dashboard);

// The state in one line, for an output that is not a terminal.
std::string status_line(const Dashboard& dashboard, const ReceiverTotals& totals);

// The same by name, for JSON: the event "watch" with rates, statistics (where there are any) and the receiver's totals.
FieldList list_status(const Dashboard& dashboard, const ReceiverTotals& totals);

// The bonds' CUSIPs in their own order.
std::vector<std::string> sorted_cusips(const Books& books);

}  // namespace vorbelctl
