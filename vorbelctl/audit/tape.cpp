#include "vorbelctl/audit/tape.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "vorbelctl/audit/eastern_time.h"

namespace vorbelctl {
namespace {

// The first line of a run is its first trade's: trade ids begin with 1.
constexpr std::string_view first_line_has = "\"trade_id\":\"0000001\"";

// How long a trade may lie between being stamped and being written down: a stalled disk, a stopped process.
constexpr std::uint64_t patience_ms = 60000;

// The tape's one-digit word for the cap that a quantity went over.
char cap_of(const TruthRecord& trade) {
  if (cell(trade, "capped").text != "true") return '0';
  return cell(trade, "quantity").number == 1e6 ? '1' : '5';
}

// A trade that came over a trading system says so twice: in its ATS mark, and in where it was reported, unless the
// generator made it. Nothing else is known of venue and where.
bool route_fits(const TapeLine& line, const TruthRecord& trade) {
  const bool on_system = cell(trade, "ats").text == "Y";
  if (line.where == "book") return on_system;
  return !on_system || (line.venue == "SYN" && line.where == "away");
}

// The lag is counted from the execution to a moment shortly before the line was written, and never negative.
bool lag_fits(const TapeLine& line) {
  const std::uint64_t most = line.written_ms > line.executed_ms ? line.written_ms - line.executed_ms : 0;
  return line.report_lag_ms <= most && most - line.report_lag_ms <= patience_ms;
}

// Makes the next line the one at hand; false while there is none.
bool read_next(Tape& tape, bool no_more) {
  if (tape.ended) return false;
  const auto line = next_line(tape.file, no_more);
  if (!line) return false;
  const std::uint64_t before = tape.line.sequence;
  tape.text = line->text;
  tape.line_at = line->at;
  tape.wrong_key = read_tape(tape.text, tape.line);
  // A bench that is started anew goes on in the same file.
  tape.ended = tape.lines != 0 && tape.wrong_key.empty() && tape.line.sequence < before &&
               tape.text.find(first_line_has) != std::string::npos;
  if (tape.ended) return false;
  ++tape.lines;
  tape.there = true;
  return true;
}

// Takes the line off the tape as one that belongs to no trade.
void pass_over(Tape& tape) {
  const std::uint64_t sequence = tape.line.sequence;
  tape.found.push_back({sequence, "tape.seq", Source::truth, "no such trade", Source::tape, std::to_string(sequence)});
  tape.there = false;
}

// The comparison of one line with one record.
struct LineComparison {
  std::uint64_t sequence;
  std::vector<Discrepancy>& found;

