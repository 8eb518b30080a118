#include "vorbelctl/commands/watch.h"

#include <iostream>

#include "common/clocks.h"
#include "vorbelctl/commands/dashboard.h"
#include "vorbelctl/commands/interrupt.h"
#include "vorbelctl/commands/screen.h"
#include "vorbelctl/commands/silence.h"
#include "vorbelctl/commands/stats.h"
#include "vorbelctl/handler/follow.h"

namespace vorbelctl {
namespace {

constexpr std::uint64_t look_every_ms = 1000;  // at the statistics, and a line where there is no screen
constexpr std::uint64_t draw_every_ms = 200;

// All times are monotonic ms.
struct Watch {
  Dashboard dashboard;
  Follower follower;
  Socket control;  // -1: there is none
  ScreenOwner screen;
  std::uint64_t heard_ms = 0;  // when the bench was last heard or answered
  std::uint64_t look_ms = 0;   // when to look at the statistics next
  std::uint64_t draw_ms = 0;   // when to draw next
};

void look_at_feed(Watch& watch) {
  const ReceiverTotals& totals = watch.follower.receiver.totals;
  const std::uint64_t ours = totals.ours;
  for (const Event& event : pump(watch.follower, 50)) take_event(watch.dashboard, event);
  if (totals.ours != ours) watch.heard_ms = vorbeld::monotonic_ms();
}

void look_at_stats(Watch& watch) {
  constexpr int patience_ms = 200;
  bool refused = false;
  std::optional<FieldList> stats;
  if (watch.control.descriptor >= 0) {
    stats = parse_stats(ask_control(watch.control, "stats", patience_ms, refused).value_or(""));
  }
  const std::uint64_t now_ms = vorbeld::monotonic_ms();
  watch.dashboard.stats = stats.value_or(FieldList());
  update_rate(watch.dashboard.messages, watch.follower.receiver.totals.messages, now_ms);
  if (!stats) return;
  update_rate(watch.dashboard.reports, stat(*stats, "reports"), now_ms);
  watch.heard_ms = now_ms;
}

void print_status(const Watch& watch, bool json) {
  const ReceiverTotals& totals = watch.follower.receiver.totals;
  if (!json) {
    std::cout << status_line(watch.dashboard, totals) << std::endl;
    return;
  }
  std::cout << json_line(list_status(watch.dashboard, totals)) << "\n";
  const Books& books = watch.dashboard.books;
  for (const auto& cusip : sorted_cusips(books)) {
    FieldList fields{{"event", std::string("book")}};
    const FieldList book = list_book(cusip, books.find(cusip)->second);
    fields.insert(fields.end(), book.begin(), book.end());
    std::cout << json_line(fields) << "\n";
  }
  std::cout.flush();
}

void draw_screen(Watch& watch) {
  draw(*watch.screen, screen_lines(watch.dashboard, watch.follower.receiver.totals, screen_width(*watch.screen),
                                   screen_height(*watch.screen)));
}

// One round; false when q was pressed.
bool watch_on(Watch& watch, bool json) {
  look_at_feed(watch);
  const std::uint64_t now_ms = vorbeld::monotonic_ms();
  if (now_ms >= watch.look_ms) {
    look_at_stats(watch);
    if (!watch.screen && watch.heard_ms != 0) print_status(watch, json);
    watch.look_ms = now_ms + look_every_ms;
  }
  if (!watch.screen) return true;
  if (now_ms >= watch.draw_ms) {
    draw_screen(watch);
    watch.draw_ms = now_ms + draw_every_ms;
  }
  return !wants_to_quit(*watch.screen);
}

}  // namespace

int run_watch(const Options& options) {
  Watch watch;
  watch.dashboard.addresses = options.addresses;
  ReceiverSettings settings;
  settings.recover = options.watch.recover;
  watch.follower = follow_feed(options.addresses, settings);
  if (options.addresses.control_port != 0) watch.control = open_control(options.addresses);
  if (!options.json) watch.screen = open_screen();
  catch_interrupts();
  const std::uint64_t start_ms = vorbeld::monotonic_ms();
  const auto silent_too_long = [&] {
    const std::uint64_t since_ms = watch.heard_ms == 0 ? start_ms : watch.heard_ms;
    return static_cast<double>(vorbeld::monotonic_ms() - since_ms) > options.watch.timeout_s * 1000;
  };
  const auto time_is_up = [&] {
    const auto passed_ms = static_cast<double>(vorbeld::monotonic_ms() - start_ms);
    return options.watch.seconds > 0 && passed_ms >= options.watch.seconds * 1000;
  };
  while (watch_on(watch, options.json) && !interrupted() && !time_is_up()) {
    if (!silent_too_long()) continue;
    watch.screen.reset();
    std::cerr << "vorbelctl: nobody answers" << at_no_door(options.addresses)
              << "; is the bench running, with these ports?\n";
    return nobody_there;
  }
  return all_well;
}

}  // namespace vorbelctl
