#include "vorbelctl/commands/listing_text.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "vorbelctl/commands/listing.h"
#include "vorbelctl/handler/message.h"
#include "vorbelctl/handler/wording.h"

namespace vorbelctl {
namespace {

constexpr std::size_t most_dumped = 512;  // bytes of what cannot be read

enum class Tone : std::uint8_t { plain, dim, red, green, yellow, blue, magenta, cyan };

std::string_view escape_of(Tone tone) {
  switch (tone) {
    case Tone::plain:
      return "";
    case Tone::dim:
      return "\x1b[2m";
    case Tone::red:
      return "\x1b[31m";
    case Tone::green:
      return "\x1b[32m";
    case Tone::yellow:
      return "\x1b[33m";
    case Tone::blue:
      return "\x1b[34m";
    case Tone::magenta:
      return "\x1b[35m";
    case Tone::cyan:
      return "\x1b[36m";
  }
  return "";
}

// "12:00:03" of a date-time.
std::string time_of_day(const std::string& moment) {
  return moment.substr(8, 2) + ":" + moment.substr(10, 2) + ":" + moment.substr(12, 2);
}

std::string price(double value) {
  return padded_left(value_text(Number{value, 6}), 11);
}

std::string quantity(const TradeTerms& terms) {
  if (terms.quantity_indicator == 'E') return padded_left(terms.quantity == 1e6 ? "1MM+" : "5MM+", 14);
  return padded_left(value_text(Number{terms.quantity, 2}), 14);
}

// What is special about a trade, in words.
std::string remarks(const TradeTerms& terms) {
  std::string words;
  const auto add = [&](bool holds, const char* word) {
    if (holds) words += std::string(" ") + word;
  };
  add(terms.as_of == 'A', "as-of");
  add(terms.as_of == 'R', "reversal");
  add(terms.special == 'Y', "special");
  add(terms.sale_condition_3 == 'Z', "late");
  add(terms.sale_condition_3 == 'T', "after-hours");
  add(terms.sale_condition_4 == 'W', "average-price");
  add(terms.ats == 'Y', "ATS");
  return words;
}

std::string deal(const TradeTerms& terms) {
  return price(terms.price) + " " + quantity(terms) + "  " + printable(std::string(1, terms.side)) + " " +
         terms.reporting_party + "/" + terms.contra_party;
}

std::string day_text(const DayPrices& day) {
  if (!day.last_yield) return "the day is empty";
  return "high " + value_text(Number{day.high, 6}) + " low " + value_text(Number{day.low, 6}) + " last " +
         value_text(Number{day.last, 6});
}

std::string change_text(const DayPrices& day) {
  return std::string("  change ") + day.change;
}

// What the message says, behind the columns that all kinds share.
std::string body_text(const Message& message) {
  switch (message.kind) {
    case Kind::trade:
      return message.trade_id + " " + deal(message.terms) + change_text(message.day) + remarks(message.terms);
    case Kind::cancel:
      return message.original_id + " " + deal(message.original) + change_text(message.day) + "  " +
             day_text(message.day);
    case Kind::correction:
      return message.trade_id + " " + deal(message.terms) + change_text(message.day) + remarks(message.terms) +
             "  instead of " + message.original_id + ", " + day_text(message.day);
    case Kind::halt:
      return (message.action == 'H' ? "halted " : "resumed ") + printable(message.reason);
    case Kind::summary:
      return day_text(message.day);
    case Kind::control:
      return {message.type};
  }
  return "";
}

Tone tone_of(Kind kind) {
  switch (kind) {
    case Kind::trade:
      return Tone::plain;
    case Kind::cancel:
      return Tone::yellow;
    case Kind::correction:
      return Tone::cyan;
    case Kind::halt:
      return Tone::magenta;
    case Kind::summary:
      return Tone::blue;
    case Kind::control:
      return Tone::green;
  }
  return Tone::plain;
}

std::string columns(std::uint64_t sequence, std::string_view what, const std::string& rest) {
  return padded_left(std::to_string(sequence), 8) + "  " + padded(std::string(what), 12) + " " + rest;
}

std::string message_line(const Event& event, const Message& message) {
  std::string line = time_of_day(message.sent_at) + "  ";
  if (message.kind != Kind::control) {
    line += padded(printable(message.cusip), 9) + " " + padded(printable(message.symbol), 14) + " ";
  }
  line += body_text(message);
  if (event.via != Via::live) line += std::string("  (") + std::string(via_name(event.via)) + ")";
  return columns(event.first, kind_name(message.kind), line);
}

// An event that is no message, as "what" and "rest".
std::pair<std::string_view, std::string> tidings(const Event& event) {
  const std::string range =
      range_text({event.first, event.last}) + " (" + counted(event.last - event.first + 1, "message") + ")";
  switch (event.kind) {
    case EventKind::joined:
      return {"joined", "the stream starts here"};
    case EventKind::message:
      return {"malformed", "the field \"" + event.reason + "\" does not read"};
    case EventKind::gap:
      return {"gap", range + " skipped so far"};
    case EventKind::gap_closed:
      return {"gap closed", range + " after " + std::to_string(event.open_ms) + " ms"};
    case EventKind::missing:
      return {"missing", range + " given up"};
    case EventKind::out_of_order:
      return {"out of order", "came late, within the window"};
    case EventKind::duplicate:
      return {"duplicate", "was already here; ignored"};
    case EventKind::too_late:
      return {"too late", "came after it was given up; ignored"};
    case EventKind::heartbeat:
      return {"heartbeat", "the next number to come"};
    case EventKind::end_of_session:
      return {"end", "end of session; no number from here on was sent"};
    case EventKind::foreign_session:
      return {"foreign", "a packet of the session \"" + printable(event.text) +
                             "\" is ignored; --session chooses the one to follow"};
    case EventKind::malformed_packet:
      return {"malformed", "no packet: " + event.reason};
    case EventKind::behind:
      return {"behind", "the feed stands here, before what was already seen or asked for"};
  }
  return {"", ""};
}

std::string paint(const std::string& line, Tone tone, bool colours) {
  if (!colours || tone == Tone::plain) return line;
  return std::string(escape_of(tone)) + line + "\x1b[0m";
}

}  // namespace

std::string event_text(const Event& event, bool colours) {
  Tone tone = event.kind == EventKind::heartbeat || event.kind == EventKind::joined ? Tone::dim : Tone::red;
  if (event.kind == EventKind::end_of_session) tone = Tone::green;
  std::string dump;
  Event shown = event;
  if (event.kind == EventKind::message) {
    const Decoded decoded = decode_message(event.text);
    if (decoded.malformed.empty()) {
      return paint(message_line(event, decoded.message), tone_of(decoded.message.kind), colours) + "\n";
    }
    shown.reason = decoded.malformed;
  }
  if (event.kind == EventKind::message || event.kind == EventKind::malformed_packet) {
    dump = hex_dump(event.text, most_dumped);
  }
  const auto [what, rest] = tidings(shown);
  return paint(columns(event.first, what, rest), tone, colours) + "\n" + dump;
}

std::string totals_text(const ReceiverTotals& totals, const std::vector<Range>& missing) {
  const std::string text = counted(totals.messages, "message") + ", " + counted(totals.packets, "packet") +
                           " on the feed; " + counted(totals.gaps, "gap") + " of " +
                           counted(totals.skipped, "message") + ": " + grouped(totals.late) + " late, " +
                           grouped(totals.recovered) + " recovered, " + grouped(totals.missing) + " missing; " +
                           counted(totals.duplicates, "duplicate") + "\n";
  return missing.empty() ? text : text + missing_text(missing) + "\n";
}

bool wants_colours() {
  return isatty(STDOUT_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr;  // NOLINT(concurrency-mt-unsafe): one thread
}

}  // namespace vorbelctl
