// The client of the control port: sends a command, waits for its reply, and takes the statistics apart that the bench
// replies to "stats".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "vorbelctl/doors/sockets.h"
#include "vorbelctl/wording/fields.h"

namespace vorbelctl {

// Sends one control command and waits for its reply, without the line feed. Empty when nobody answered in time; then
// `refused` says whether the port is closed. Commands are sent once: most of them must not be repeated.
std::optional<std::string> ask_control(const Socket& socket, std::string_view command, int timeout_ms, bool& refused);

// The numbers of the text by name, in its order: seq, messages, packets, reports, capped, cancels, corrections, halts,
// retrans, sent, dropped, duplicated, reordered. Nothing when the text is anything else.
std::optional<FieldList> parse_stats(std::string_view text);

// One of these numbers; the name must be one of them.
std::uint64_t stat(const FieldList& stats, std::string_view name);

}  // namespace vorbelctl
