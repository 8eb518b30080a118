// The options of an audit, and how they may be combined.
#pragma once

#include <cstdint>
#include <string>

namespace CLI {
class App;
}

namespace vorbelctl {

struct AuditOptions {
  std::string truth;
  std::string tape;     // empty: none is compared
  std::string pcap;     // empty: the feed is listened to
  std::string capture;  // empty: messages are heard, not read from what a handler wrote down
  bool offline = false;
  std::uint64_t from = 0;  // 0: the first message of the run, or of the pcap file
  bool until_end = false;  // end with the end of session
  double seconds = 0;      // 0: no limit
  double timeout_s = 5;    // silence after which nobody is there, or no more
  std::string html;        // empty: no page is written
};

// Adds the options to the command.
void add_audit(CLI::App& app, AuditOptions& options);

// What stands below them in the help: an example and the exit statuses.
inline constexpr const char* audit_footer =
    "Everything is judged up to the last message seen; messages from before the feed was joined are fetched.\n"
    "Without --seconds or --until-end the audit goes on until Ctrl-C, or until the feed falls silent.\n"
    "\nExample:\n"
    "  vorbelctl audit --truth truth.jsonl --tape tape.jsonl --seconds 20 --html report.html\n"
    "\nExit status: 0 equal; 1 differences or losses; 2 wrong usage; 3 no feed";

}  // namespace vorbelctl
