#include "vorbelctl/audit/truth.h"

#include <charconv>
#include <utility>

#include "vorbelctl/audit/json_line.h"

namespace vorbelctl {
namespace {

constexpr std::string_view first_record_has = "\"cat\":\"C\",\"type\":\"I\"";

std::optional<Truth::KeptLine> take_line(Truth& truth) {
  if (!truth.ahead.empty()) {
    Truth::KeptLine line = std::move(truth.ahead.front());
    truth.ahead.pop_front();
    return line;
  }
  const auto line = next_line(truth.file);
  if (!line) return {};
  return Truth::KeptLine{line->at, std::string(line->text)};
}

// The sequence number of the record after the one just taken; nothing while it is not there.
std::optional<std::uint64_t> peek_sequence(Truth& truth) {
  for (std::size_t i = 0;; ++i) {
    if (i == truth.ahead.size()) {
      const auto line = next_line(truth.file);
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

// Records go up by one. Where one does not, the record behind it tells whether its own number is wrong or others are
// missing before it.
Place settle_place(Truth& truth, TruthEntry& entry, bool no_more) {
  const std::uint64_t wanted = truth.previous + 1;
  if (entry.sequence == 0) entry.sequence = wanted;
  if (truth.previous == 0 || entry.sequence == wanted) return Place::fits;
  const auto following = peek_sequence(truth);
  if (!following && !no_more) return Place::unknown;
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
    auto line = take_line(truth);
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
    truth.previous = entry.sequence;
    ++truth.records;
    truth.entry = std::move(entry);
  }
  return true;
}

std::optional<TruthRecord> find_trade(Truth& truth, std::uint64_t trade_number) {
  const IndexedTrade* const trade = indexed_trade(truth, trade_number);
  if (trade == nullptr) return {};
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
