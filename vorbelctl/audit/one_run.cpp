#include "vorbelctl/audit/one_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <functional>
#include <set>
#include <stdexcept>
#include <string_view>

#include "vorbelctl/audit/eastern_time.h"

namespace vorbelctl {
namespace {

constexpr std::size_t most_lines_peeked = 100;
constexpr std::size_t least_compared = 5;   // trades, below which chance and single faults may have their way
constexpr std::size_t least_shifted = 8;    // the same at other numbers, of which there are many to try
constexpr std::int64_t most_shifted = 25;   // how far numbers are tried
constexpr std::size_t least_cusips = 3;     // fewer may well be the same in any run
constexpr double quantity_rounding = 0.51;  // the tape writes no decimals

enum class SampledTerm : std::uint8_t { cusip, price, quantity, executed_at };
constexpr std::array informative{SampledTerm::price, SampledTerm::quantity, SampledTerm::executed_at};

struct Agreement {
  std::size_t compared = 0;
  std::size_t agreed = 0;
};

template <class Value, class Same>
void compare_term(Agreement& agreement, const std::optional<Value>& one, const std::optional<Value>& other,
                  const Same& same) {
  if (!one || !other) return;
  ++agreement.compared;
  if (same(*one, *other)) ++agreement.agreed;
}

void compare_terms(Agreement& agreement, SampledTerm term, const TradeTerms& one, const TradeTerms& other) {
  const auto within = [](double tolerance) {
    return [tolerance](double a, double b) { return a == b || std::fabs(a - b) <= tolerance; };
  };
  switch (term) {
    case SampledTerm::cusip:
      return compare_term(agreement, one.cusip, other.cusip, std::equal_to<>());
    case SampledTerm::price:
      return compare_term(agreement, one.price, other.price, within(price_tolerance));
    case SampledTerm::quantity:
      return compare_term(agreement, one.quantity, other.quantity, within(quantity_rounding));
    case SampledTerm::executed_at:
      return compare_term(agreement, one.executed_at, other.executed_at, std::equal_to<>());
  }
}

// How far a term agrees when the numbers of the one side are moved.
Agreement agreement_of(const RunSample& sample, SampledTerm term, std::int64_t shift) {
  Agreement agreement;
  for (const TradeTerms& received : sample.received) {
    const auto wanted = static_cast<std::uint64_t>(static_cast<std::int64_t>(received.sequence) + shift);
    const auto recorded = std::find_if(sample.recorded.begin(), sample.recorded.end(),
                                       [&](const TradeTerms& each) { return each.sequence == wanted; });
    if (recorded != sample.recorded.end()) compare_terms(agreement, term, received, *recorded);
  }
  return agreement;
}

bool mostly_agrees(const Agreement& agreement, std::size_t least) {
  return agreement.compared >= least && 2 * agreement.agreed >= agreement.compared;
}

bool agree_at_other_numbers(const RunSample& sample) {
  for (std::int64_t shift = -most_shifted; shift <= most_shifted; ++shift) {
    if (shift == 0) continue;
    for (const SampledTerm term : informative) {
      if (mostly_agrees(agreement_of(sample, term, shift), least_shifted)) return true;
    }
  }
  return false;
}

bool agree_in_cusips(const RunSample& sample) {
  std::set<std::string_view> cusips;
  for (const TradeTerms& each : sample.recorded) {
    if (each.cusip) cusips.insert(*each.cusip);
  }
  const Agreement agreement = agreement_of(sample, SampledTerm::cusip, 0);
  return cusips.size() >= least_cusips && agreement.compared >= least_compared &&
         10 * agreement.agreed >= 9 * agreement.compared;
}

std::optional<double> number_claimed(const Claims& claims, std::string_view name) {
  const Claim* const claim = find_claim(claims, name);
  if (claim == nullptr) return {};
  if (claim->type == Claim::Type::number) return claim->number;
  double number = 0;
  const char* const end = claim->text.data() + claim->text.size();
  const auto result = std::from_chars(claim->text.data(), end, number);
  return claim->type == Claim::Type::text && result.ec == std::errc() && result.ptr == end ? std::optional(number)
                                                                                           : std::nullopt;
}

std::optional<std::string> text_claimed(const Claims& claims, std::string_view name) {
  const Claim* const claim = find_claim(claims, name);
  if (claim == nullptr || claim->type == Claim::Type::nothing || claim->type == Claim::Type::flag) return {};
  return claim->text.substr(0, claim->text.find_last_not_of(' ') + 1);
}

TradeTerms terms_of(const Claims& claims) {
  return {0, text_claimed(claims, "cusip"), number_claimed(claims, "price"), number_claimed(claims, "quantity"),
          text_claimed(claims, "executed_at")};
}

TradeTerms terms_of(const Message& message) {
  return {0, std::string(text(message, "cusip")), message.cells[FieldId("price").id].number,
          message.cells[FieldId("quantity").id].number, std::string(text(message, "executed_at"))};
}

TradeTerms terms_of(const TruthRecord& record) {
  return {record.sequence, std::string(cell(record, "cusip").text), carried_price(cell(record, "price").number),
          cell(record, "quantity").number, std::string(cell(record, "executed_at").text)};
}

TradeTerms terms_of(const TapeLine& line) {
  return {line.sequence, std::string(line.cusip), carried_price(line.price.number), line.quantity.number,
          local_date_time(static_cast<std::int64_t>(line.executed_ms / 1000))};
}

std::int64_t sent_at(const Received& received) {
  const auto said = received.message != nullptr ? std::optional(std::string(text(*received.message, "sent_at")))
                                                : text_claimed(*received.claims, "sent_at");
  const auto instants = said ? utc_of_local(*said) : utc_of_local("");
  return instants.empty() ? 0 : instants.front();
}

// What stands at the beginning of a run's file.
struct Peeked {
  std::size_t lines = 0;
  std::size_t records = 0;  // of the truth, marks included
  std::size_t tape_lines = 0;
  std::vector<TradeTerms> of_truth;
  std::vector<TradeTerms> of_tape;
};

void peek_line(Peeked& peeked, const std::string& line) {
  ++peeked.lines;
  TruthRecord record;
  TapeLine taped;
  Mark mark;
  if (read_tape(line, taped).empty()) {
    ++peeked.tape_lines;
    peeked.of_tape.push_back(terms_of(taped));
  } else if (read_truth(line, record).empty()) {
    ++peeked.records;
    if (record.row->kind == Kind::trade) peeked.of_truth.push_back(terms_of(record));
  } else if (read_mark(line, mark)) {
    ++peeked.records;
  }
}

Peeked peek(LineReader& file, const RunExtent& run) {
  const RunExtent here{file.next_at, file.next_number, 0};
  go_to_run(file, run);
  Peeked peeked;
  while (peeked.lines < most_lines_peeked && peeked.of_truth.size() < most_sampled &&
         peeked.of_tape.size() < most_sampled) {
    const auto line = next_line(file, false);
    if (!line) break;
    peek_line(peeked, std::string(line->text));
  }
  go_to_run(file, here);
  return peeked;
}

}  // namespace

std::string first_trades(const RunSample& sample) {
  const auto shown_terms = [](const TradeTerms& terms) {
    return fmt::format("{} at {:.6f}", shown(terms.cusip.value_or("-")), terms.price.value_or(0));
  };
  for (const TradeTerms& received : sample.received) {
    for (const TradeTerms& recorded : sample.recorded) {
      if (received.sequence != recorded.sequence) continue;
      return fmt::format("#{} is {} and {}", received.sequence, shown_terms(received), shown_terms(recorded));
    }
  }
  return "";
}

Kinship kinship_of(const RunSample& sample) {
  std::size_t told = 0;
  std::size_t agreeing = 0;
  for (const SampledTerm term : informative) {
    const Agreement agreement = agreement_of(sample, term, 0);
    if (agreement.compared >= least_compared) ++told;
    if (mostly_agrees(agreement, least_compared)) ++agreeing;
  }
  if (told < 2) return Kinship::unknown;
  const Agreement times = agreement_of(sample, SampledTerm::executed_at, 0);
  const bool at_other_times = times.compared >= least_compared && 5 * times.agreed <= times.compared;
  if (agreeing == 2 && at_other_times) return Kinship::repeated;
  if (agreeing != 0 || agree_in_cusips(sample) || agree_at_other_numbers(sample)) return Kinship::one_run;
  return Kinship::another_run;
}

void take_sample(RunSample& sample, std::uint64_t sequence, const Received& received, const Truth& truth) {
  if (sample.sent_s == 0) sample.sent_s = sent_at(received);
  if (received.row != nullptr && received.row->kind == Kind::trade && sample.received.size() < most_sampled) {
    sample.received.push_back(received.message != nullptr ? terms_of(*received.message) : terms_of(*received.claims));
    sample.received.back().sequence = sequence;
  }
  const TruthEntry& entry = truth.entry;
  const bool is_trade = entry.sequence == sequence && entry.wrong_key.empty() && entry.record.row->kind == Kind::trade;
  if (!is_trade || sample.recorded.size() >= most_sampled) return;
  sample.recorded.push_back(terms_of(entry.record));
  sample.recorded.back().sequence = sequence;
}

std::string no_record_in(const std::string& truth) {
  return fmt::format("there is no record of a message in {}; is it a truth file?", truth);
}

RunBeginnings beginnings_of(const Reconciliation& reconciliation) {
  const LineReader& truth = reconciliation.truth.file;
  const LineReader& tape = reconciliation.tape.file;
  return {{truth.next_at, truth.next_number, 0}, {tape.next_at, tape.next_number, 0}};
}

void check_written(Reconciliation& all, const RunBeginnings& beginnings, const std::string& truth,
                   const std::string& tape) {
  const Peeked of_truth = peek(all.truth.file, beginnings.truth);
  if (of_truth.records == 0 && 2 * of_truth.tape_lines > of_truth.lines) {
    throw std::invalid_argument(fmt::format("{} is a tape and no truth file", truth));
  }
  if (of_truth.lines != 0 && of_truth.records == 0 && all.truth.last_known == 0) {
    throw std::invalid_argument(no_record_in(truth));
  }
  if (!all.has_tape) return;
  const Peeked of_tape = peek(all.tape.file, beginnings.tape);
  if (of_tape.tape_lines == 0 && 2 * of_tape.records > of_tape.lines) {
    throw std::invalid_argument(fmt::format("{} is a truth file and no tape", tape));
  }
  RunSample sample;
  sample.received = of_tape.of_tape;
  sample.recorded = of_truth.of_truth;
  if (kinship_of(sample) != Kinship::another_run) return;
  throw std::invalid_argument(
      fmt::format("{} is not of the run of {}: hardly one of the first trades is the same in both; {}", tape, truth,
                  first_trades(sample)));
}

}  // namespace vorbelctl
