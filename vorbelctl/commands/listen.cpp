#include "vorbelctl/commands/listen.h"

#include <iostream>
#include <limits>

#include "common/clocks.h"
#include "vorbelctl/commands/interrupt.h"
#include "vorbelctl/commands/listing.h"
#include "vorbelctl/commands/listing_text.h"
#include "vorbelctl/commands/silence.h"
#include "vorbelctl/handler/follow.h"

namespace vorbelctl {
namespace {

// What has been printed, and what still may be.
struct Printer {
  bool json = false;
  bool quiet = false;  // messages only
  bool colours = false;
  std::uint64_t messages_left = std::numeric_limits<std::uint64_t>::max();
  ReceiverTotals shown{};
  std::uint64_t last_shown = 0;  // the number of the message printed last
  bool told_of_silence = false;  // of the retransmission port
};

// JSON lines are flushed one by one for whoever reads along; text once for what came together.
void print_events(Printer& printer, const std::vector<Event>& events) {
  for (const Event& event : events) {
    if (printer.messages_left == 0) break;
    add_to_totals(printer.shown, event);
    if (event.kind == EventKind::message) {
      --printer.messages_left;
      printer.last_shown = event.first;
    }
    if (printer.quiet && event.kind != EventKind::message) continue;
    if (printer.json) {
      std::cout << json_line(event_fields(event)) << std::endl;
    } else {
      std::cout << event_text(event, printer.colours);
    }
  }
  std::cout.flush();
}

// One round of following the feed. A retransmission port that does not answer is told of once.
void follow_on(const Options& options, Follower& follower, Printer& printer, int timeout_ms) {
  print_events(printer, pump(follower, timeout_ms));
  if (printer.told_of_silence || !(follower.requests_refused || follower.receiver.silent)) return;
  std::cerr << "vorbelctl: " << no_retransmission(options.addresses, follower.requests_refused) << "\n";
  printer.told_of_silence = true;
}

// Once the time is up, the gaps that are open get the chance to be settled; new ones are not waited for.
void settle(const Options& options, Follower& follower, Printer& printer) {
  constexpr std::uint64_t patience_ms = 3000;
  const std::uint64_t seen_end = follower.receiver.end;
  const std::uint64_t until_ms = vorbeld::monotonic_ms() + patience_ms;
  while (follower.receiver.next < seen_end && vorbeld::monotonic_ms() < until_ms && !interrupted()) {
    follow_on(options, follower, printer, 10);
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
  } else if (!printer.quiet) {
    std::vector<Range> missing = receiver.missing;
    if (printer.messages_left == 0) {
      std::erase_if(missing, [&](const Range& range) { return range.first > printer.last_shown; });
    }
    std::cerr << totals_text(totals, missing);
  }
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
  Printer printer{options.json, options.quiet, wants_colours()};
  if (listen.count != 0) printer.messages_left = listen.count;
  Follower follower = follow_feed(options.addresses, make_settings(listen));
  catch_interrupts();
  const std::uint64_t start_ms = vorbeld::monotonic_ms();
  const auto time_is_up = [&] {
    return listen.seconds > 0 && static_cast<double>(vorbeld::monotonic_ms() - start_ms) >= listen.seconds * 1000;
  };
  while (printer.messages_left > 0 && !interrupted() && !time_is_up()) {
    follow_on(options, follower, printer, 50);
    if (listen.until_end && complete(follower.receiver)) break;
  }
  if (printer.messages_left > 0) {
    settle(options, follower, printer);
    finish(follower.receiver, vorbeld::monotonic_ms());
    print_events(printer, take_events(follower.receiver));
  }
  print_totals(printer, follower.receiver);
  return printer.shown.missing == 0 ? all_well : something_amiss;
}

}  // namespace vorbelctl
