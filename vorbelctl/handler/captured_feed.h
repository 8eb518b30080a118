// A feed that was captured, whole in memory, so that it can be sent again: every packet as it was, when it was
// captured, and the messages that a receiver which recovers had in the end, to answer retransmission requests from.
// Keeps every packet and message of the file. Sends nothing and knows no clock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "vorbelctl/doors/sockets.h"
#include "vorbelctl/handler/packet.h"
#include "vorbelctl/handler/pcap_feed.h"

namespace vorbelctl {

// A datagram of the feed. Heartbeats and the end of session have no messages: `first` and `end` are the next number.
struct CapturedPacket {
  std::uint64_t at_ns = 0;  // wall clock
  SenderId sender = 0;
  std::string bytes;
  bool of_session = false;  // a packet of the session that is replayed; otherwise the numbers are 0
  std::uint64_t first = 0;
  std::uint64_t end = 0;  // one past the last number
};

// What one run of the publisher sent. A file that holds its restart holds several.
struct CapturedRun {
  std::size_t begin = 0;  // the place of its first packet
  std::map<std::uint64_t, std::string> messages;
};

struct CapturedFeed {
  std::vector<CapturedPacket> packets;  // in the order of the file
  std::vector<CapturedRun> runs;        // at least one
  PcapTotals totals;
};

// Reads the datagrams to the group and port and the answers from the retransmission port. Each number's message is the
// first that came, on the feed or in an answer; those of a second sender beside the one that is followed are none of
// the run's. Throws as read_pcap does.
CapturedFeed read_captured_feed(const std::string& path, const Addresses& addresses);

// Leaves only packets that have to do with the numbers `first` to `last`: those with such a message, heartbeats and
// ends of session behind one of them, and of all others, which have no such numbers, those in between. The runs keep
// their messages.
void keep_numbers(CapturedFeed& feed, std::uint64_t first, std::uint64_t last);

// Where a replay stands: what it has sent counts as what its publisher has sent.
struct ReplayPosition {
  std::size_t next = 0;   // the place of the packet to be sent next
  std::size_t run = 0;    // which run the last one belonged to
  std::uint64_t end = 1;  // one past the highest number that was sent or announced in that run
};

// The packet at the position has been sent.
void note_sent(ReplayPosition& position, const CapturedFeed& feed);

// Takes the bytes of an answer; they are valid during the call.
using SendAnswer = std::function<void(std::string_view bytes)>;

// Answers a datagram that came to the retransmission port as the bench does: from the messages that have been sent by
// then, as far as the file has them and no further back than a bench keeps them. Returns how many were sent. `is_one`
// becomes whether it was a request at all.
std::uint64_t answer_request(const CapturedFeed& feed, const ReplayPosition& position, std::string_view request,
                             const SendAnswer& send, bool& is_one);

}  // namespace vorbelctl
