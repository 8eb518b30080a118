#include "vorbelctl/commands/commands.h"

#include <fmt/core.h>

#include <cstdint>
#include <iostream>
#include <optional>
#include <string>

#include "common/clocks.h"
#include "vorbelctl/commands/dashboard.h"
#include "vorbelctl/commands/ending.h"
#include "vorbelctl/commands/listing.h"
#include "vorbelctl/commands/listing_text.h"
#include "vorbelctl/commands/picture.h"
#include "vorbelctl/commands/screen.h"
#include "vorbelctl/doors/addresses.h"
#include "vorbelctl/doors/control_port.h"
#include "vorbelctl/handler/ends.h"
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
  Picture picture;             // the latest that was drawn
  std::size_t first_bond = 0;  // how far the bonds are scrolled
  Progress progress;
  std::uint64_t look_ms = 0;  // when to look at the statistics next
  std::uint64_t draw_ms = 0;  // when to draw next
};

void look_at_feed(Watch& watch) {
  for (const Event& event : pump(watch.follower, 50)) take_event(watch.dashboard, event);
  note_packets(watch.progress, watch.follower.receiver, vorbeld::monotonic_ms());
}

void look_at_stats(Watch& watch) {
  constexpr int patience_ms = 200;
  bool refused = false;
  std::optional<FieldList> stats;
  if (watch.control.number >= 0) {
    stats = parse_stats(ask_control(watch.control, "stats", patience_ms, refused).value_or(""));
  }
  const std::uint64_t now_ms = vorbeld::monotonic_ms();
  update_rate(watch.dashboard.messages, watch.follower.receiver.totals.messages, now_ms);
  take_stats(watch.dashboard, stats, now_ms);
  if (stats) watch.progress.heard_ms = now_ms;
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
  const ReceiverTotals& totals = watch.follower.receiver.totals;
  look_at_clock(watch.dashboard, totals, vorbeld::monotonic_ms());
  watch.picture = screen_lines(watch.dashboard, totals, size_of(*watch.screen), watch.first_bond);
  watch.first_bond = watch.picture.first_bond;
  draw(*watch.screen, watch.picture.lines);
}

// Takes every key that was pressed; false when one of them was q. What has moved is drawn at once.
bool take_keys(Watch& watch) {
  bool has_moved = false;
  for (Key key = next_key(*watch.screen); key != Key::none; key = next_key(*watch.screen)) {
    if (key == Key::quit) return false;
    watch.picture.first_bond = watch.first_bond = scrolled(watch.picture, key);
    has_moved = true;
  }
  if (has_moved) draw_screen(watch);
  return true;
}

// One round; false when q was pressed.
bool watch_on(Watch& watch, bool json) {
  look_at_feed(watch);
  const std::uint64_t now_ms = vorbeld::monotonic_ms();
  if (now_ms >= watch.look_ms) {
    look_at_stats(watch);
    if (!watch.screen && watch.progress.heard_ms != 0) print_status(watch, json);
    watch.look_ms = now_ms + look_every_ms;
  }
  if (!watch.screen) return true;
  if (now_ms >= watch.draw_ms) {
    draw_screen(watch);
    watch.draw_ms = now_ms + draw_every_ms;
  }
  return take_keys(watch);
}

Status status_of(const Watch& watch, bool nobody) {
  const ReceiverTotals& totals = watch.follower.receiver.totals;
  if (watch.progress.heard_ms == 0) return nobody_there;
  if (totals.began_again != 0) return began_again;
  if (is_amiss(totals)) return something_amiss;
  return nobody ? nobody_there : all_well;
}

}  // namespace

int run_watch(const Options& options) {
  Watch watch;
  watch.dashboard.addresses = options.addresses;
  ReceiverSettings settings;
  settings.recover = options.watch.recover;
  watch.follower = follow_feed(options.addresses, settings);
  if (options.addresses.control_port != 0) watch.control = open_control(options.addresses);
  if (!options.json) watch.screen = open_screen(wants_colours());
  catch_interrupts();
  Ends ends;
  ends.seconds = options.watch.seconds;
  ends.silence_s = options.watch.timeout_s;
  watch.progress.begun_ms = vorbeld::monotonic_ms();
  End end = End::none;
  while (end == End::none && watch_on(watch, options.json)) {
    end = end_of(ends, watch.progress, watch.follower.receiver, vorbeld::monotonic_ms());
  }
  watch.screen.reset();
  const bool nobody = end == End::silence || watch.progress.heard_ms == 0;
  const Status status = status_of(watch, nobody);
  if (!nobody) return status;
  return end_with(
      status, fmt::format("nobody answers{}; is the bench running, with these ports?", at_no_door(options.addresses)),
      options.json);
}

}  // namespace vorbelctl
