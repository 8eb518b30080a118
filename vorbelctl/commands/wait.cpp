#include "vorbelctl/commands/commands.h"

#include <fmt/core.h>

#include <cstdint>
#include <iostream>
#include <optional>
#include <string>

#include "common/clocks.h"
#include "vorbelctl/commands/ending.h"
#include "vorbelctl/doors/addresses.h"
#include "vorbelctl/doors/control_port.h"
#include "vorbelctl/handler/follow.h"
#include "vorbelctl/wording/fields.h"

namespace vorbelctl {
namespace {

enum class Door : std::uint8_t { control, feed };

// What the bench was asked and what it said so far.
struct Probe {
  Socket control;  // -1: there is none
  Follower follower;
  bool heard = false;    // a packet of the session has come
  bool refused = false;  // the control port was closed when it was last asked
  FieldList stats;
};

bool is_of_session(const Event& event) {
  return event.kind != EventKind::foreign_session && event.kind != EventKind::malformed_packet;
}

void listen_to_feed(Probe& probe, int timeout_ms) {
  for (const Event& event : pump(probe.follower, timeout_ms)) probe.heard = probe.heard || is_of_session(event);
}

bool control_answers(Probe& probe, int timeout_ms) {
  const auto reply = ask_control(probe.control, "stats", timeout_ms, probe.refused);
  const auto stats = parse_stats(reply.value_or(""));
  if (stats) probe.stats = *stats;
  return stats.has_value();
}

// One round: each of the two doors gets `timeout_ms`. The bench opens its control port before it sends its first
// packet, so a bench that is heard while that port is closed has no control port.
std::optional<Door> ask_doors(Probe& probe, int timeout_ms) {
  const bool heard_before = probe.heard;
  if (probe.control.number >= 0) {
    if (control_answers(probe, timeout_ms)) return Door::control;
    if (heard_before && probe.refused) return Door::feed;
  } else if (heard_before) {
    return Door::feed;
  }
  listen_to_feed(probe, timeout_ms);
  return {};
}

std::string door_name(const Options& options, Door door) {
  const Addresses& addresses = options.addresses;
  if (door == Door::control) return "the control port " + endpoint("127.0.0.1", addresses.control_port);
  return "the feed " + endpoint(addresses.group, addresses.feed_port);
}

void print_ready(const Options& options, const Probe& probe, Door door, std::uint64_t after_ms) {
  if (options.json) {
    FieldList fields{
        {"ready", true}, {"by", std::string(door == Door::control ? "control" : "feed")}, {"after_ms", after_ms}};
    fields.insert(fields.end(), probe.stats.begin(), probe.stats.end());
    std::cout << json_line(fields) << std::endl;
  } else if (!options.quiet) {
    std::cout << fmt::format("ready: {} answers after {} ms\n", door_name(options, door), after_ms) << std::flush;
  }
}

int end_not_ready(const Options& options, const Probe& probe) {
  const std::string why =
      probe.heard ? fmt::format(
                        " from {}, although {} is heard; does the port belong to another program? Give the bench's "
                        "own with --control-port",
                        door_name(options, Door::control), door_name(options, Door::feed))
                  : fmt::format("{}; is the bench running, with these ports?", at_no_door(options.addresses));
  return end_with(nobody_there, fmt::format("no answer within {:.6g} s{}", options.wait.timeout_s, why), options.json,
                  {{"ready", false}});
}

}  // namespace

int run_wait(const Options& options) {
  constexpr int round_ms = 50;
  Probe probe;
  if (options.addresses.control_port != 0) probe.control = open_control(options.addresses);
  probe.follower = follow_feed(options.addresses, {});
  const std::uint64_t start_ms = vorbeld::monotonic_ms();
  const auto timeout_ms = static_cast<std::uint64_t>(options.wait.timeout_s * 1000);
  do {
    if (const auto door = ask_doors(probe, round_ms)) {
      print_ready(options, probe, *door, vorbeld::monotonic_ms() - start_ms);
      return all_well;
    }
  } while (vorbeld::monotonic_ms() - start_ms < timeout_ms);
  return end_not_ready(options, probe);
}

}  // namespace vorbelctl
