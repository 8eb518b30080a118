#include "vorbelctl/audit/recording.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>

#include "common/clocks.h"
#include "vorbelctl/audit/day.h"
#include "vorbelctl/audit/json_claims.h"
#include "vorbelctl/audit/line_reader.h"

namespace vorbelctl {
namespace {

constexpr std::size_t most_skips_kept = 1000;

// One line taken apart.
struct Entry {
  std::optional<std::uint64_t> sequence;  // nothing: the line is of no message
  std::string wrong_sequence;             // what stands there instead of a sequence number; empty: nothing wrong does
  std::string cusip_of_book;              // of a line that states a book by itself
  const vorbeld::KindRow* row = nullptr;  // null: the kind was not said
  Claims fields;
  Claims book;
};

// Where the file stands.
struct Course {
  Audit& audit;
  std::uint64_t next = 1;
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
  constexpr std::string_view book_prefix = "book.";
  Entry entry;
  bool of_a_message = true;
  for (Claim& claim : claims) {
    if (claim.name == "seq") {
      take_sequence(entry, claim);
    } else if (claim.name == "event") {
      entry.row = kind_named(claim.text);
      of_a_message = entry.row != nullptr;
    } else if (claim.name.starts_with(book_prefix)) {
      claim.name.erase(0, book_prefix.size());
      entry.book.push_back(std::move(claim));
    } else if (claim.name != "via" && claim.name != "received_ms") {
      entry.fields.push_back(std::move(claim));
    }
  }
  if (!of_a_message) {
    entry.sequence.reset();
    entry.wrong_sequence.clear();
  }
  if (const Claim* const cusip = find_claim(entry.book, "cusip")) entry.cusip_of_book = cusip->text;
  return entry;
}

void differ(Course& course, std::uint64_t sequence, std::string field, std::string expected, std::string received) {
  note(course.audit.reconciliation.discrepancies,
       {sequence, std::move(field), Source::order, std::move(expected), Source::recording, std::move(received)});
}

// The line skips numbers. The books go on without the handler.
void pass_over(Course& course, std::uint64_t until) {
  if (course.skipped.size() < most_skips_kept) {
    course.skipped.push_back({course.next, until - 1});
  } else {
    course.audit.counts.missing += until - course.next;
  }
  for (; course.next < until; ++course.next) {
    const auto passed = reconcile(course.audit.reconciliation, course.next, nullptr, true, Cause{});
    if (passed) note_turned_up(course.audit.history, *passed);
  }
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

void take_message(Course& course, std::uint64_t sequence, const Entry& entry) {
  Audit& audit = course.audit;
  ++audit.counts.messages;
  if (sequence < course.next) {
    look_back(course, sequence);
    return;
  }
  if (sequence > course.next) pass_over(course, sequence);
  Received received;
  received.by = Source::recording;
  received.row = entry.row;
  received.claims = &entry.fields;
  received.book = &entry.book;
  received.until_ms = vorbeld::wall_ms();  // when it was received is not told, but certainly before now
  const auto reconciled = reconcile(audit.reconciliation, sequence, &received, true);
  audit.last = sequence;
  course.next = sequence + 1;
  if (!reconciled) return;
  if (!reconciled->recorded) return note_turned_up(audit.history, *reconciled);
  ++audit.counts.kinds[static_cast<std::size_t>(reconciled->kind)];
  note_message(audit.history, *reconciled, 0);
}

void take_entry(Course& course, const Entry& entry) {
  if (!entry.wrong_sequence.empty()) {
    differ(course, course.next, "seq", "a sequence number", entry.wrong_sequence);
  } else if (entry.sequence) {
    take_message(course, *entry.sequence, entry);
  } else if (!entry.cusip_of_book.empty()) {
    compare_book(course.audit.reconciliation, course.next - 1, entry.cusip_of_book, entry.book);
  }
}

void take_line(Course& course, const Line& line, Claims& scratch) {
  if (line.text.empty()) return;
  if (read_claims(line.text, scratch)) {
    take_entry(course, sort_claims(std::move(scratch)));
  } else {
    differ(course, course.next, "line", "a JSON object", "line " + std::to_string(line.number));
  }
}

// What the bench sent after the last line was not received.
void check_tail(Course& course) {
  Truth& truth = course.audit.reconciliation.truth;
  std::uint64_t last = 0;
  while (reach_entry(truth, true)) {
    last = truth.entry.sequence;
    truth.entry.there = false;
  }
  if (last >= course.next) course.skipped.push_back({course.next, last});
}

void count_missing(Course& course) {
  for (const Range& range : course.skipped) {
    course.audit.counts.missing += range.last - range.first + 1;
    list_missing(course.audit.missing, range);
  }
}

}  // namespace

void reconcile_recording(Audit& audit, const std::string& path) {
  LineReader file = open_reader(path);
  audit.on_the_wire = false;
  Course course{audit, std::max<std::uint64_t>(audit.from, 1)};
  Claims scratch;
  while (const auto line = next_line(file, true)) take_line(course, *line, scratch);
  check_tail(course);
  count_missing(course);
}

}  // namespace vorbelctl