  void differ(std::string_view name, Source source, std::string expected, std::string received) const {
    found.push_back(
        {sequence, "tape." + std::string(name), source, std::move(expected), Source::tape, std::move(received)});
  }
  void same(std::string_view name, std::string_view expected, std::string_view received) const {
    if (expected != received) differ(name, Source::truth, shown(expected), shown(received));
  }
  void same(std::string_view name, char expected, char received) const {
    same(name, std::string_view(&expected, 1), std::string_view(&received, 1));
  }
};

bool same_amount(const Cell& expected, const Cell& received, double tolerance) {
  return expected.text == received.text || same_number(expected.number, received.number, tolerance);
}

void compare_amounts(const LineComparison& comparison, const TapeLine& line, const TruthRecord& trade) {
  const Cell& price = cell(trade, "price");
  const Cell& quantity = cell(trade, "quantity");
  if (!same_amount(price, line.price, 1e-9)) {
    comparison.differ("price", Source::truth, shown(price.text), shown(line.price.text));
  }
  // Written without decimals, and rounded from more of them than the truth file shows.
  if (!same_amount(quantity, line.quantity, 0.51)) {
    comparison.differ("quantity", Source::truth, shown(quantity.text), shown(line.quantity.text));
  }
  comparison.same("cap", cap_of(trade), line.cap);
}

void compare_parties(const LineComparison& comparison, const TapeLine& line, const TruthRecord& trade) {
  comparison.same("side", cell(trade, "side").text.front(), line.side);
  comparison.same("reporting_party", cell(trade, "reporting_party").text.front(), line.reporting_party);
  comparison.same("contra_party", cell(trade, "contra_party").text.front(), line.contra_party);
}

void compare_times(const LineComparison& comparison, const TapeLine& line, const TruthRecord& trade) {
  const std::string executed_at = local_date_time(static_cast<std::int64_t>(line.executed_ms / 1000));
  if (!executed_at.empty()) comparison.same("exec_ts_ms", cell(trade, "executed_at").text, executed_at);
  if (!lag_fits(line)) {
    comparison.differ("report_lag_ms", Source::record, "the time from exec_ts_ms to shortly before ts_ms",
                      std::to_string(line.report_lag_ms));
  }
  comparison.same("settle", cell(trade, "settlement").text, line.settlement);
}

}  // namespace

void open_tape(Tape& tape, const std::string& path) {
  const RunExtent run = find_last_run(path, first_line_has);
  tape.file = open_reader(path);
  tape.file.run = run;
  go_to_run(tape.file, run);
}

Presence reach_line(Tape& tape, std::uint64_t sequence, std::string_view trade_id, bool no_more) {
  for (;;) {
    if (!tape.there && !read_next(tape, no_more)) return no_more ? Presence::absent : Presence::not_yet;
    // A line that does not read is taken for the one that is expected in its place, and so is one that names the trade
    // under another number.
    const bool reads = tape.wrong_key.empty();
    if (!reads || tape.line.sequence == sequence || tape.line.trade_id == trade_id) return Presence::there;
    if (tape.line.sequence > sequence) return Presence::absent;
    pass_over(tape);
  }
}

std::uint64_t peek_written_ms(Tape& tape) {
  const bool there = tape.there || read_next(tape, false);
  return there && tape.wrong_key.empty() && lag_fits(tape.line) ? tape.line.written_ms : 0;
}

void pass_rest(Tape& tape, std::uint64_t last) {
  while (tape.there || read_next(tape, false)) {
    if (!tape.wrong_key.empty()) {
      tape.found.push_back(
          {last, "tape.line", Source::truth, "no more trades", Source::tape, "a line that does not read"});
      tape.there = false;
      continue;
    }
    if (tape.line.sequence > last) return;
    pass_over(tape);
  }
}

std::optional<FieldId> field_of_tape(std::string_view name) {
  struct Row {
    std::string_view name;
    FieldId field;
  };
  static constexpr std::array rows{Row{"tape.cusip", "cusip"},
                                   Row{"tape.symbol", "symbol"},
                                   Row{"tape.price", "price"},
                                   Row{"tape.quantity", "quantity"},
                                   Row{"tape.cap", "quantity"},
                                   Row{"tape.side", "side"},
                                   Row{"tape.reporting_party", "reporting_party"},
                                   Row{"tape.contra_party", "contra_party"},
                                   Row{"tape.exec_ts_ms", "executed_at"},
                                   Row{"tape.settle", "settlement"},
                                   Row{"tape.trade_id", "trade_id"},
                                   Row{"tape.where", "ats"}};
  const auto* const row = std::find_if(rows.begin(), rows.end(), [&](const Row& each) { return each.name == name; });
  return row == rows.end() ? std::nullopt : std::optional(row->field);
}

std::optional<std::uint64_t> compare_line(Tape& tape, std::uint64_t sequence, const TruthRecord& trade,
                                          std::vector<Discrepancy>& found) {
  tape.there = false;
  const LineComparison comparison{sequence, found};
  if (!tape.wrong_key.empty()) {
    comparison.differ(tape.wrong_key, Source::truth, "a line that reads", "one that does not");
    return {};
  }
  const TapeLine& line = tape.line;
  if (line.sequence != sequence) {
    comparison.differ("seq", Source::truth, std::to_string(sequence), std::to_string(line.sequence));
  }
  if (line.written_ms < tape.written_ms) {
    comparison.differ("ts_ms", Source::order, fmt::format("not before {}", tape.written_ms),
                      std::to_string(line.written_ms));
  }
  comparison.same("cusip", cell(trade, "cusip").text, line.cusip);
  comparison.same("symbol", cell(trade, "symbol").text, line.symbol);
  compare_amounts(comparison, line, trade);
  compare_parties(comparison, line, trade);
  compare_times(comparison, line, trade);
  comparison.same("trade_id", cell(trade, "trade_id").text, line.trade_id);
  if (!route_fits(line, trade)) {
    comparison.differ("where", Source::truth, cell(trade, "ats").text == "Y" ? "book" : "not book",
                      shown(fmt::format("{} {}", line.venue, line.where)));
  }
  if (line.written_ms < tape.written_ms || !lag_fits(line)) return {};
  return tape.written_ms = line.written_ms;
}

}  // namespace vorbelctl
