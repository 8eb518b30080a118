#include "vorbelctl/audit/capture.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>

#include "common/clocks.h"
#include "vorbelctl/audit/json_line.h"
#include "vorbelctl/audit/lines.h"

namespace vorbelctl {
namespace {

constexpr std::size_t most_skips_kept = 1000;

// One line taken apart.
struct Entry {
  std::optional<std::uint64_t> sequence;  // nothing: the line is of no message
  std::string wrong_sequence;             // what stands there instead of a sequence number; empty: nothing wrong does
  std::string cusip_of_book;              // of a line that states a book by itself
  Heard heard;
};

// Where the file stands.
struct Course {
  Audit& audit;
  std::uint64_t next = 1;
  std::vector<Range> skipped;  // numbers left out so far, so that one that comes after all is told from a repeated one
};

std::optional<Kind> kind_of(const std::string& name) {
  constexpr std::array kinds{Kind::trade, Kind::cancel, Kind::correction, Kind::halt, Kind::summary, Kind::control};
  const auto* const found =
      std::find_if(kinds.begin(), kinds.end(), [&](Kind kind) { return kind_name(kind) == name; });
  return found == kinds.end() ? std::nullopt : std::optional(*found);
}

Entry sort_fields(FieldList&& fields) {
  constexpr std::string_view book_prefix = "book.";
  Entry entry;
  entry.heard.by = Witness::capture;
  entry.heard.heard_ms = vorbeld::wall_ms();  // when it was heard is not told, but certainly before now
  bool of_a_message = true;
  for (auto& [name, value] : fields) {
    if (name == "seq") {
      const auto* const number = std::get_if<std::uint64_t>(&value);
      if (number != nullptr && *number != std::numeric_limits<std::uint64_t>::max()) {
        entry.sequence = *number;
      } else {
        entry.wrong_sequence = json_line({{"seq", value}});
      }
    } else if (name == "event") {
      const auto* const event = std::get_if<std::string>(&value);
      if (event != nullptr) entry.heard.kind = kind_of(*event);
      of_a_message = entry.heard.kind.has_value();
    } else if (name.starts_with(book_prefix)) {
      entry.heard.book.push_back({name.substr(book_prefix.size()), std::move(value)});
    } else if (name != "via") {
      entry.heard.fields.push_back({std::move(name), std::move(value)});
    }
  }
  if (!of_a_message) {
    entry.sequence.reset();
    entry.wrong_sequence.clear();
  }
  if (const std::string* const cusip = text_field(entry.heard.book, "cusip")) entry.cusip_of_book = *cusip;
  return entry;
}

void complain(Course& course, std::uint64_t sequence, const std::string& field, const std::string& expected,
              const std::string& found) {
  add_difference(course.audit.judge.findings, {sequence, field, Witness::order, expected, Witness::capture, found});
}

// The line skips numbers: the first of them is the one that is wrong. The books go on without the handler.
void pass_over(Course& course, std::uint64_t until) {
  complain(course, course.next, "seq", std::to_string(course.next), std::to_string(until));
  if (course.skipped.size() < most_skips_kept) course.skipped.push_back({course.next, until - 1});
}

// The line goes back: its number was had before, or it is one of those that were skipped.
void look_back(Course& course, std::uint64_t sequence) {
  const bool was_skipped = std::any_of(course.skipped.begin(), course.skipped.end(), [&](const Range& range) {
    return range.first <= sequence && sequence <= range.last;
  });
  complain(course, sequence, "seq", std::to_string(course.next),
           std::to_string(sequence) + (was_skipped ? ", out of order" : " again"));
}

void take_message(Course& course, std::uint64_t sequence, const Heard& heard) {
  Audit& audit = course.audit;
  ++audit.counts.messages;
  if (sequence < course.next) {
    look_back(course, sequence);
    return;
  }
  if (sequence > course.next) pass_over(course, sequence);
  const auto judged = judge_message(audit.judge, sequence, &heard, true);
  audit.last = sequence;
  course.next = sequence + 1;
  if (!judged || !judged->recorded) return;
  count_kind(audit.counts, judged->record.kind);
  note_message(audit.history, *judged, 0);
}

void take_entry(Course& course, const Entry& entry) {
  if (!entry.wrong_sequence.empty()) {
    complain(course, course.next, "seq", "a sequence number", entry.wrong_sequence);
  } else if (entry.sequence) {
    take_message(course, *entry.sequence, entry.heard);
  } else if (!entry.cusip_of_book.empty()) {
    judge_book(course.audit.judge, course.next - 1, entry.cusip_of_book, entry.heard.book);
  }
}

void take_line(Course& course, const Line& line) {
  if (line.text.empty()) return;
  auto fields = parse_object(line.text);
  if (fields) {
    take_entry(course, sort_fields(std::move(*fields)));
  } else {
    complain(course, course.next, "line", "a JSON object", "line " + std::to_string(line.number));
  }
}

// What the bench sent after the last line was not heard.
void check_tail(Course& course) {
  Truth& truth = course.audit.judge.truth;
  std::uint64_t last = 0;
  while (reach_entry(truth, true)) {
    last = truth.entry->sequence;
    truth.entry.reset();
  }
  if (last >= course.next) complain(course, course.next, "seq", std::to_string(course.next), "the end");
}

}  // namespace

void judge_capture(Audit& audit, const std::string& path) {
  LineFile file = open_lines(path);
  audit.on_the_wire = false;
  Course course{audit, std::max<std::uint64_t>(audit.from, 1), {}};
  while (const auto line = next_line(file, true)) take_line(course, *line);
  check_tail(course);
}

}  // namespace vorbelctl
