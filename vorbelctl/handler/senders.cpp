#include "vorbelctl/handler/senders.h"

#include <algorithm>
#include <utility>

namespace vorbelctl {

bool is_ignored(const Senders& senders, SenderId sender) {
  return std::find(senders.ignored.begin(), senders.ignored.end(), sender) != senders.ignored.end();
}

void ignore(Senders& senders, SenderId sender) {
  if (senders.ignored.size() >= most_senders_ignored) senders.ignored.erase(senders.ignored.begin());
  senders.ignored.push_back(sender);
  if (senders.former == sender) senders.former = 0;
  if (senders.guest == sender) senders.guest = 0;
}

bool heed_again(Senders& senders, SenderId sender, std::uint64_t now_ms) {
  if (now_ms < senders.heard_ms + sender_patience_ms) return false;
  std::erase(senders.ignored, sender);
  return true;
}

bool is_of_rival(const Senders& senders, std::uint64_t first, SenderId sender, bool contradicts) {
  const Rival& rival = *senders.rival;
  if (sender != rival.sender) return false;
  if (sender != senders.followed) return true;
  if (first < senders.feed_end) return contradicts;
  // From one sender, a number that nobody has sent before goes on with the rival's only where its numbers lead there.
  constexpr std::size_t enough_packets = 3;
  const bool from_the_start = rival.first == 1 && rival.packets.size() >= enough_packets;
  return first == rival.next && (first > senders.feed_end || from_the_start);
}

bool tells_of_rival(const Senders& senders, std::uint64_t first, SenderId sender) {
  const bool from_the_rivals_sender = sender == senders.followed && sender == senders.rival->sender;
  return !from_the_rivals_sender || first >= senders.feed_end;  // what is late or repeated tells nothing
}

Ruling rule_on_rival(const Senders& senders, std::uint64_t now_ms, bool no_more) {
  const Rival& rival = *senders.rival;
  const std::uint64_t silent_ms = now_ms - std::min(now_ms, senders.heard_ms);
  const bool is_full = rival.packets.size() >= most_packets_kept;
  const bool waited = silent_ms >= sender_patience_ms && now_ms >= rival.since_ms + rival_patience_ms;
  const bool overtaken = rival.packets.empty() && rival.heartbeat_ms < rival.since_ms + overtaken_ms;
  if (waited && overtaken && rival.sender == senders.followed) return Ruling::repeats;
  if (waited || is_full) return Ruling::began_again;
  if (!no_more) return Ruling::open;
  if (rival.sender == senders.followed) return Ruling::repeats;
  return silent_ms >= rival_patience_ms ? Ruling::began_again : Ruling::second_sender;
}

Ruling rule_on_return(const Senders& senders, SenderId sender) {
  const bool both_go_on = sender == senders.followed && senders.rival->sender != senders.followed;
  return both_go_on ? Ruling::second_sender : Ruling::repeats;
}

SenderId note_sender(Senders& senders, SenderId sender, bool goes_on, std::uint64_t now_ms) {
  if (senders.followed == 0) senders.followed = sender;
  if (sender == senders.followed) {
    senders.heard_ms = now_ms;
    return std::exchange(senders.guest, 0);
  }
  if (sender == senders.former) return sender;
  if (!goes_on) {
    senders.guest = sender;
    return 0;
  }
  senders.former = std::exchange(senders.followed, sender);
  senders.guest = 0;
  senders.heard_ms = now_ms;
  return 0;
}

}  // namespace vorbelctl
