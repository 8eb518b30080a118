#include "tests/unit/vorbelctl/page/outcomes.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace vorbelctl::page {
namespace {

constexpr std::int64_t hour_ms = 3600000;
constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();

std::string cusip_of(int number) {
  return "BOND" + std::to_string(10000 + number);
}

// Slices from the run's begin on, as wide as those of the timeline.
template <class Slice>
void cut(const History& history, Slices<Slice>& slices) {
  slices.width_ms = history.timeline.width_ms;
  slices.slices.resize(history.timeline.slices.size());
}

std::unique_ptr<Outcome> one_bond(std::int64_t lasting_ms, const std::vector<double>& prices) {
  auto outcome = run_of(noon_ms, lasting_ms);
  add_bond(*outcome, cusip_of(0), "ONE 5 30", prices);
  return outcome;
}

std::unique_ptr<Outcome> extreme_prices() {
  auto outcome = run_of(noon_ms, 60000);
  add_bond(*outcome, cusip_of(0), "TINY", {1e-6, 2e-6, 0});
  add_bond(*outcome, cusip_of(1), "NEGATIVE", {-98.125, -9876.5, -98.25});
  add_bond(*outcome, cusip_of(2), "WIDEST OF THE FEED", {0.000001, 9999.999999});
  add_bond(*outcome, cusip_of(3), "LAST WRITTEN OUT", {9999999, 9999998, -9999999});
  add_bond(*outcome, cusip_of(4), "BEYOND", {1.0001e26, 1.0002e26});
  add_bond(*outcome, cusip_of(5), "LARGEST", {-std::numeric_limits<double>::max(), std::numeric_limits<double>::max()});
  add_bond(*outcome, cusip_of(6), "NO NUMBERS",
           {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()});
  return outcome;
}

// The labels of the price axes stand a little higher from bond to bond, through a whole step of theirs.
std::unique_ptr<Outcome> price_labels_everywhere() {
  auto outcome = run_of(noon_ms, 60000);
  for (int i = 0; i < static_cast<int>(most_bonds_drawn); ++i) {
    const double low = 97.0 + 2.0 / 30 + 0.2 * i / static_cast<double>(most_bonds_drawn);  // the first: 97 at the edge
    add_bond(*outcome, cusip_of(i), "P" + std::to_string(i), {low, low + 2.0 / 3});
  }
  return outcome;
}

std::unique_ptr<Outcome> longest_names() {
  auto outcome = run_of(noon_ms, 60000);
  const std::string name(300, 'W');
  outcome->session = name;
  outcome->where = name;
  outcome->truth = "/" + name;
  outcome->tape = "/" + name;
  add_bond(*outcome, name, name, {98, 99});
  add_bond(*outcome, cusip_of(1), "two words " + name, {98, 99});
  note(outcome->audit.reconciliation.discrepancies, {1, name, Source::truth, name, Source::message, name});
  return outcome;
}

// Every figure as wide as it can get, and every lane of the timeline in use.
std::unique_ptr<Outcome> largest_figures() {
  auto outcome = one_bond(60000, {98, 99});
  AuditCounts& counts = outcome->audit.counts;
  counts.kinds.fill(largest);
  for (std::uint64_t* const count : {&counts.messages, &counts.recovered, &counts.out_of_order, &counts.missing,
                                     &counts.fetched, &outcome->totals.duplicates}) {
    *count = largest;
  }
  outcome->audit.missing = {{1, largest}};
  outcome->audit.joined = 1;
  History& history = outcome->audit.history;
  for (TimelineSlice& slice : history.timeline.slices) {
    slice.messages = 1'234'567'890;
    slice.lost = slice.tails = slice.out_of_order = slice.duplicates = slice.discrepancies = largest / 100;
  }
  history.halts.assign(most_spans_listed, {noon_ms, 0, cusip_of(0)});
  history.idles.assign(most_spans_listed, {noon_ms + 1000, noon_ms + 2000, ""});
  history.milestones.assign(most_milestones_listed, {noon_ms, "mark " + std::string(255, 'W')});
  history.milestones_total = largest;
  history.close_ms = history.end_ms;
  history.faults_total = largest;
  history.longest_open_ms = largest;
  for (const FaultKind kind : {FaultKind::lost, FaultKind::out_of_order, FaultKind::duplicate, FaultKind::tail,
                               FaultKind::malformed_packet, FaultKind::foreign_session, FaultKind::behind}) {
    history.faults.push_back({kind, noon_ms, largest - 1, largest, largest, largest, largest, largest});
  }
  return outcome;
}

}  // namespace

