#include "vorbelctl/handler/captured_feed.h"

#include <algorithm>
#include <limits>
#include <span>
#include <utility>

#include "common/big_endian.h"
#include "feed/mold_packet.h"
#include "vorbelctl/handler/receiver.h"

namespace vorbelctl {
namespace {

namespace mold = vorbeld::mold;

constexpr std::uint64_t ns_per_ms = 1'000'000;

// Waits for what is missing to the end of the file: an answer may stand anywhere in it.
ReceiverSettings settings_for_file(const Session& session) {
  ReceiverSettings settings;
  settings.session = session;
  settings.first = 1;
  settings.reorder_window_ms = std::numeric_limits<std::uint64_t>::max() / 2;
  settings.most_held = settings.most_held_bytes = std::numeric_limits<std::size_t>::max();
  return settings;
}

CapturedPacket captured_packet(std::string_view bytes, const Session& session, std::uint64_t at_ns, SenderId sender) {
  CapturedPacket captured{at_ns, sender, std::string(bytes)};
  const Packet packet = read_packet(bytes);
  if (!packet.malformed.empty() || packet.session != session) return captured;
  captured.of_session = true;
  captured.first = packet.first;
  captured.end = packet.first + packet.messages.size();
  return captured;
}

// The place of the first packet of the run that began again with this event.
std::size_t place_of_restart(const std::vector<CapturedPacket>& packets, const Event& event) {
  const auto is_first = [&](const CapturedPacket& packet) {
    return packet.at_ns / ns_per_ms == event.at_ms && sender_text(packet.sender) == event.text;
  };
  const auto found = std::find_if(packets.begin(), packets.end(), is_first);
  return static_cast<std::size_t>(found - packets.begin());
}

void keep_messages(CapturedFeed& feed, std::vector<Event> events) {
  for (Event& event : events) {
    if (event.kind == EventKind::began_again) feed.runs.push_back({place_of_restart(feed.packets, event), {}});
    if (event.kind != EventKind::message) continue;
    auto& messages = feed.runs.back().messages;
    messages.emplace_hint(messages.end(), event.first, std::move(event.text));
  }
}

bool has_numbers_of(const CapturedPacket& packet, std::uint64_t first, std::uint64_t last) {
  if (!packet.of_session) return false;
  if (packet.first == packet.end) return packet.first > first && packet.first - 1 <= last;
  return packet.first <= last && packet.end > first;
}

// Messages that lie side by side, from the one at `at` on, as far as one packet holds them.
std::span<const char> fill_packet(vorbeld::MoldPacket& packet, const Session& session,
                                  std::map<std::uint64_t, std::string>::const_iterator& at,
                                  std::map<std::uint64_t, std::string>::const_iterator end) {
  vorbeld::start_packet(packet, at->first);
  std::string block;
  for (std::uint64_t next = at->first; at != end && at->first == next; ++at, ++next) {
    const std::string& message = at->second;
    if (!vorbeld::has_room(packet, mold::block_prefix + message.size())) break;
    block.assign(mold::block_prefix, '\0');
    vorbeld::put_u16(block.data(), static_cast<std::uint16_t>(message.size()));
    block += message;
    vorbeld::add_blocks(packet, block, 1);
  }
  return vorbeld::finish_packet(packet, session);
}

}  // namespace

CapturedFeed read_captured_feed(const std::string& path, const Addresses& addresses) {
  CapturedFeed feed;
  feed.runs.resize(1);
  const Session session = make_session(addresses.session);
  Receiver receiver = make_receiver(settings_for_file(session));
  std::uint64_t captured_ms = 0;
  feed.totals =
      read_pcap(path, addresses, [&](std::string_view bytes, Channel channel, std::uint64_t at_ns, SenderId sender) {
        captured_ms = at_ns / ns_per_ms;
        if (channel == Channel::feed) {
          feed.packets.push_back(captured_packet(bytes, session, at_ns, sender));
        }
        take_packet(receiver, bytes, channel, captured_ms, sender);
        tick(receiver, captured_ms);
        keep_messages(feed, take_events(receiver));
      });
  finish(receiver, captured_ms);
  keep_messages(feed, take_events(receiver));
  return feed;
}

void keep_numbers(CapturedFeed& feed, std::uint64_t first, std::uint64_t last) {
  auto& packets = feed.packets;
  const auto of_range = [&](const CapturedPacket& packet) { return has_numbers_of(packet, first, last); };
  const auto begin = std::find_if(packets.begin(), packets.end(), of_range);
  const auto end = std::find_if(packets.rbegin(), packets.rend(), of_range).base();
  std::vector<CapturedPacket> kept;
  std::size_t run = 1;
  for (auto packet = packets.begin(); packet != packets.end(); ++packet) {
    const auto place = static_cast<std::size_t>(packet - packets.begin());
    while (run < feed.runs.size() && feed.runs[run].begin == place) feed.runs[run++].begin = kept.size();
    const bool in_between = packet >= begin && packet < end && !packet->of_session;
    if (in_between || of_range(*packet)) kept.push_back(std::move(*packet));
  }
  packets = std::move(kept);
}

void note_sent(ReplayPosition& position, const CapturedFeed& feed) {
  while (position.run + 1 < feed.runs.size() && feed.runs[position.run + 1].begin <= position.next) {
    ++position.run;
    position.end = 1;
  }
  const CapturedPacket& sent = feed.packets[position.next++];
  if (sent.of_session) position.end = std::max(position.end, sent.end);
}

std::uint64_t answer_request(const CapturedFeed& feed, const ReplayPosition& position, std::string_view request,
                             const SendAnswer& send, bool& is_one) {
  constexpr std::uint64_t most_kept = 400000;  // by a bench
  is_one = request.size() >= mold::header_length;
  if (!is_one) return 0;
  Session session{};
  std::copy_n(request.data() + mold::session_at, mold::session_length, session.begin());
  const std::uint64_t wanted = vorbeld::take_u64(request.data() + mold::sequence_at);
  const std::uint64_t count = vorbeld::take_u16(request.data() + mold::count_at);
  const std::uint64_t oldest = position.end > most_kept ? position.end - most_kept : 1;
  const std::uint64_t first = std::max(wanted, oldest);
  const std::uint64_t end = std::min(wanted + count, position.end);  // wraps as a bench's sum does
  if (first >= end) return 0;
  const auto& messages = feed.runs[position.run].messages;
  const auto stop = messages.lower_bound(end);
  vorbeld::MoldPacket packet;
  std::uint64_t answered = 0;
  for (auto at = messages.lower_bound(first); at != stop;) {
    const std::span<const char> bytes = fill_packet(packet, session, at, stop);
    if (packet.message_count == 0) {
      ++at;  // too long for any packet
      continue;
    }
    send({bytes.data(), bytes.size()});
    answered += packet.message_count;
  }
  return answered;
}

}  // namespace vorbelctl
