#include "vorbelctl/handler/follow.h"

#include <fmt/core.h>

#include <algorithm>
#include <cstdint>

#include "common/clocks.h"
#include "vorbelctl/wording/wording.h"

namespace vorbelctl {
namespace {

void take_one(Follower& follower, const Socket& socket, Channel channel, const Datagram& datagram,
              std::uint64_t now_ms) {
  const SenderId sender = datagram.receipt.sender;
  if (follower.capture.file) {
    const SenderId to = channel == Channel::feed ? follower.feed_address : own_address(socket);
    write_datagram(follower.capture, datagram.bytes, sender, to, datagram.receipt.at_ns);
  }
  const bool of_run = take_packet(follower.receiver, datagram.bytes, channel, now_ms, sender);
  if (of_run && follower.overhear) follower.overhear(datagram.bytes, follower.feed_empty_ms);
}

// Takes the datagrams that wait, but not for ever: under a flood the timers must run too.
void take_waiting(Follower& follower, const Socket& socket, Channel channel, std::uint64_t now_ms) {
  constexpr int most_batches = 64;
  for (int i = 0; i < most_batches; ++i) {
    const Arrival arrival = take_datagrams(socket, follower.batch, follower.taken);
    if (channel == Channel::feed) follower.feed_empty = arrival == Arrival::nothing;
    if (arrival == Arrival::nothing) {
      if (channel == Channel::feed) follower.feed_empty_ms = now_ms;
      return;
    }
    if (channel == Channel::answer) follower.requests_refused = arrival == Arrival::refused;
    for (const Datagram& datagram : follower.taken) take_one(follower, socket, channel, datagram, now_ms);
  }
}

void open_way_back(Follower& follower, const Addresses& addresses) {
  follower.requests = open_requests(addresses);
  follower.receiver.settings.most_per_request = messages_per_request(follower.requests);
}

}  // namespace

std::int64_t wall_offset_ms() {
  return static_cast<std::int64_t>(vorbeld::wall_ms()) - static_cast<std::int64_t>(vorbeld::monotonic_ms());
}

Follower follow_feed(const Addresses& addresses, ReceiverSettings settings) {
  settings.session = make_session(addresses.session);
  Follower follower;
  follower.receiver = make_receiver(settings);
  follower.feed = join_feed(addresses);
  follower.feed_buffer = granted_buffer(follower.feed);
  follower.feed_address = socket_at(addresses.group, addresses.feed_port);
  if (settings.recover) open_way_back(follower, addresses);
  return follower;
}

Follower follow_answers(const Addresses& addresses, ReceiverSettings settings, std::uint64_t first, std::uint64_t end) {
  settings.session = make_session(addresses.session);
  settings.recover = true;
  settings.first = first;
  settings.reorder_window_ms = 0;
  Follower follower;
  follower.receiver = make_receiver(settings);
  open_way_back(follower, addresses);
  expect_until(follower.receiver, end, vorbeld::monotonic_ms());
  return follower;
}

std::string second_sender_text(const Event& event) {
  const auto named = [](const std::string& sender) { return sender.empty() ? std::string("another one") : sender; };
  return fmt::format("{} sends packets of the session beside {}", named(event.text), named(event.earlier));
}

std::string own_loss_text(std::uint64_t dropped_here, std::uint64_t buffer_bytes) {
  return fmt::format("could not keep up: {} found no room in the receive buffer of {} KB",
                     counted(dropped_here, "packet"), grouped(buffer_bytes / 1024));
}

std::optional<std::string> hear_second_sender(Follower& follower, std::uint64_t until_ms) {
  while (vorbeld::monotonic_ms() < until_ms) {
    for (const Event& event : pump(follower, 50)) {
      if (event.kind == EventKind::second_sender) return second_sender_text(event);
    }
  }
  return {};
}

std::vector<Event> pump(Follower& follower, int timeout_ms) {
  constexpr int while_gaps_are_open_ms = 5;
  const bool waiting_for_timers = !follower.receiver.gaps.empty();
  wait_readable({&follower.feed, &follower.requests},
                waiting_for_timers ? std::min(timeout_ms, while_gaps_are_open_ms) : timeout_ms);
  const std::uint64_t now_ms = vorbeld::monotonic_ms();
  if (follower.feed.number >= 0) take_waiting(follower, follower.feed, Channel::feed, now_ms);
  if (follower.requests.number >= 0) take_waiting(follower, follower.requests, Channel::answer, now_ms);
  if (follower.feed.number >= 0) follower.receiver.totals.dropped_here = dropped_at(follower.feed);
  if (follower.capture.file) follower.captured_all = flush_pcap(follower.capture) && follower.captured_all;
  if (const auto request = tick(follower.receiver, now_ms)) {
    const auto bytes = request_bytes(follower.receiver.settings.session, *request);
    send_datagram(follower.requests, {bytes.data(), bytes.size()});
  }
  return take_events(follower.receiver);
}

}  // namespace vorbelctl
