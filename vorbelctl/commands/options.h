// What the command line asks for: one record with the addresses of the bench and a part for every command. Owns the
// help texts; a wrong command line ends here, with status 2.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "vorbelctl/commands/audit_options.h"
#include "vorbelctl/handler/sockets.h"

namespace vorbelctl {

// The exit statuses of all commands; each command's help says which it uses and for what.
enum Status : int { all_well = 0, something_amiss = 1, wrong_usage = 2, nobody_there = 3 };

struct ControlOptions {
  std::vector<std::string> words;  // the command, or "-" alone for a script on standard input
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
  std::uint64_t count = 0;  // messages; 0: no limit
  double seconds = 0;       // 0: no limit
};

struct FetchOptions {
  std::uint64_t first = 0;
  std::uint16_t count = 1;
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

struct Options {
  std::string command;  // name of the chosen one
  Addresses addresses;
  bool quiet = false;
  bool json = false;
  ControlOptions control;
  ReportOptions report;
  ListenOptions listen;
  FetchOptions fetch;
  WaitOptions wait;
  DoctorOptions doctor;
  WatchOptions watch;
  AuditOptions audit;
};

// Reads the command line into `options`. Returns a status when there is nothing to run: help or the version was printed
// (0), or the command line is wrong (2, said on standard error).
std::optional<int> read_options(int argc, const char* const* argv, Options& options);

}  // namespace vorbelctl
