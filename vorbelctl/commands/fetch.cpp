#include "vorbelctl/commands/commands.h"

#include <fmt/core.h>

#include <iostream>
#include <string>
#include <vector>

#include "common/clocks.h"
#include "vorbelctl/commands/ending.h"
#include "vorbelctl/commands/listing.h"
#include "vorbelctl/commands/listing_text.h"
#include "vorbelctl/doors/addresses.h"
#include "vorbelctl/handler/follow.h"

namespace vorbelctl {
namespace {

// The gap that a fetch opens is its own question, not news.
bool is_news(EventKind kind) {
  return kind != EventKind::gap && kind != EventKind::gap_closed;
}

void print_events(const Options& options, std::vector<Event> events, std::int64_t offset_ms) {
  for (Event& event : events) {
    if (!is_news(event.kind)) continue;
    if (options.json) {
      std::cout << json_line(timed_event_fields(event, offset_ms)) << std::endl;
    } else {
      event.via = Via::live;  // all are recovered here; lines for people need not say so each time
      std::cout << event_text(event, wants_colours());
    }
  }
  std::cout.flush();
}

}  // namespace

int run_fetch(const Options& options) {
  const FetchOptions& fetch = options.fetch;
  ReceiverSettings settings;
  settings.most_tries = 1;
  settings.insist = false;
  settings.answer_timeout_ms = static_cast<std::uint64_t>(fetch.timeout_s * 1000);
  Follower follower = follow_answers(options.addresses, settings, fetch.first, fetch.first + fetch.count);
  const Receiver& receiver = follower.receiver;
  const std::int64_t offset_ms = wall_offset_ms();
  while (!receiver.gaps.empty() && !follower.requests_refused) print_events(options, pump(follower, 50), offset_ms);
  finish(follower.receiver, vorbeld::monotonic_ms());
  print_events(options, take_events(follower.receiver), offset_ms);
  const std::string silent = no_retransmission(options.addresses, follower.requests_refused);
  if (receiver.totals.messages == 0) return end_with(nobody_there, silent, options.json);
  if (follower.requests_refused) std::cerr << fmt::format("vorbelctl: {}\n", silent);
  return receiver.totals.missing + receiver.totals.altered == 0 ? all_well : something_amiss;
}

}  // namespace vorbelctl
