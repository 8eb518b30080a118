// The client of the report port: one connection that lines go out on and answers come back on. Never blocks; whoever
// waits looks at the socket. What the lines and the answers say is left to others.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "vorbelctl/doors/sockets.h"

namespace vorbelctl {

struct ReportConnection {
  Socket socket;
  std::string unsent;  // whole lines, of the first of them maybe only the rest; grows with what is put there
  std::string unread;  // bytes of an answer that has not ended; at most `longest_answer` and what came with them
  std::string lost;    // why the connection is of no use any more; empty: it is
  std::uint64_t heard_ms = 0;  // monotonic; when something was last sent or received
};

// A bench needs a dozen bytes; whoever sends more than this is not a bench.
inline constexpr std::size_t longest_answer = 256;

// Sends what the system takes of `unsent`.
void send_lines(ReportConnection& connection, std::uint64_t now_ms);

// Receives what is there and returns the answers that are whole, without their line feeds.
std::vector<std::string> take_answers(ReportConnection& connection, std::uint64_t now_ms);

}  // namespace vorbelctl
