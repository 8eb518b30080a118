#include "vorbelctl/audit/truth.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "vorbelctl/audit/json_line.h"

namespace vorbelctl {
namespace {

constexpr std::string_view first_record_has = "\"cat\":\"C\",\"type\":\"I\"";
constexpr std::uint64_t lost_line = std::numeric_limits<std::uint64_t>::max();

// A number further off is not believed, whatever is lost: places are kept for all trades before it.
constexpr std::uint64_t most_lost_trades = 100000;

std::optional<Truth::KeptLine> take_line(Truth& truth, bool no_more) {
  if (!truth.ahead.empty()) {
    Truth::KeptLine line = std::move(truth.ahead.front());
    truth.ahead.pop_front();
    return line;
  }
  const auto line = next_line(truth.file, no_more);
  if (!line) return {};
  return Truth::KeptLine{line->at, std::string(line->text)};
}

// The sequence number of the record after the one just taken; nothing while it is not there.
std::optional<std::uint64_t> peek_sequence(Truth& truth, bool no_more) {
  for (std::size_t i = 0;; ++i) {
    if (i == truth.ahead.size()) {
      const auto line = next_line(truth.file, no_more);
      if (!line) return {};
      truth.ahead.push_back({line->at, std::string(line->text)});
    }
    if (const std::uint64_t sequence = leading_sequence(truth.ahead[i].text)) return sequence;
  }
}

void take_mark(Truth& truth, const TruthMark& mark) {
  ++truth.marks;
  if (truth.previous == 0 || mark.sequence == truth.previous) return;
  truth.complaints.push_back({truth.previous, "mark.seq", Witness::order, std::to_string(truth.previous),
                              Witness::truth, std::to_string(mark.sequence)});
}

TruthEntry read_entry(const Truth::KeptLine& line, const std::optional<FieldList>& fields) {
  TruthEntry entry;
  entry.line_at = line.at;
  if (!fields) {
    entry.wrong_key = "line";
    return entry;
  }
  auto read = read_truth(*fields);
  entry.record = std::move(read.record);
  entry.wrong_key = std::move(read.wrong_key);
  entry.sequence = leading_sequence(line.text);
  return entry;
}

enum class Place : std::uint8_t { fits, unknown, stray };

// A line without a number stands for a record when the one that is wanted does not follow it.
Place settle_unnumbered(Truth& truth, TruthEntry& entry, std::optional<std::uint64_t> following) {
  entry.sequence = truth.previous + 1;
  if (following != entry.sequence) return Place::fits;
  truth.complaints.push_back(
      {entry.sequence, "truth.line", Witness::order, "records and marks", Witness::truth, "a line that is neither"});
  return Place::stray;
}

// Records go up by one. Where one does not, the record behind it tells whether its own number is wrong or others are
// missing before it.
Place settle_place(Truth& truth, TruthEntry& entry, bool no_more) {
  const std::uint64_t wanted = truth.previous + 1;
  const bool in_order = entry.sequence == wanted || (truth.previous == 0 && entry.sequence != 0);
  if (in_order) return Place::fits;
  const auto following = peek_sequence(truth, no_more);
  if (!following && !no_more) return Place::unknown;
  if (entry.sequence == 0) return settle_unnumbered(truth, entry, following);
  const bool others_missing = entry.sequence > wanted && following != wanted + 1;
  if (others_missing) return Place::fits;
  truth.complaints.push_back(
      {wanted, "seq", Witness::order, std::to_string(wanted), Witness::truth, std::to_string(entry.sequence)});
  if (following != wanted + 1) return Place::stray;
  entry.sequence = wanted;
  return Place::fits;
}

}  // namespace

Truth open_truth(const std::string& path) {
  const RunExtent run = find_last_run(path, first_record_has);
  Truth truth;
  truth.file = open_lines(path);
  truth.last_known = run.last;
  go_to_run(truth.file, run);
  return truth;
}

bool reach_entry(Truth& truth, bool no_more) {
  while (!truth.entry) {
    auto line = take_line(truth, no_more);
    if (!line) return false;
    const auto fields = parse_object(line->text);
    if (fields) {
      if (const auto mark = read_mark(*fields)) {
        take_mark(truth, *mark);
        continue;
      }
    }
    TruthEntry entry = read_entry(*line, fields);
    const Place place = settle_place(truth, entry, no_more);
    if (place == Place::unknown) {
      truth.ahead.push_front(std::move(*line));
      return false;
    }
    if (place == Place::stray) continue;
    truth.unread += entry.sequence - truth.previous - 1 + (entry.wrong_key.empty() ? 0 : 1);
    truth.previous = entry.sequence;
    ++truth.records;
    truth.entry = std::move(entry);
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

void index_trade(Truth& truth, std::uint64_t trade_number, std::uint64_t line_at, std::uint32_t sent_date) {
  if (may_be_next(truth, trade_number)) truth.trades.resize(trade_number - 1, {lost_line, 0, false});
  truth.trades.push_back({line_at, sent_date, false});
  truth.unread = 0;
}

std::optional<TruthRecord> find_trade(Truth& truth, std::uint64_t trade_number) {
  const IndexedTrade* const trade = indexed_trade(truth, trade_number);
  if (trade == nullptr || trade->line_at == lost_line) return {};
  const auto line = line_at(truth.file, trade->line_at);
  const auto fields = line ? parse_object(*line) : std::nullopt;
  if (!fields) return {};
  auto read = read_truth(*fields);
  if (!read.wrong_key.empty()) return {};
  return std::move(read.record);
}

IndexedTrade* indexed_trade(Truth& truth, std::uint64_t trade_number) {
  if (trade_number == 0 || trade_number > truth.trades.size()) return nullptr;
  return &truth.trades[trade_number - 1];
}

}  // namespace vorbelctl
