// What the command line asks for: one record with the addresses of the bench and a part for every command.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "vorbelctl/doors/addresses.h"

namespace vorbelctl {

struct ControlOptions {
  std::vector<std::string> words;  // the command, or "-" alone for a script on standard input
  std::string script;              // a file with commands; empty: there is none; "-": standard input
  bool raw = false;                // arguments are left to the bench, which takes what it cannot read as a default
  double timeout_s = 2;            // for each reply
};

struct ReportOptions {
  std::string file = "-";     // "-": standard input
  std::uint32_t window = 64;  // lines under way without an answer
  double timeout_s = 5;       // silence after which the connection counts as lost
};

struct ListenOptions {
  bool recover = false;
  std::uint64_t from = 0;  // 0: whatever comes first
  bool until_end = false;
  std::uint64_t count = 0;      // messages; 0: no limit
  double seconds = 0;           // 0: no limit
  double timeout_s = 10;        // silence after which nobody is there, or no more
  std::string format = "text";  // "text" or "json"
  std::string pcap;             // a capture of what is received; empty: none is written
};

struct FetchOptions {
  std::uint64_t first = 0;
  std::uint16_t count = 1;
  double timeout_s = 0.25;  // silence after which an answer is complete, or none comes
};

struct ReplayOptions {
  std::string file;
  double speed = 1;  // times its own pace
  bool as_fast_as_possible = false;
  bool loop = false;
  std::uint64_t from = 0;      // 0: from the first one
  std::uint64_t to = 0;        // 0: to the last one
  double linger_s = 5;         // how long requests are answered after the last packet
  double seconds = 0;          // 0: no limit
  std::string captured_group;  // where the feed was when it was captured; empty or 0: where it is sent
  std::uint16_t captured_port = 0;
  std::uint16_t captured_retrans_port = 0;
};

struct WaitOptions {
  double timeout_s = 10;
};

struct DoctorOptions {
  double seconds = 2.5;  // how long to listen; heartbeats come every second
};

struct WatchOptions {
  bool recover = false;
  double seconds = 0;    // 0: no limit
  double timeout_s = 3;  // silence after which nobody is there
};

struct AuditOptions {
  std::string truth;
  std::string tape;     // empty: none is compared
  std::string pcap;     // empty: the feed is listened to
  std::string capture;  // empty: messages are received, not read from what a handler wrote down
  bool offline = false;
  std::uint64_t from = 0;  // 0: the first message of the run, or of the pcap file
  std::uint64_t to = 0;    // 0: up to the last message that comes
  bool until_end = false;  // end with the end of session
  double seconds = 0;      // 0: no limit
  double timeout_s = 5;    // silence after which nobody is there, or no more
  std::string html;        // empty: no page is written
  bool strict = false;     // a name in a handler's recording that cannot be compared is a discrepancy
  std::string keep;        // a folder for all that the audit is about; empty: there is none

  bool situations = false;  // the text has the table of situations
  std::string require;      // names of situations that must be met, with commas between them
};

struct Options {
  std::string program = "vorbelctl";   // what to type to run it again
  std::string command;                 // name of the chosen one
  std::vector<std::string> given;      // names of the options that stood on the command line, or whose variable is set
  std::vector<std::string> variables;  // those that said where the bench is, as "NAME=value"
  Addresses addresses;
  bool quiet = false;
  bool json = false;
  ControlOptions control;
  ReportOptions report;
  ListenOptions listen;
  FetchOptions fetch;
  ReplayOptions replay;
  WaitOptions wait;
  DoctorOptions doctor;
  WatchOptions watch;
  AuditOptions audit;
};

// True when the option of that name ("--json") stood on the command line, or its variable is set.
inline bool is_given(const Options& options, std::string_view name) {
  return std::find(options.given.begin(), options.given.end(), name) != options.given.end();
}

}  // namespace vorbelctl
