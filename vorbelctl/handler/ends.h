// What ends the following of a feed: how long, how far and how patiently somebody wants to follow is asked for once,
// and looked at in one place. Ctrl-C and SIGTERM are one of the ends, so that totals are printed and the terminal is
// given back.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "vorbelctl/handler/receiver.h"

namespace vorbelctl {

enum class End : std::uint8_t {
  none,  // it goes on
  interrupt,
  messages,        // as many as were asked for have been delivered
  number,          // every number up to the last one that is wanted is settled
  end_of_session,  // it was announced, and every number before it is settled
  time,
  silence,
  began_again  // the feed did; only where one run is followed
};

// "interrupt", "count", "number", "end of session", "time", "silence" or "began again"; nothing where it goes on.
std::string_view end_name(End end);

// The ends that are asked for. An interrupt is one always.
struct Ends {
  double seconds = 0;           // 0: no limit
  std::uint64_t messages = 0;   // delivered ones; 0: no limit
  bool end_of_session = false;  // false: whoever follows stays on behind it
  double silence_s = 0;         // 0: silence may last
  std::uint64_t from = 0;       // a message with this number or a higher one is to come; 0: none need
  std::uint64_t to = 0;         // the last number that is wanted; 0: there is none
  bool one_run = false;         // false: whoever follows goes on with the next run
};

// How it has gone so far. Times are monotonic ms.
struct Progress {
  std::uint64_t begun_ms = 0;
  std::uint64_t heard_ms = 0;  // when the bench last gave a sign; 0: not yet
  std::uint64_t packets = 0;   // of the session, when the receiver was last looked at
};

// Takes what the receiver got since the last look as a sign of the bench. Other signs may be noted in `heard_ms`.
void note_packets(Progress& progress, const Receiver& receiver, std::uint64_t now_ms);

// The first of the ends, in the order of the kinds, that has come. Without a sign, silence counts from the beginning.
End end_of(const Ends& ends, const Progress& progress, const Receiver& receiver, std::uint64_t now_ms);

// What was asked for and did not come, with how far the feed came and how long it was silent then; empty: everything
// did. To be asked when the end has come.
std::string what_did_not_come(const Ends& ends, const Progress& progress, const Receiver& receiver,
                              std::uint64_t now_ms);

// From now on SIGINT and SIGTERM only set a flag; a second one ends the process as usual.
void catch_interrupts();

// True once one of them has come.
bool interrupted();

}  // namespace vorbelctl
