// The commands of vorbelctl. Each runs to its end, prints its results on standard output and what went wrong on
// standard error, and returns one of the statuses. Throws DoorError when the bench cannot be reached and
// std::invalid_argument for a file or an address that does not read.
#pragma once

#include <cstdint>

#include "vorbelctl/commands/options.h"

namespace vorbelctl {

// The exit statuses of all commands; each command's help says which it uses and for what.
enum Status : std::uint8_t {
  all_well = 0,         // what was asked for happened, and nothing is wrong
  something_amiss = 1,  // discrepancies, losses, refused or unknown commands, problems found
  wrong_usage = 2,      // the command line, or an input file that cannot be read or is not what it should be
  nobody_there = 3,     // nothing came, or what was asked for did not come in time
  own_error = 4,        // an error of vorbelctl itself
  began_again = 5,      // the feed began again while it was followed: a restarted bench
  unwritten = 6,        // an output could not be written; whatever else was found has been said
  too_slow = 7,         // packets found no room in our own receive buffer, so what was lost says nothing of the feed
  unmet = 8             // a run did not put its receiver through the situations that were required of it
};

// Sends one control command, or a script of them, and prints the replies.
int run_control(const Options& options);

// Sends every report of a file or of standard input and counts the answers.
int run_report(const Options& options);

// Follows the feed and prints what comes, until its limits are reached or a signal comes.
int run_listen(const Options& options);

// Sends a captured feed again and answers retransmission requests for its messages.
int run_replay(const Options& options);

// Sends one retransmission request and prints what comes of it.
int run_fetch(const Options& options);

// Waits until the bench answers.
int run_wait(const Options& options);

// Compares everything that the feed says with what the bench wrote down.
int run_audit(const Options& options);

// Looks for what can stand between the bench and its receiver.
int run_doctor(const Options& options);

// Shows the state of the bench until q, a signal or the time given.
int run_watch(const Options& options);

}  // namespace vorbelctl
