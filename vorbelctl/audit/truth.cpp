#include "vorbelctl/audit/truth.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "vorbelctl/audit/rules.h"

namespace vorbelctl {
namespace {

constexpr std::string_view first_record_has = "\"cat\":\"C\",\"type\":\"I\"";
constexpr std::uint64_t lost_line = std::numeric_limits<std::uint64_t>::max();

// A number further off is not believed, whatever is lost: places are kept for all trades before it.
constexpr std::uint64_t most_lost_trades = 100000;

// The next line of the run. A bench that is started anew goes on in the same file: its first record ends this run.
std::optional<Line> next_of_run(Truth& truth, bool no_more) {
  if (truth.ended) return {};
  auto line = next_line(truth.file, no_more);
  if (!line) return line;
  truth.ended =
      truth.begun && leading_sequence(line->text) == 1 && line->text.find(first_record_has) != line->text.npos;
  truth.begun = true;
  if (truth.ended) truth.other_run_at = line->at;
  return truth.ended ? std::nullopt : line;
}

// Puts the next line into the entry.
bool take_line(Truth& truth, bool no_more) {
  TruthEntry& entry = truth.entry;
  if (!truth.ahead.empty()) {
    entry.line = std::move(truth.ahead.front().text);
    entry.line_at = truth.ahead.front().at;
    truth.ahead.pop_front();
    return true;
  }
  const auto line = next_of_run(truth, no_more);
  if (!line) return false;
  entry.line = line->text;
  entry.line_at = line->at;
  return true;
}

// The sequence number of the record after the one just taken; nothing while it is not there.
std::optional<std::uint64_t> peek_sequence(Truth& truth, bool no_more) {
  for (std::size_t i = 0;; ++i) {
    if (i == truth.ahead.size()) {
      const auto line = next_of_run(truth, no_more);
      if (!line) return {};
      truth.ahead.push_back({line->at, std::string(line->text)});
    }
    if (const std::uint64_t sequence = leading_sequence(truth.ahead[i].text)) return sequence;
  }
}

void take_mark(Truth& truth, const Mark& mark) {
  ++truth.marks;
  const std::string label = unescaped(mark.label);
  if (truth.labels.size() < most_labels_kept) truth.labels.push_back(label);
  if (const std::string_view wrong = wrong_label(label); !wrong.empty()) {
    truth.found.push_back({truth.previous, "mark", Source::rule, std::string(wrong), Source::truth, shown(mark.label)});
  }
  if (truth.previous == 0 || mark.sequence == truth.previous) return;
  truth.found.push_back({truth.previous, "mark.seq", Source::order, std::to_string(truth.previous), Source::truth,
                         std::to_string(mark.sequence)});
}

void read_entry(TruthEntry& entry) {
  entry.wrong_key = read_truth(entry.line, entry.record);
  entry.sequence = entry.wrong_key == "line" ? 0 : leading_sequence(entry.line);
}

enum class Place : std::uint8_t { fits, unknown, stray };

// A line without a number stands for a record when the one that is wanted does not follow it.
Place settle_unnumbered(Truth& truth, std::optional<std::uint64_t> following) {
  TruthEntry& entry = truth.entry;
  entry.sequence = truth.previous + 1;
  if (following != entry.sequence) return Place::fits;
  truth.found.push_back(
      {entry.sequence, "truth.line", Source::order, "records and marks", Source::truth, "a line that is neither"});
  return Place::stray;
}

// Records go up by one. Where one does not, the record behind it tells whether its own number is wrong, others are
// missing before it, or it does not belong here.
Place settle_place(Truth& truth, bool no_more) {
  TruthEntry& entry = truth.entry;
  const std::uint64_t wanted = truth.previous + 1;
  const bool in_order = entry.sequence == wanted || (truth.previous == 0 && entry.sequence != 0);
  if (in_order) return Place::fits;
  const auto following = peek_sequence(truth, no_more);
  if (!following && !no_more) return Place::unknown;
  if (entry.sequence == 0) return settle_unnumbered(truth, following);
  const bool others_missing = entry.sequence > wanted && following != wanted && following != wanted + 1;
  if (others_missing) return Place::fits;
  truth.found.push_back(
      {wanted, "seq", Source::order, std::to_string(wanted), Source::truth, std::to_string(entry.sequence)});
  if (following != wanted + 1) return Place::stray;
  entry.sequence = wanted;
  return Place::fits;
}

}  // namespace

void open_truth(Truth& truth, const std::string& path) {
  const RunExtent run = find_last_run(path, first_record_has);
  truth.file = open_reader(path);
  truth.last_known = run.last;
  truth.file.run = run;
  go_to_run(truth.file, run);
}

std::uint64_t reached_at(const Truth& truth) {
  const std::uint64_t next_at = truth.ahead.empty() ? truth.file.next_at : truth.ahead.front().at;
  return std::min({truth.entry.there ? truth.entry.line_at : next_at, truth.other_run_at, truth.unused_at});
}

bool reach_entry(Truth& truth, bool no_more) {
  TruthEntry& entry = truth.entry;
  while (!entry.there) {
    if (!take_line(truth, no_more)) return false;
    Mark mark;
    if (read_mark(entry.line, mark)) {
      take_mark(truth, mark);
      continue;
    }
    read_entry(entry);
    const Place place = settle_place(truth, no_more);
    if (place == Place::unknown) {
      truth.ahead.push_front({entry.line_at, std::move(entry.line)});
      return false;
    }
    if (place == Place::stray) continue;
    truth.unread += entry.sequence - truth.previous - 1 + (entry.wrong_key.empty() ? 0 : 1);
    truth.previous = entry.sequence;
    ++truth.records;
    entry.there = true;
  }
  return true;
}

bool may_be_next(const Truth& truth, std::uint64_t trade_number) {
  const std::uint64_t next = truth.trades.size() + 1;
  return trade_number >= next && trade_number - next <= std::min(truth.unread, most_lost_trades);
}

bool may_be_lost(const Truth& truth, std::uint64_t trade_number) {
  if (trade_number == 0) return false;
  if (trade_number > truth.trades.size()) return trade_number - truth.trades.size() <= truth.unread;
  return truth.trades[trade_number - 1].line_at == lost_line;
}

void index_trade(Truth& truth, std::uint64_t trade_number, std::uint32_t sent_date) {
  if (may_be_next(truth, trade_number)) truth.trades.resize(trade_number - 1, {lost_line, 0, false, false});
  truth.trades.push_back({truth.entry.line_at, sent_date, false, false});
  truth.unread = 0;
}

bool find_trade(Truth& truth, std::uint64_t trade_number, TruthEntry& trade) {
  const IndexedTrade* const indexed = indexed_trade(truth, trade_number);
  if (indexed == nullptr || indexed->line_at == lost_line) return false;
  auto line = line_at(truth.file, indexed->line_at);
  if (!line) return false;
  trade.line = std::move(*line);
  read_entry(trade);
  trade.there = trade.wrong_key.empty() && brings_trade(trade.record.row->kind);
  return trade.there;
}

IndexedTrade* indexed_trade(Truth& truth, std::uint64_t trade_number) {
  if (trade_number == 0 || trade_number > truth.trades.size()) return nullptr;
  return &truth.trades[trade_number - 1];
}

}  // namespace vorbelctl
