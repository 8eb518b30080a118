#include <fmt/core.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <optional>
#include <string>

#include "vorbelctl/commands/command_table.h"
#include "vorbelctl/commands/commands.h"
#include "vorbelctl/commands/ending.h"
#include "vorbelctl/handler/captured_feed.h"
#include "vorbelctl/handler/ends.h"
#include "vorbelctl/wording/fields.h"
#include "vorbelctl/wording/wording.h"

namespace vorbelctl {
namespace {

using Clock = std::chrono::steady_clock;
using Nanoseconds = std::chrono::nanoseconds;

struct ReplayTotals {
  std::uint64_t packets = 0;
  std::uint64_t messages = 0;  // in them
  std::uint64_t turns = 0;     // whole ones
  std::uint64_t requests = 0;
  std::uint64_t answered = 0;  // messages
  Nanoseconds behind{0};       // by how much the latest packet was late
};

// A replay under way. `until`: when it is to end whatever is left; nothing: it has no such limit.
struct Replay {
  const CapturedFeed& feed;
  Socket answers{};  // -1: requests are not answered
  ReplayPosition position{};
  ReplayTotals totals{};
  std::optional<Clock::time_point> until{};
  std::string buffer{};
};

double seconds_of(Nanoseconds time) {
  return std::chrono::duration<double>(time).count();
}

Nanoseconds nanoseconds_of(double seconds) {
  return std::chrono::duration_cast<Nanoseconds>(std::chrono::duration<double>(seconds));
}

bool is_over(const Replay& replay) {
  return interrupted() || (replay.until && Clock::now() >= *replay.until);
}

// Answers the requests that wait, but not for ever: under a flood the feed must go on too.
void serve_requests(Replay& replay) {
  constexpr int most_at_once = 256;
  for (int i = 0; replay.answers.number >= 0 && i < most_at_once; ++i) {
    Receipt receipt;
    const Arrival arrival = take_datagram(replay.answers, replay.buffer, receipt);
    if (arrival == Arrival::nothing) return;
    if (arrival != Arrival::datagram) continue;
    const auto send = [&](std::string_view bytes) { answer_datagram(replay.answers, receipt.sender, bytes); };
    bool is_request = false;
    replay.totals.answered += answer_request(replay.feed, replay.position, replay.buffer, send, is_request);
    if (is_request) ++replay.totals.requests;
  }
}

// Serves requests until the moment has come. Looks up now and then, since a signal may come just before a wait.
void serve_until(Replay& replay, Clock::time_point moment) {
  constexpr Nanoseconds longest_wait = std::chrono::milliseconds(100);
  for (;;) {
    serve_requests(replay);
    const Nanoseconds left = moment - Clock::now();
    if (left <= Nanoseconds(0) || is_over(replay)) return;
    wait_readable_for({&replay.answers}, std::min(left, longest_wait));
  }
}

// When each packet is due. Every moment counts from the beginning, so that what one packet loses the next does not.
struct Pace {
  double speed = 1;  // 0: as fast as possible
  Clock::time_point begun;
  std::uint64_t begun_ns = 0;  // of the capture
};

Clock::time_point due_time(const Pace& pace, const CapturedPacket& packet) {
  const auto after_ns = static_cast<double>(static_cast<std::int64_t>(packet.at_ns - pace.begun_ns));
  return pace.begun + Nanoseconds(std::llround(after_ns / pace.speed));
}

void send_next(Replay& replay, const Socket& feed) {
  const CapturedPacket& packet = replay.feed.packets[replay.position.next];
  send_whole(feed, packet.bytes);
  note_sent(replay.position, replay.feed);
  ++replay.totals.packets;
  replay.totals.messages += packet.end - packet.first;
}

// Sends the feed once, from a port of its own as a bench that was started anew would.
void send_feed(const Options& options, Replay& replay) {
  constexpr std::uint64_t packets_between_looks = 16;
  constexpr std::uint8_t hops = 1;
  const Socket feed = open_feed_sender(options.addresses, hops);
  const auto& packets = replay.feed.packets;
  replay.position = {};
  const Pace pace{options.replay.as_fast_as_possible ? 0 : options.replay.speed, Clock::now(), packets.front().at_ns};
  while (replay.position.next < packets.size() && !is_over(replay)) {
    if (pace.speed == 0) {
      if (replay.position.next % packets_between_looks == 0) serve_requests(replay);
    } else {
      const auto due = due_time(pace, packets[replay.position.next]);
      serve_until(replay, due);
      if (is_over(replay)) return;
      replay.totals.behind = std::max<Nanoseconds>(replay.totals.behind, Clock::now() - due);
    }
    send_next(replay, feed);
  }
}

bool is_sent(const Replay& replay) {
  return replay.position.next == replay.feed.packets.size();
}

void print_replay_totals(const Options& options, const ReplayTotals& totals, Nanoseconds took) {
  const double behind_ms = seconds_of(totals.behind) * 1000;
  const bool paced = !options.replay.as_fast_as_possible;
  if (options.json) {
    std::cout << json_line({{"event", std::string("totals")},
                            {"packets", totals.packets},
                            {"messages", totals.messages},
                            {"turns", totals.turns},
                            {"seconds", Number{seconds_of(took), 3}},
                            {"behind_ms", paced ? Value(Number{behind_ms, 3}) : Value()},
                            {"requests", totals.requests},
                            {"answered", totals.answered}})
              << std::endl;
    return;
  }
  std::cout << fmt::format("{} with {} sent in {:.3f} s{}{}; {} answered with {}\n", counted(totals.packets, "packet"),
                           counted(totals.messages, "message"), seconds_of(took),
                           paced ? fmt::format(", at most {:.1f} ms behind", behind_ms) : "",
                           options.replay.loop ? ", " + counted(totals.turns, "whole turn") : "",
                           counted(totals.requests, "request"), counted(totals.answered, "message"));
}

// The datagrams of the file that are to be sent; what they are named after where there are none stands in `lack`.
CapturedFeed read_feed(const Options& options, std::string& lack) {
  const ReplayOptions& wanted = options.replay;
  Addresses captured = options.addresses;
  if (!wanted.captured_group.empty()) captured.group = wanted.captured_group;
  if (wanted.captured_port != 0) captured.feed_port = wanted.captured_port;
  if (wanted.captured_retrans_port != 0) captured.retrans_port = wanted.captured_retrans_port;
  CapturedFeed feed = read_captured_feed(wanted.file, captured);
  const auto of_session = [](const CapturedPacket& packet) { return packet.of_session; };
  if (std::none_of(feed.packets.begin(), feed.packets.end(), of_session)) {
    lack = fmt::format(
        "no packet of the session {} to {} among the {} of {}; see --captured-mcast, --captured-port and --session",
        captured.session.substr(0, 10), endpoint(captured.group, captured.feed_port),
        counted(feed.totals.frames, "frame"), wanted.file);
    return feed;
  }
  if (wanted.from == 0 && wanted.to == 0) return feed;
  const std::uint64_t last = wanted.to == 0 ? largest_sequence : wanted.to;
  keep_numbers(feed, std::max<std::uint64_t>(wanted.from, 1), last);
  if (feed.packets.empty()) lack = fmt::format("{} has no packet of the numbers asked for", wanted.file);
  return feed;
}

}  // namespace

int run_replay(const Options& options) {
  const ReplayOptions& wanted = options.replay;
  std::string lack;
  const CapturedFeed feed = read_feed(options, lack);
  if (!lack.empty()) return end_with(nobody_there, lack, options.json);
  if (feed.totals.ends_early) {
    std::cerr << fmt::format("vorbelctl: note: {} is cut off: it is sent as far as it goes\n", wanted.file);
  }
  Replay replay{feed};
  if (options.addresses.retrans_port != 0) replay.answers = open_answers(options.addresses);
  catch_interrupts();
  const std::string where = endpoint(options.addresses.group, options.addresses.feed_port);
  if (!options.quiet) {
    std::cerr << fmt::format("replaying {} of {} on {} (Ctrl-C ends it)\n", counted(feed.packets.size(), "packet"),
                             wanted.file, where);
  }
  const auto begun = Clock::now();
  if (wanted.seconds != 0) replay.until = begun + nanoseconds_of(wanted.seconds);
  Clock::time_point sent;
  do {
    send_feed(options, replay);
    sent = Clock::now();
    if (!is_sent(replay)) break;
    ++replay.totals.turns;
    serve_until(replay, sent + nanoseconds_of(wanted.linger_s));
  } while (wanted.loop && !is_over(replay));
  print_replay_totals(options, replay.totals, sent - begun);
  if (replay.totals.turns == 0) {
    return end_with(nobody_there,
                    fmt::format("the replay ended after {} of {} packets", replay.totals.packets, feed.packets.size()),
                    options.json);
  }
  if (feed.totals.cut == 0) return all_well;
  return end_with(something_amiss,
                  fmt::format("{} captured only in part and not sent", counted(feed.totals.cut, "packet")),
                  options.json);
}

}  // namespace vorbelctl
