#include "vorbelctl/commands/commands.h"

#include <fmt/core.h>

#include <cstdint>
#include <deque>
#include <iostream>
#include <iterator>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "common/clocks.h"
#include "vorbelctl/commands/ending.h"
#include "vorbelctl/commands/listing.h"
#include "vorbelctl/commands/listing_text.h"
#include "vorbelctl/doors/addresses.h"
#include "vorbelctl/handler/ends.h"
#include "vorbelctl/handler/follow.h"

namespace vorbelctl {
namespace {

// What has been printed, and what still may be.
struct Printer {
  bool json = false;
  bool quiet = false;  // messages only
  bool colours = false;
  std::int64_t offset_ms = 0;  // of the wall clock
  std::uint64_t messages_left = std::numeric_limits<std::uint64_t>::max();
  std::deque<Event> waiting{};  // to be printed
  ReceiverTotals shown{};
  std::uint64_t last_shown = 0;  // the number of the message printed last
  bool told_of_silence = false;  // of the retransmission port
};

// JSON lines are flushed one by one for whoever reads along; text once for what came together.
void print_waiting(Printer& printer, std::size_t most) {
  for (; most != 0 && !printer.waiting.empty() && printer.messages_left != 0; --most) {
    const Event event = std::move(printer.waiting.front());
    printer.waiting.pop_front();
    add_to_totals(printer.shown, event);
    if (event.kind == EventKind::message) {
      --printer.messages_left;
      printer.last_shown = event.first;
    }
    if (printer.quiet && event.kind != EventKind::message) continue;
    // A gap closes where all its numbers came; of the others it has been said that they are missing.
    if (event.kind == EventKind::gap_closed && event.missing != 0) continue;
    if (printer.json) {
      std::cout << json_line(timed_event_fields(event, printer.offset_ms)) << std::endl;
    } else {
      std::cout << event_text(event, printer.colours);
    }
  }
  std::cout.flush();
}

void queue(Printer& printer, std::vector<Event> events) {
  std::move(events.begin(), events.end(), std::back_inserter(printer.waiting));
}

// One round of following the feed. Printing is slower than a feed can be, so after a few events the socket is emptied
// again. It says once when the retransmission port does not answer.
void follow_on(const Options& options, Follower& follower, Printer& printer, int timeout_ms) {
  constexpr std::size_t most_at_once = 500;
  constexpr std::size_t most_waiting = 500000;  // some 200 MB; beyond, packets wait in the receive buffer
  if (printer.waiting.size() < most_waiting) {
    queue(printer, pump(follower, printer.waiting.empty() ? timeout_ms : 0));
  }
  print_waiting(printer, most_at_once);
  if (printer.told_of_silence || !(follower.requests_refused || follower.receiver.silent)) return;
  std::cerr << fmt::format("vorbelctl: {}\n", no_retransmission(options.addresses, follower.requests_refused));
  printer.told_of_silence = true;
}

// Once the time is up, the gaps that are open then may still be settled; later ones are not waited for.
void settle_gaps(const Options& options, Follower& follower, Printer& printer) {
  constexpr std::uint64_t patience_ms = 3000;
  const std::uint64_t seen_end = follower.receiver.end;
  std::uint64_t until_ms = vorbeld::monotonic_ms() + patience_ms;
  while (follower.receiver.next < seen_end && vorbeld::monotonic_ms() < until_ms && !interrupted()) {
    const std::uint64_t recovered = follower.receiver.totals.recovered;
    follow_on(options, follower, printer, 10);
    if (follower.receiver.totals.recovered != recovered) until_ms = vorbeld::monotonic_ms() + patience_ms;
  }
}

// The receiver may be ahead of a printer that has shown all that was asked for: what nobody saw does not count.
void print_totals(const Printer& printer, const Receiver& receiver) {
  const ReceiverTotals totals = totals_as_shown(receiver.totals, printer.shown);
  if (printer.json) {
    FieldList fields{{"event", std::string("totals")}};
    const FieldList all = list_totals(totals);
    fields.insert(fields.end(), all.begin(), all.end());
    std::cout << json_line(fields) << std::endl;
    return;
  }
  std::vector<Range> missing = receiver.missing;
  if (printer.messages_left == 0) {
    std::erase_if(missing, [&](const Range& range) { return range.first > printer.last_shown; });
  }
  if (!printer.quiet) {
    std::cerr << totals_text(totals, missing);
  } else if (const std::string trouble = trouble_text(totals); !trouble.empty()) {
    std::cerr << fmt::format("vorbelctl: {}{}{}\n", trouble, missing.empty() ? "" : "; ", missing_text(missing));
  }
}

// `lack`: what was asked for and did not come.
// False, with a word on standard error, when the capture that was asked for could not be written whole.
bool is_captured(const Options& options, const Follower& follower) {
  if (follower.captured_all) return true;
  std::cerr << fmt::format("vorbelctl: the capture {} could not be written whole\n", options.listen.pcap);
  return false;
}

int status_of(const Options& options, const Printer& printer, const Follower& follower, const std::string& lack) {
  Status status = is_captured(options, follower) ? all_well : unwritten;
  if (follower.receiver.totals.ours == 0) return end_with(nobody_there, no_feed(options.addresses), options.json);
  std::string end_reason = lack;
  if (!lack.empty()) status = nobody_there;
  if (is_amiss(printer.shown)) status = something_amiss;
  if (could_not_keep_up(totals_as_shown(follower.receiver.totals, printer.shown))) {
    status = too_slow;
    end_reason =
        own_loss_text(follower.receiver.totals.dropped_here, follower.feed_buffer) + (lack.empty() ? "" : "; " + lack);
  }
  if (printer.shown.began_again != 0) status = began_again;
  return end_reason.empty() ? status : end_with(status, end_reason, options.json);
}

Ends ends_of(const ListenOptions& listen) {
  Ends ends;
  ends.seconds = listen.seconds;
  ends.messages = listen.count;
  ends.end_of_session = listen.until_end;
  ends.silence_s = listen.timeout_s;
  ends.from = listen.from;
  return ends;
}

ReceiverSettings make_settings(const ListenOptions& listen) {
  ReceiverSettings settings;
  settings.first = listen.from;
  settings.recover = listen.recover || listen.from != 0;
  return settings;
}

}  // namespace

int run_listen(const Options& options) {
  const ListenOptions& listen = options.listen;
  Printer printer{options.json, options.quiet, wants_colours(), wall_offset_ms()};
  if (listen.count != 0) printer.messages_left = listen.count;
  Follower follower = follow_feed(options.addresses, make_settings(listen));
  if (!listen.pcap.empty()) follower.capture = open_pcap_writer(listen.pcap);
  catch_interrupts();
  const Ends ends = ends_of(listen);
  Progress progress{vorbeld::monotonic_ms()};
  std::uint64_t ended_ms = progress.begun_ms;
  while (end_of(ends, progress, follower.receiver, ended_ms) == End::none) {
    follow_on(options, follower, printer, 50);
    ended_ms = vorbeld::monotonic_ms();
    note_packets(progress, follower.receiver, ended_ms);
  }
  if (printer.messages_left > 0) {
    settle_gaps(options, follower, printer);
    finish(follower.receiver, vorbeld::monotonic_ms());
    queue(printer, take_events(follower.receiver));
  }
  print_waiting(printer, printer.waiting.size());
  print_totals(printer, follower.receiver);
  return status_of(options, printer, follower, what_did_not_come(ends, progress, follower.receiver, ended_ms));
}

}  // namespace vorbelctl
