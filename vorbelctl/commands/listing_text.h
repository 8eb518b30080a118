// Events of the feed as aligned lines for people. Everybody who shows a feed shows it by these.
#pragma once

#include <string>
#include <vector>

#include "vorbelctl/handler/message.h"
#include "vorbelctl/handler/ranges.h"
#include "vorbelctl/handler/receiver.h"

namespace vorbelctl {

// The event in one line, or several with a hex dump for what cannot be read; each closed by a line feed. Columns:
// sequence number, what it is, and the rest. `colours` puts terminal colours around the line.
std::string event_text(const Event& event, bool colours);

// The same for a message that has been decoded.
std::string message_text(const Event& event, const Decoded& decoded, bool colours);

// The totals in a line, and in a second one the ranges that are missing, at most ten of them.
std::string totals_text(const ReceiverTotals& totals, const std::vector<Range>& missing);

// What is wrong by the totals, in a few words: "1 message missing, 2 messages altered"; empty: nothing.
std::string trouble_text(const ReceiverTotals& totals);

// True when standard output is a terminal that wants colours: NO_COLOR is not set, and TERM is set and not "dumb".
bool wants_colours();

}  // namespace vorbelctl
