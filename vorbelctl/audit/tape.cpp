#include "vorbelctl/audit/tape.h"

#include <cmath>
#include <utility>

#include "vorbelctl/audit/eastern_time.h"
#include "vorbelctl/audit/json_line.h"

namespace vorbelctl {
namespace {

// The first line of a run is its first trade's: trade ids begin with 1.
constexpr std::string_view first_line_has = "\"trade_id\":\"0000001\"";

// How long a trade may lie between being stamped and being written down: a stalled disk, a stopped process.
constexpr std::uint64_t patience_ms = 60000;

// The tape's one-digit word for the cap that a quantity went over.
Value cap_of(const TruthRecord& trade) {
  return std::string(!trade.capped ? "0" : trade.terms.quantity == 1e6 ? "1" : "5");
}

// A trade that came over a trading system says so twice: in its ATS mark, and in where it was reported, unless the
// generator made it. Nothing else is known of venue and where.
bool route_fits(const TapeRecord& line, const TruthRecord& trade) {
  if (line.where == "book") return trade.terms.ats == 'Y';
  return trade.terms.ats != 'Y' || (line.venue == "SYN" && line.where == "away");
}

// The lag is counted from the execution to a moment shortly before the line was written, and never negative.
bool lag_fits(const TapeRecord& line) {
  const std::uint64_t most = line.written_ms > line.executed_ms ? line.written_ms - line.executed_ms : 0;
  return line.report_lag_ms <= most && most - line.report_lag_ms <= patience_ms;
}

// Makes the next line the entry; false while there is none.
bool read_entry(Tape& tape, bool no_more) {
  const auto line = next_line(tape.file, no_more);
  if (!line) return false;
  ++tape.lines;
  const auto fields = parse_object(line->text);
  tape.entry = fields ? read_tape(*fields) : Read<TapeRecord>{{}, "line"};
  return true;
}

// Takes the entry off the tape as one that belongs to no trade.
void complain_of_entry(Tape& tape) {
  const std::uint64_t sequence = tape.entry->record.sequence;
  tape.complaints.push_back(
      {sequence, "tape.seq", Witness::truth, "no such trade", Witness::tape, std::to_string(sequence)});
  tape.entry.reset();
}

}  // namespace

Tape open_tape(const std::string& path) {
  const RunExtent run = find_last_run(path, first_line_has);
  Tape tape;
  tape.file = open_lines(path);
  go_to_run(tape.file, run);
  return tape;
}

Presence reach_line(Tape& tape, std::uint64_t sequence, const std::string& trade_id, bool no_more) {
  for (;;) {
    if (!tape.entry) {
      if (!read_entry(tape, no_more)) return no_more ? Presence::absent : Presence::not_yet;
    }
    // A line that does not read is taken for the one that is expected in its place, and so is one that names the trade
    // under another number.
    const TapeRecord& record = tape.entry->record;
    const bool reads = tape.entry->wrong_key.empty();
    if (!reads || record.sequence == sequence || record.trade_id == trade_id) return Presence::there;
    if (record.sequence > sequence) return Presence::absent;
    complain_of_entry(tape);
  }
}

void pass_rest(Tape& tape, std::uint64_t last) {
  while (tape.entry || read_entry(tape, false)) {
    if (!tape.entry->wrong_key.empty()) {
      tape.complaints.push_back(
          {last, "tape.line", Witness::truth, "no more trades", Witness::tape, "a line that does not read"});
      tape.entry.reset();
      continue;
    }
    if (tape.entry->record.sequence > last) return;
    complain_of_entry(tape);
  }
}

std::optional<std::uint64_t> compare_line(Tape& tape, std::uint64_t sequence, const TruthRecord& trade,
                                          Findings& findings) {
  const Read<TapeRecord> entry = *std::exchange(tape.entry, std::nullopt);
  if (!entry.wrong_key.empty()) {
    add_difference(findings, {sequence, "tape." + entry.wrong_key, Witness::truth, "a line that reads", Witness::tape,
                              "one that does not"});
    return {};
  }
  const TapeRecord& line = entry.record;
  const auto compare = [&](const char* name, const Value& expected, const Value& found) {
    compare_value(findings, sequence, std::string("tape.") + name, Witness::truth, expected, Witness::tape, found);
  };
  const auto demand = [&](bool fits, const char* name, Witness by, const std::string& expected, const Value& found) {
    if (!fits) {
      add_difference(findings, {sequence, std::string("tape.") + name, by, expected, Witness::tape, value_text(found)});
    }
  };
  const auto character = [](char c) { return Value(std::string(1, c)); };

  compare("seq", sequence, line.sequence);
  demand(line.written_ms >= tape.written_ms, "ts_ms", Witness::order, "not before " + std::to_string(tape.written_ms),
         line.written_ms);
  compare("cusip", trade.cusip, line.cusip);
  compare("symbol", trade.symbol, line.symbol);
  compare("price", Number{trade.terms.price, 6}, Number{line.price, 6});
  // Written without decimals, and rounded from more of them than the truth file shows.
  demand(!(std::fabs(line.quantity - trade.terms.quantity) > 0.51), "quantity", Witness::truth,
         value_text(Number{trade.terms.quantity, 2}), Number{line.quantity, 0});
  compare("cap", cap_of(trade), character(line.cap));
  compare("side", character(trade.terms.side), character(line.side));
  compare("reporting_party", character(trade.terms.reporting_party), character(line.reporting_party));
  compare("contra_party", character(trade.terms.contra_party), character(line.contra_party));
  const std::string executed_at = local_date_time(static_cast<std::int64_t>(line.executed_ms / 1000));
  if (!executed_at.empty()) compare("exec_ts_ms", trade.terms.executed_at, executed_at);
  demand(lag_fits(line), "report_lag_ms", Witness::tape, "the time from exec_ts_ms to shortly before ts_ms",
         line.report_lag_ms);
  compare("settle", trade.terms.settlement, line.settlement);
  compare("trade_id", trade.trade_id, line.trade_id);
  demand(route_fits(line, trade), "where", Witness::truth, trade.terms.ats == 'Y' ? "book" : "not book",
         line.venue + " " + line.where);
  if (line.written_ms < tape.written_ms || !lag_fits(line)) return {};
  return tape.written_ms = line.written_ms;
}

}  // namespace vorbelctl
