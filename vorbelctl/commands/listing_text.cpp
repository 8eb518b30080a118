#include "vorbelctl/commands/listing_text.h"

#include <fmt/core.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "vorbelctl/commands/listing.h"
#include "vorbelctl/handler/follow.h"
#include "vorbelctl/wording/wording.h"

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
std::string time_of_day(std::string_view moment) {
  return fmt::format("{}:{}:{}", moment.substr(8, 2), moment.substr(10, 2), moment.substr(12, 2));
}

// The fields of a trade's terms that a line shows: its own, or those of the original in a cancel.
struct ShownTerms {
  FieldId price;
  FieldId quantity;
  FieldId side;
  FieldId reporting_party;
  FieldId contra_party;
};
constexpr ShownTerms own{"price", "quantity", "side", "reporting_party", "contra_party"};
constexpr ShownTerms original{"original_price", "original_quantity", "original_side", "original_reporting_party",
                              "original_contra_party"};

std::string quantity_text(const Cell& quantity) {
  const bool capped = quantity.text.find('M') != std::string_view::npos;
  return capped ? std::string(quantity.text.substr(0, 4)) : fmt::format("{:.2f}", quantity.number);
}

// What is special about a trade, in words.
std::string remarks(const Message& message) {
  std::string words;
  const auto add = [&](FieldId field, char wanted, std::string_view word) {
    if (code(message, field) == wanted) words += fmt::format(" {}", word);
  };
  add("as_of", 'A', "as-of");
  add("as_of", 'R', "reversal");
  add("special", 'Y', "special");
  add("sale_condition_3", 'Z', "late");
  add("sale_condition_3", 'T', "after-hours");
  add("sale_condition_4", 'W', "average-price");
  add("ats", 'Y', "ATS");
  return words;
}

std::string deal(const Message& message, const ShownTerms& terms) {
  return fmt::format("{:11.6f} {:>14}  {} {}/{}", number(message, terms.price),
                     quantity_text(cell(message, terms.quantity)), printable(text(message, terms.side)),
                     code(message, terms.reporting_party), code(message, terms.contra_party));
}

std::string day_text(const Message& message, FieldId last, FieldId last_yield) {
  if (!cell(message, last_yield).said) return "the day is empty";
  return fmt::format("high {:.6f} low {:.6f} last {:.6f}", number(message, "high"), number(message, "low"),
                     number(message, last));
}

