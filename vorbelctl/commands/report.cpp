#include "vorbelctl/commands/commands.h"

#include <fmt/core.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <deque>
#include <iostream>
#include <stdexcept>
#include <string>

#include "common/clocks.h"
#include "vorbelctl/commands/ending.h"
#include "vorbelctl/commands/line_input.h"
#include "vorbelctl/commands/report_lines.h"
#include "vorbelctl/doors/report_port.h"
#include "vorbelctl/handler/ends.h"
#include "vorbelctl/wording/fields.h"
#include "vorbelctl/wording/wording.h"

namespace vorbelctl {
namespace {

struct Counts {
  std::uint64_t accepted = 0;
  std::uint64_t refused = 0;    // answered with trade id 0: the session is closed
  std::uint64_t malformed = 0;  // never sent, or answered as such
};

// One run of the command. Answers come in the order of the lines, so the oldest line under way is the one answered.
struct Sender {
  LineInput input;
  ReportFormat format;
  ReportConnection connection;
  std::uint32_t window = 1;             // most lines under way
  std::deque<std::uint64_t> under_way;  // numbers of the lines without an answer
  Counts counts;
  std::uint64_t start_ms = 0;  // monotonic, as all here
  std::uint64_t shown_ms = 0;  // when the progress was last drawn
  bool json = false;
  bool shows_progress = false;
  std::uint64_t complaints = 0;  // bad lines named so far
};

// Names a line that was not accepted: all of them as JSON, the first ones for people.
void complain(Sender& sender, std::uint64_t line, const std::string& kind, const std::string& why) {
  constexpr std::uint64_t most_named = 20;
  if (sender.json) {
    std::cout << json_line({{"line", line}, {kind, why}}) << std::endl;
    return;
  }
  if (++sender.complaints > most_named + 1) return;
  if (sender.shows_progress) std::cerr << "\r\x1b[K";
  if (sender.complaints > most_named) {
    std::cerr << "further lines are only counted\n";
  } else {
    std::cerr << fmt::format("line {}: {}: {}\n", line, kind, printable(why));
  }
}

void take_answer(Sender& sender, const std::string& answer) {
  if (sender.under_way.empty()) {
    sender.connection.lost = "an answer came that no line was waiting for: " + printable(answer);
    return;
  }
  const std::uint64_t line = sender.under_way.front();
  sender.under_way.pop_front();
  if (!answer.starts_with("A ")) {
    ++sender.counts.malformed;
    complain(sender, line, "malformed", "the bench answers " + answer);
  } else if (answer.find_first_not_of('0', 2) == std::string::npos) {
    ++sender.counts.refused;
    complain(sender, line, "refused", "the session is closed");
  } else {
    ++sender.counts.accepted;
    if (sender.json) std::cout << json_line({{"line", line}, {"trade_id", answer.substr(2)}}) << std::endl;
  }
}

// Puts lines under way until the window is full or no whole line has been read.
void queue_lines(Sender& sender) {
  std::string text;
  while (sender.under_way.size() < sender.window && take_line(sender.input, text)) {
    const ReportLine report = read_report(sender.format, text, vorbeld::wall_ms());
    if (!report.wrong.empty()) {
      ++sender.counts.malformed;
      complain(sender, sender.input.number, "malformed", report.wrong);
      if (sender.format.unknown) end_input(sender.input);
    } else if (!report.text.empty()) {
      sender.connection.unsent += report.text + "\n";
      sender.under_way.push_back(sender.input.number);
    }
  }
}

// Waits for whatever can go on: more input while the window has room, an answer, room to send.
void wait_and_serve(Sender& sender, double timeout_s) {
  constexpr int longest_wait_ms = 100;
  const bool wants_input = sender.under_way.size() < sender.window;
  std::array<pollfd, 2> waiting{
      {{wants_input ? sender.input.file.number : -1, POLLIN, 0}, {sender.connection.socket.number, POLLIN, 0}}};
  ReportConnection& connection = sender.connection;
  if (!connection.unsent.empty()) waiting[1].events |= POLLOUT;
  poll(waiting.data(), waiting.size(), longest_wait_ms);
  const std::uint64_t now_ms = vorbeld::monotonic_ms();
  if (waiting[0].revents != 0) read_more(sender.input);
  if ((waiting[1].revents & POLLOUT) != 0) send_lines(connection, now_ms);
  if ((waiting[1].revents & ~POLLOUT) != 0) {
    for (const auto& answer : take_answers(connection, now_ms)) take_answer(sender, answer);
  }
  const auto silent_ms = static_cast<double>(now_ms - connection.heard_ms);
  if (!sender.under_way.empty() && silent_ms > timeout_s * 1000) connection.lost = "no answer in time";
}

void draw_progress(Sender& sender) {
  constexpr std::uint64_t redraw_ms = 100;
  const std::uint64_t now_ms = vorbeld::monotonic_ms();
  if (!sender.shows_progress || now_ms < sender.shown_ms + redraw_ms) return;
  sender.shown_ms = now_ms;
  constexpr std::uint64_t width = 30;
  std::string bar;
  if (sender.input.size != 0) {
    const std::uint64_t done = std::min(width, sender.input.taken * width / sender.input.size);
    bar = fmt::format("[{:#>{}}{:.>{}}] ", "", done, "", width - done);
  }
  const std::uint64_t seconds_1000 = std::max<std::uint64_t>(now_ms - sender.start_ms, 1);
  std::cerr << fmt::format("\r\x1b[K{}{} lines, {} a second", bar, sender.input.number,
                           sender.counts.accepted * 1000 / seconds_1000)
            << std::flush;
}

bool is_done(const Sender& sender) {
  return sender.under_way.empty() && is_at_end(sender.input);
}

// Ends with the last answer, with the connection, or with an interrupt.
void send_all(Sender& sender, double timeout_s) {
  while (!is_done(sender) && sender.connection.lost.empty() && !interrupted()) {
    queue_lines(sender);
    if (is_done(sender)) break;
    wait_and_serve(sender, timeout_s);
    draw_progress(sender);
  }
}

void print_totals(const Sender& sender) {
  if (sender.shows_progress) std::cerr << "\r\x1b[K";
  const Counts& counts = sender.counts;
  const std::uint64_t passed_ms = std::max<std::uint64_t>(vorbeld::monotonic_ms() - sender.start_ms, 1);
  const double seconds = static_cast<double>(passed_ms) / 1000;
  const double rate = static_cast<double>(counts.accepted) / seconds;
  const std::uint64_t unanswered = sender.under_way.size();
  if (sender.json) {
    std::cout << json_line({{"event", std::string("totals")},
                            {"accepted", counts.accepted},
                            {"refused", counts.refused},
                            {"malformed", counts.malformed},
                            {"unanswered", unanswered},
                            {"seconds", Number{seconds, 3}},
                            {"per_second", Number{rate, 0}}})
              << std::endl;
    return;
  }
  std::cout << fmt::format("{} accepted, {} refused, {} malformed{}; {:.0f} a second\n", counts.accepted,
                           counts.refused, counts.malformed,
                           unanswered == 0 ? "" : fmt::format(", {} without an answer", unanswered), rate)
            << std::flush;
}

// The status that the totals stand for, with a line about whatever they do not say.
int status_of(const Sender& sender, const Options& options) {
  const Counts& counts = sender.counts;
  const std::uint64_t unanswered = sender.under_way.size();
  if (!sender.connection.lost.empty()) {
    return end_with(nobody_there,
                    fmt::format("the connection to the report port {} is lost: {}; {} {} no answer",
                                endpoint(options.addresses.host, options.addresses.report_port), sender.connection.lost,
                                counted(unanswered, "line"), unanswered == 1 ? "has" : "have"),
                    options.json);
  }
  if (sender.format.unknown) {
    return end_with(
        wrong_usage,
        fmt::format("nothing of {} was sent; it must hold report lines, or CSV with a header row", sender.input.name),
        options.json);
  }
  const bool stopped = interrupted() && !is_at_end(sender.input);
  if (stopped && sender.input.size != 0) {
    std::cerr << fmt::format("vorbelctl: stopped behind line {} of {}; the rest was not sent\n", sender.input.number,
                             sender.input.name);
    return something_amiss;
  }
  if (!stopped && counts.accepted + counts.refused + counts.malformed + unanswered == 0) {
    return end_with(wrong_usage, fmt::format("there is no report in {}", sender.input.name), options.json);
  }
  return counts.refused + counts.malformed + unanswered == 0 ? all_well : something_amiss;
}

}  // namespace

int run_report(const Options& options) {
  Sender sender;
  sender.window = options.report.window;
  sender.json = options.json;
  sender.shows_progress = !options.quiet && !options.json && isatty(STDERR_FILENO) == 1;
  sender.input = open_lines_of(options.report.file);
  sender.connection.socket = open_reports(options.addresses, static_cast<int>(options.report.timeout_s * 1000));
  sender.start_ms = sender.connection.heard_ms = vorbeld::monotonic_ms();
  catch_interrupts();
  try {
    send_all(sender, options.report.timeout_s);
  } catch (const std::invalid_argument&) {
    print_totals(sender);  // what was sent before reading failed has been accepted all the same
    throw;
  }
  print_totals(sender);
  return status_of(sender, options);
}

}  // namespace vorbelctl