std::unique_ptr<Outcome> run_of(std::int64_t begin_ms, std::int64_t lasting_ms) {
  auto made = std::make_unique<Outcome>();
  Outcome& outcome = *made;
  outcome.where = "233.54.19.111:28977";
  outcome.session = "BTDS000001";
  outcome.truth = "truth.jsonl";
  outcome.tape = "tape.jsonl";
  outcome.ended_by = "end of session";
  outcome.lasted_ms = static_cast<std::uint64_t>(lasting_ms);
  History& history = outcome.audit.history;
  history.begin_ms = begin_ms;
  history.end_ms = begin_ms + lasting_ms;
  auto& timeline = history.timeline;
  while (lasting_ms / timeline.width_ms >= static_cast<std::int64_t>(most_slices)) timeline.width_ms *= 2;
  timeline.slices.resize(static_cast<std::size_t>(lasting_ms / timeline.width_ms) + 1);
  for (TimelineSlice& slice : timeline.slices) slice.messages = 5;
  outcome.audit.counts.messages = 5 * timeline.slices.size();
  outcome.audit.from = 1;
  outcome.audit.last = outcome.audit.counts.messages;
  return made;
}

void add_bond(Outcome& outcome, const std::string& cusip, const std::string& symbol,
              const std::vector<double>& prices) {
  BondHistory bond;
  bond.cusip = cusip;
  bond.symbol = symbol;
  bond.prints = prices.size();
  cut(outcome.audit.history, bond.prices);
  auto& slices = bond.prices.slices;
  BondState& state = outcome.audit.reconciliation.bonds[cusip];
  for (std::size_t i = 0; i < prices.size(); ++i) {
    PriceSlice& slice = slices[i * slices.size() / prices.size()];
    slice.low = slice.prints == 0 ? prices[i] : std::min(slice.low, prices[i]);
    slice.high = slice.prints == 0 ? prices[i] : std::max(slice.high, prices[i]);
    slice.last = prices[i];
    ++slice.prints;
    slice.corrections = slice.cancels = 1;
    slice.corrected = slice.cancelled = prices[i];
    state.book.day.last = state.book.day.high = state.book.day.low = Sale{prices[i], 0};
  }
  bond.cancels = bond.corrections = prices.size();
  outcome.audit.history.bonds.push_back(bond);
}

std::vector<NamedOutcome> outcomes() {
  auto one_message = run_of(noon_ms, 0);
  one_message->audit.history.timeline.slices[0].messages = 1;
  one_message->audit.counts.messages = 1;
  auto moment = run_of(noon_ms + 950, 100);
  add_bond(*moment, cusip_of(0), "MOMENT", {98.5});
  std::vector<NamedOutcome> all;
  const auto add = [&](std::string_view name, std::unique_ptr<Outcome> outcome) {
    all.push_back({name, std::move(outcome)});
  };
  add("nothing", std::make_unique<Outcome>());
  add("one-message", std::move(one_message));
  add("one-price", one_bond(60000, {98.5}));
  add("moment", std::move(moment));
  add("nine-hours", one_bond(9 * hour_ms, {97, 99, 98}));
  add("many-days", one_bond(400 * 24 * hour_ms, {97, 99, 98}));
  add("extreme-prices", extreme_prices());
  add("price-labels-everywhere", price_labels_everywhere());
  add("longest-names", longest_names());
  add("largest-figures", largest_figures());
  return all;
}

}  // namespace vorbelctl::page
