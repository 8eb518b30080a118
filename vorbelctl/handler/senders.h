// Who sends the packets of the feed. A publisher keeps its address and port and its numbers only go up, so another
// sender, or numbers that fall back to contents that were different, mean that it began again, that a second publisher
// sends under the same name, or that messages came again altered. Which of these it is shows only later: by then the
// run that is followed has gone on, or it has not. Decides that from what it is told; reads no packet.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "vorbelctl/doors/sockets.h"

namespace vorbelctl {

// Silence of a publisher after which another one is believed to have taken its place: it sends something every second.
inline constexpr std::uint64_t sender_patience_ms = 2500;

// A moment less than which nothing is decided, however long the silence before: the packets that wait are looked at
// first. More than a publisher's longest pause.
inline constexpr std::uint64_t rival_patience_ms = 1100;

// A publisher's heartbeats are further apart: those of a shorter time are late ones that others have overtaken.
inline constexpr std::uint64_t overtaken_ms = 900;

// Packets that are kept aside. A rival that sends more is believed.
inline constexpr std::size_t most_packets_kept = 20000;

struct KeptPacket {
  std::string bytes;
  std::uint64_t at_ms = 0;
};

// Packets that contradict the run that is followed.
struct Rival {
  SenderId sender = 0;
  std::uint64_t first = 0;  // the number that it showed itself with
  std::uint64_t next = 0;   // one past the highest it has sent
  std::uint64_t since_ms = 0;
  std::vector<KeptPacket> packets;  // at most most_packets_kept; heartbeats are not kept
  std::uint64_t heartbeat_ms = 0;   // when its latest heartbeat came; 0: none has
};

// Times are those handed in with the packets.
struct Senders {
  SenderId followed = 0;          // 0: not known, as in all of these
  SenderId former = 0;            // was followed before; another one has gone on with the numbers since
  SenderId guest = 0;             // another one that has spoken since the one followed last did
  std::vector<SenderId> ignored;  // second senders; at most most_senders_ignored, the latest
  std::uint64_t heard_ms = 0;     // when the one followed was last heard
  std::uint64_t feed_end = 0;     // one past the highest number that the feed itself has named; 0: none
  std::optional<Rival> rival;
};

inline constexpr std::size_t most_senders_ignored = 16;

bool is_ignored(const Senders& senders, SenderId sender);

// From now on the sender's packets are left out.
void ignore(Senders& senders, SenderId sender);

// The sender, which was ignored, is given a hearing again when the one followed has fallen silent.
bool heed_again(Senders& senders, SenderId sender, std::uint64_t now_ms);

// True when a packet that begins with the number `first` belongs to the rival, of which there must be one, and not to
// the run that is followed. `contradicts`: by itself it could not be of that run.
bool is_of_rival(const Senders& senders, std::uint64_t first, SenderId sender, bool contradicts);

// True when a packet that is not of the rival ends the waiting: the run that is followed goes on, or a third one
// speaks.
bool tells_of_rival(const Senders& senders, std::uint64_t first, SenderId sender);

enum class Ruling : std::uint8_t {
  open,
  began_again,    // the rival has taken the place of the one followed
  second_sender,  // both go on
  repeats         // messages of the run itself, which came again
};

// What the rival is when nobody else has spoken up to now. `no_more`: nothing will; then it is never open.
Ruling rule_on_rival(const Senders& senders, std::uint64_t now_ms, bool no_more);

// The same once a packet of somebody else has come, which must not be of the rival.
Ruling rule_on_return(const Senders& senders, SenderId sender);

// Notes who sent a packet that goes with the run. `goes_on`: with messages that nobody has sent before. Returns the
// second sender that it gives away; 0: none.
SenderId note_sender(Senders& senders, SenderId sender, bool goes_on, std::uint64_t now_ms);

}  // namespace vorbelctl
