#include "vorbelctl/audit/recording.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <map>
#include <optional>
#include <utility>

#include "common/clocks.h"
#include "vorbelctl/audit/coverage.h"
#include "vorbelctl/audit/day.h"
#include "vorbelctl/audit/json_claims.h"
#include "vorbelctl/audit/line_reader.h"
#include "vorbelctl/audit/names.h"
#include "vorbelctl/doors/sockets.h"
#include "vorbelctl/handler/input.h"

namespace vorbelctl {
namespace {

constexpr std::size_t most_skips_kept = 1000;
constexpr std::size_t most_other_events = 20;
constexpr std::uint64_t record_patience_ms = 2000;  // for the record of a message that a handler has already

// One line taken apart.
struct Entry {
  std::optional<std::uint64_t> sequence;  // nothing: the line is of no message
  std::string wrong_sequence;             // what stands there instead of a sequence number; empty: nothing wrong does
  std::string cusip_of_book;              // of a line that states a book by itself
  const vorbeld::KindRow* row = nullptr;  // null: the kind was not said
  std::string other_event;                // what was said of the kind, where that is none of the bench's
  Claims fields;
  Claims book;
};

// An event that is none of the bench's, as a handler calls it.
struct OtherEvent {
  std::string name;
  const vorbeld::KindRow* row =
      nullptr;                   // of the kind that is likely meant; null: none is, so its lines are of no message
  std::optional<Cause> cause{};  // of those that are taken for messages: the first one's discrepancy
  std::vector<std::uint64_t> numbers{};  // of those that are not: what stands in their lines; at most most_skips_kept
};

// A line whose number is not the one that is due, and the lines without a number behind it.
using Waiting = std::vector<Entry>;

// Where the file stands.
struct Course {
  Audit& audit;
  std::uint64_t next = 1;
  std::string cusip{};                     // of the message before
  Waiting waiting{};                       // for the number of the line that follows
  std::map<std::uint64_t, Entry> early{};  // came before their turn; at most most_skips_kept
  std::vector<OtherEvent> other_events{};  // at most most_other_events
  std::uint64_t misnumbered_by = 0;  // by how much the line before had a wrong number, modulo 2^64; 0: it had none
  Cause misnumbering{};              // the first line of those that are wrong by as much
  bool left_out = false;             // the line before is of a message that is not to be judged
  bool is_patient = true;            // the bench may still write a record; false: it was waited for in vain
  std::vector<Range>
      skipped{};  // numbers left out so far, so that one that comes after all is told from a repeated one
};

const vorbeld::KindRow* kind_named(std::string_view name) {
  const auto* const found = std::find_if(vorbeld::message_kinds.begin(), vorbeld::message_kinds.end(),
                                         [&](const vorbeld::KindRow& row) { return row.name == name; });
  return found == vorbeld::message_kinds.end() ? nullptr : found;
}

void take_sequence(Entry& entry, const Claim& claim) {
  std::uint64_t number = 0;
  const char* const end = claim.text.data() + claim.text.size();
  const auto result = std::from_chars(claim.text.data(), end, number);
  const bool whole = result.ec == std::errc() && result.ptr == end;
  if (claim.type == Claim::Type::number && whole && number != std::numeric_limits<std::uint64_t>::max()) {
    entry.sequence = number;
  } else {
    entry.wrong_sequence = claim_text(claim);
  }
}

Entry sort_claims(Claims&& claims) {
  Entry entry;
  for (Claim& claim : claims) {
    if (claim.name == "seq") {
      take_sequence(entry, claim);
    } else if (claim.name == "event") {
      entry.row = kind_named(claim.text);
      if (entry.row != nullptr) continue;
      entry.other_event = claim.text;
      entry.row = near_kind(claim.text);
    } else if (claim.name.starts_with(book_prefix)) {
      claim.name.erase(0, book_prefix.size());
      entry.book.push_back(std::move(claim));
    } else if (claim.name != "via" && claim.name != "received_ms") {
      entry.fields.push_back(std::move(claim));
    }
  }
  if (const Claim* const cusip = find_claim(entry.book, "cusip")) entry.cusip_of_book = cusip->text;
  return entry;
}

void differ(Course& course, std::uint64_t sequence, std::string field, std::string expected, std::string received) {
  note(course.audit.reconciliation.discrepancies,
       {sequence, std::move(field), Source::order, std::move(expected), Source::recording, std::move(received)});
}

// Reconciles as soon as the files have what is needed. The bench writes a record right after its message, and none but
// those of halts behind the day's last message.
std::optional<Reconciled> reconcile_once_written(Course& course, std::uint64_t sequence, const Received& received) {
  Reconciliation& all = course.audit.reconciliation;
  const std::uint64_t begun_ms = vorbeld::monotonic_ms();
  while (course.is_patient && all.rules.closed_by == 0) {
    if (auto reconciled = reconcile(all, sequence, &received, false)) return reconciled;
    course.is_patient = vorbeld::monotonic_ms() - begun_ms < record_patience_ms;
    if (course.is_patient) wait_readable({}, 10);
  }
  return reconcile(all, sequence, &received, true);
}

// The line skips numbers. The books go on without the handler, by the records that there are.
void pass_over(Course& course, std::uint64_t until) {
  if (course.skipped.size() < most_skips_kept) {
    course.skipped.push_back({course.next, until - 1});
  } else {
    course.audit.counts.missing += until - course.next;
  }
  Truth& truth = course.audit.reconciliation.truth;
  while (reach_entry(truth, true) && truth.entry.sequence < until) {
    const std::uint64_t sequence = truth.entry.sequence;
    const auto passed = reconcile(course.audit.reconciliation, sequence, nullptr, true,
                                  sequence < course.next ? std::nullopt : std::optional(Cause{}));
    if (passed) note_turned_up(course.audit.history, *passed);
  }
  course.next = until;
}

// Takes the number out of those that were skipped; false when it is none of them.
bool was_skipped(Course& course, std::uint64_t sequence) {
  const auto range = std::find_if(course.skipped.begin(), course.skipped.end(), [&](const Range& skipped) {
    return skipped.first <= sequence && sequence <= skipped.last;
  });
  if (range == course.skipped.end()) return false;
  const Range behind{sequence + 1, range->last};
  range->last = sequence - 1;
  const bool nothing_before = range->last < range->first;
  const auto place = nothing_before ? course.skipped.erase(range) : std::next(range);
  if (behind.first <= behind.last) course.skipped.insert(place, behind);
  return true;
}

// The line goes back: its number was had before, or it is one of those that were skipped.
void look_back(Course& course, std::uint64_t sequence) {
  const std::string newest = "#" + std::to_string(course.next - 1);
  if (was_skipped(course, sequence)) {
    ++course.audit.counts.out_of_order;
    differ(course, sequence, "seq", "before " + newest, "after " + newest);
  } else {
    differ(course, sequence, "seq", "once", "again, after " + newest);
  }
}

Received received_of(const Entry& entry) {
  Received received;
  received.by = Source::recording;
  received.row = entry.row;
  received.claims = &entry.fields;
  received.book = &entry.book;
  received.until_ms = vorbeld::wall_ms();  // when it was received is not told, but certainly before now
  return received;
}

void take_message(Course& course, std::uint64_t sequence, const Entry& entry) {
  Audit& audit = course.audit;
  ++audit.counts.messages;
  if (sequence < course.next) {
    look_back(course, sequence);
    return;
  }
  if (sequence > course.next) pass_over(course, sequence);
  const Received received = received_of(entry);
  const auto reconciled = reconcile_once_written(course, sequence, received);
  take_sample(audit.sample, sequence, received, audit.reconciliation.truth);
  audit.last = sequence;
  if (audit.on_judged) audit.on_judged();
  course.next = sequence + 1;
  if (!reconciled) return;
  if (!reconciled->recorded) return note_turned_up(audit.history, *reconciled);
  course.cusip = reconciled->cusip;
  ++audit.counts.kinds[static_cast<std::size_t>(reconciled->kind)];
  note_message(audit.history, *reconciled, 0);
}

// Before the first number of all there is nothing to leave out.
bool is_left_out(const Course& course, std::uint64_t sequence) {
  const bool is_before = course.audit.from > 1 && sequence < course.audit.from;
  return is_before || is_beyond(course.audit, sequence);
}

void take_entry(Course& course, const Entry& entry) {
  if (!entry.wrong_sequence.empty()) {
    differ(course, course.next, "seq", "a sequence number", entry.wrong_sequence);
  } else if (entry.sequence) {
    take_message(course, *entry.sequence, entry);
  } else if (!entry.book.empty()) {
    const std::string& cusip = entry.cusip_of_book.empty() ? course.cusip : entry.cusip_of_book;
    compare_book(course.audit.reconciliation, course.next - 1, cusip, entry.book);
  }
}

// Takes the line for the message that is due. Lines that are wrong by as much one after the other are one fault.
void take_as_due(Course& course, Entry& entry) {
  const std::uint64_t by = *entry.sequence - course.next;
  Discrepancies& discrepancies = course.audit.reconciliation.discrepancies;
  if (by == course.misnumbered_by) {
    note_follow_up(discrepancies, course.misnumbering);
  } else {
    course.misnumbering =
        note(discrepancies, {std::min(*entry.sequence, course.next), "seq", Source::order, std::to_string(course.next),
                             Source::recording, std::to_string(*entry.sequence)});
  }
  course.misnumbered_by = by;
  entry.sequence = course.next;
  take_entry(course, entry);
}

bool is_misnumbered(Course& course, const Entry& entry, std::optional<std::uint64_t> following) {
  const Fit fit = fit_to_record(course.audit.reconciliation, course.next, received_of(entry));
  const bool as_before = course.misnumbered_by != 0 && *entry.sequence - course.next == course.misnumbered_by;
  return fit == Fit::surely || (fit == Fit::likely && (as_before || following == course.next + 1));
}

// Decides on the line that waits, now that the number of the one that follows is known, if there is one.
void settle_waiting(Course& course, std::optional<std::uint64_t> following) {
  Waiting waiting = std::exchange(course.waiting, {});
  Entry& first = waiting.front();
  const std::uint64_t sequence = *first.sequence;
  const bool is_early = following == course.next && sequence > course.next + 1 && course.early.size() < most_skips_kept;
  if (is_misnumbered(course, first, following)) {
    take_as_due(course, first);
  } else if (is_early) {
    differ(course, course.next, "seq", std::to_string(course.next), std::to_string(sequence) + " before its turn");
    first.book.clear();  // of that time, and not of its turn
    course.early.emplace(sequence, std::move(first));
  } else {
    take_entry(course, first);
  }
  for (std::size_t i = 1; i < waiting.size(); ++i) take_entry(course, waiting[i]);
}

// Those that came before their turn and have it now.
void take_early(Course& course) {
  while (!course.early.empty() && course.early.begin()->first <= course.next) {
    const auto node = course.early.extract(course.early.begin());
    take_entry(course, node.mapped());
  }
}

// The line has an event that the bench does not have. Where the kind is clear in spite of that, it is taken for a
// message, and all such lines are one fault; others are of no message.
void settle_event(Course& course, Entry& entry) {
  auto other = std::find_if(course.other_events.begin(), course.other_events.end(),
                            [&](const OtherEvent& each) { return each.name == entry.other_event; });
  const bool is_new = other == course.other_events.end();
  if (is_new && course.other_events.size() < most_other_events) {
    other = course.other_events.insert(other, OtherEvent{entry.other_event, entry.row});
  }
  const bool is_kept = other != course.other_events.end();
  if (entry.row == nullptr || !entry.sequence) {
    if (is_kept && entry.sequence && other->numbers.size() < most_skips_kept) other->numbers.push_back(*entry.sequence);
    entry.sequence.reset();
    entry.wrong_sequence.clear();
    if (entry.cusip_of_book.empty()) entry.book.clear();  // it is not known of which bond it is
    return;
  }
  Audit& audit = course.audit;
  Discrepancies& discrepancies = audit.reconciliation.discrepancies;
  if (!is_kept || !other->cause) {
    const Cause cause = note(discrepancies, {*entry.sequence, "event", Source::rule, std::string(entry.row->name),
                                             Source::recording, shown(entry.other_event)});
    if (is_kept) other->cause = cause;
    if (audit.likely.empty()) {
      audit.likely = "event \"" + shown(entry.other_event) + "\" is not one of the bench's; did you mean \"" +
                     std::string(entry.row->name) + "\"?";
    }
  } else {
    note_follow_up(discrepancies, *other->cause);
  }
}

// Puts lines with wrong numbers and lines that came before their turn into their places, so that each is one
// discrepancy and not one with every line that follows.
void take_in_order(Course& course, Entry&& entry) {
  if (!course.waiting.empty() && !entry.sequence) {
    course.waiting.push_back(std::move(entry));
    return;
  }
  if (!course.waiting.empty()) settle_waiting(course, entry.sequence);
  take_early(course);
  if (entry.sequence == course.next) course.misnumbered_by = 0;
  if (entry.sequence && *entry.sequence > course.next) {
    course.waiting.push_back(std::move(entry));
    return;
  }
  const bool goes_back = entry.sequence && *entry.sequence < course.next;
  if (goes_back && is_misnumbered(course, entry, std::nullopt)) {
    take_as_due(course, entry);
  } else {
    take_entry(course, entry);
  }
  take_early(course);
}

void take_line(Course& course, const Line& line, Claims& scratch) {
  if (!line.is_too_long && line.text.find_first_not_of(" \t\r") == std::string_view::npos) return;
  if (read_claims(line.text, scratch)) {
    Entry entry = sort_claims(std::move(scratch));
    if (entry.sequence) course.left_out = is_left_out(course, *entry.sequence);
    if (course.left_out) return;
    if (!entry.other_event.empty()) settle_event(course, entry);
    take_in_order(course, std::move(entry));
  } else if (!line.is_ended) {
    course.audit.notes.push_back("the recording is cut off in its last line: it is judged as far as it goes");
  } else if (!course.left_out) {
    const std::string which = "line " + std::to_string(line.number);
    differ(course, course.next, "line", "a JSON object", line.is_too_long ? which + ", which is too long" : which);
  }
}

// What the bench sent after the last line was not received, as far as it is due.
void check_tail(Course& course) {
  Audit& audit = course.audit;
  const TruthExtent extent = read_extent(audit.reconciliation.truth);
  audit.truth_last = extent.last;
  const std::uint64_t last = due_number(extent, audit.to);
  if (last >= course.next) course.skipped.push_back({course.next, last});
}

void count_missing(Course& course) {
  for (const Range& range : course.skipped) {
    course.audit.counts.missing += range.last - range.first + 1;
    list_missing(course.audit.missing, range);
  }
}

// Messages that are missing while the recording has lines with their numbers, but of another event.
void explain_missing(Course& course) {
  Audit& audit = course.audit;
  for (const OtherEvent& other : course.other_events) {
    const auto missed = std::count_if(other.numbers.begin(), other.numbers.end(), [&](std::uint64_t number) {
      return std::any_of(course.skipped.begin(), course.skipped.end(),
                         [&](const Range& range) { return range.first <= number && number <= range.last; });
    });
    if (missed < 2 || !audit.likely.empty()) continue;
    audit.likely =
        "lines of missing messages have the event \"" + shown(other.name) + "\", which is not one of the bench's";
  }
}

}  // namespace

void reconcile_recording(Audit& audit, const Input& input) {
  LineReader file = open_reader(input.path);
  if (input.is_cut) audit.notes.push_back(cut_note(input.name));
  audit.on_the_wire = false;
  Course course{audit, std::max<std::uint64_t>(audit.from, 1)};
  course.left_out = audit.from > 1;
  Claims scratch;
  while (const auto line = next_line(file, true)) take_line(course, *line, scratch);
  if (!course.waiting.empty()) settle_waiting(course, std::nullopt);
  while (!course.early.empty()) {
    const auto node = course.early.extract(course.early.begin());
    take_entry(course, node.mapped());
  }
  check_tail(course);
  explain_missing(course);
  count_missing(course);
}

}  // namespace vorbelctl