// What the message says, behind the columns that all kinds share.
std::string body_text(const Message& message) {
  const char change = code(message, "change");
  switch (kind_of(message)) {
    case Kind::trade:
      return fmt::format("{} {}  change {}{}", text(message, "trade_id"), deal(message, own), change, remarks(message));
    case Kind::cancel:
      return fmt::format("{} {}  change {}  {}", text(message, "original_id"), deal(message, original), change,
                         day_text(message, "last", "last_yield"));
    case Kind::correction:
      return fmt::format("{} {}  change {}{}  instead of {}, {}", text(message, "trade_id"), deal(message, own), change,
                         remarks(message), text(message, "original_id"), day_text(message, "last", "last_yield"));
    case Kind::halt:
      return fmt::format("{} {}", code(message, "action") == 'H' ? "halted" : "resumed",
                         printable(text(message, "reason")));
    case Kind::summary:
      return day_text(message, "close", "close_yield");
    case Kind::control:
      return {code(message, "type")};
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

std::string columns(std::uint64_t sequence, std::string_view what, std::string_view rest) {
  return fmt::format("{:>8}  {:<12} {}", sequence, what, rest);
}

std::string message_line(const Event& event, const Message& message) {
  const std::string bond =
      kind_of(message) == Kind::control
          ? ""
          : fmt::format("{:<9} {:<14} ", printable(text(message, "cusip")), printable(text(message, "symbol")));
  const std::string via = event.via == Via::live ? "" : fmt::format("  ({})", via_name(event.via));
  return columns(event.first, message.row->name,
                 fmt::format("{}  {}{}{}", time_of_day(text(message, "sent_at")), bond, body_text(message), via));
}

std::string altered_text(const Event& event) {
  constexpr std::string_view same_number = "came again, with other contents";
  if (event.earlier.empty()) return fmt::format("{}; the earlier ones are no longer kept", same_number);
  const BytesDiffer differ = compare_bytes(event.earlier, event.text);
  const std::string others = differ.others == 0 ? "" : fmt::format(" and {}", counted(differ.others, "other field"));
  return fmt::format("{}: {} \"{}\", before \"{}\"{}; ignored", same_number, differ.field, printable(differ.later),
                     printable(differ.earlier), others);
}

// An event that is not a message, or one that does not read, as "what" and "rest"; `malformed` is the latter's field.
std::pair<std::string_view, std::string> tidings(const Event& event, std::string_view malformed) {
  const std::string range =
      fmt::format("{} ({})", range_text({event.first, event.last}), counted(event.last - event.first + 1, "message"));
  switch (event.kind) {
    case EventKind::joined:
      return {"joined", "the stream starts here"};
    case EventKind::message:
      return {"malformed", fmt::format("the field \"{}\" does not read", malformed)};
    case EventKind::gap:
      return {"gap", range + " skipped so far"};
    case EventKind::gap_closed:
      return {"gap closed", fmt::format("{} after {} ms", range, event.open_ms)};
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
      return {"foreign", fmt::format("a packet of the session \"{}\" is ignored; --session chooses the one to follow",
                                     printable(event.text))};
    case EventKind::malformed_packet:
      return {"malformed", "no packet: " + event.reason};
    case EventKind::behind:
      return {"behind", "the feed stands here, before what was already seen or asked for"};
    case EventKind::altered:
      return {"altered", altered_text(event)};
    case EventKind::began_again:
      return {"began again", fmt::format("a new run from here on; the one before ended with {}", event.last)};
    case EventKind::second_sender:
      return {"second", second_sender_text(event) + "; it is ignored"};
  }
  return {"", ""};
}

std::string paint(const std::string& line, Tone tone, bool colours) {
  if (!colours || tone == Tone::plain) return line;
  return fmt::format("{}{}\x1b[0m", escape_of(tone), line);
}

}  // namespace

std::string message_text(const Event& event, const Decoded& decoded, bool colours) {
  if (decoded.malformed.empty()) {
    return paint(message_line(event, decoded.message), tone_of(kind_of(decoded.message)), colours) + "\n";
  }
  const auto [what, rest] = tidings(event, decoded.malformed);
  return paint(columns(event.first, what, rest), Tone::red, colours) + "\n" + hex_dump(event.text, most_dumped);
}

std::string event_text(const Event& event, bool colours) {
  if (event.kind == EventKind::message) return message_text(event, decode_message(event.text), colours);
  Tone tone = event.kind == EventKind::heartbeat || event.kind == EventKind::joined ? Tone::dim : Tone::red;
  if (event.kind == EventKind::end_of_session) tone = Tone::green;
  const auto [what, rest] = tidings(event, "");
  const std::string dump = event.kind == EventKind::malformed_packet ? hex_dump(event.text, most_dumped) : "";
  return paint(columns(event.first, what, rest), tone, colours) + "\n" + dump;
}

std::string totals_text(const ReceiverTotals& totals, const std::vector<Range>& missing) {
  std::string text =
      fmt::format("{}, {} on the feed; {} of {}: {} late, {} recovered, {} missing; {}",
                  counted(totals.messages, "message"), counted(totals.packets, "packet"), counted(totals.gaps, "gap"),
                  counted(totals.skipped, "message"), grouped(totals.late), grouped(totals.recovered),
                  grouped(totals.missing), counted(totals.duplicates, "duplicate"));
  if (totals.altered != 0) text += fmt::format(", {} altered", grouped(totals.altered));
  if (totals.second_senders != 0) text += fmt::format("; {}", counted(totals.second_senders, "second sender"));
  if (totals.began_again != 0) text += "; the feed began again";
  text += "\n";
  return missing.empty() ? text : fmt::format("{}{}\n", text, missing_text(missing));
}

std::string trouble_text(const ReceiverTotals& totals) {
  std::string text;
  const auto add = [&](std::uint64_t number, std::string_view one, std::string_view what) {
    if (number != 0) text += fmt::format("{}{}{}", text.empty() ? "" : ", ", counted(number, one), what);
  };
  add(totals.missing, "message", " missing");
  add(totals.altered, "message", " altered");
  add(totals.second_senders, "second sender", "");
  if (totals.began_again != 0) text += fmt::format("{}the feed began again", text.empty() ? "" : ", ");
  return text;
}

bool wants_colours() {
  const char* const terminal = std::getenv("TERM");  // NOLINT(concurrency-mt-unsafe): one thread, here and below
  const bool knows_colours = terminal != nullptr && std::string_view(terminal) != "dumb";
  return knows_colours && isatty(STDOUT_FILENO) == 1 &&
         std::getenv("NO_COLOR") == nullptr;  // NOLINT(concurrency-mt-unsafe)
}

}  // namespace vorbelctl
