#include "vorbelctl/audit/history.h"

#include <algorithm>
#include <utility>

namespace vorbelctl {
namespace {

constexpr std::int64_t price_slice_ms = 250;

// Without trades for so long, and for so many times the usual gap between trades, the flow counts as idle.
constexpr std::int64_t idle_ms = 3000;
constexpr std::int64_t idle_gaps = 4;

void merge(TimelineSlice& into, const TimelineSlice& next) {
  into.messages += next.messages;
  into.lost += next.lost;
  into.out_of_order += next.out_of_order;
  into.duplicates += next.duplicates;
  into.tails += next.tails;
  into.discrepancies += next.discrepancies;
}

void merge(PriceSlice& into, const PriceSlice& next) {
  if (into.prints == 0) {
    into.low = next.low;
    into.high = next.high;
  } else if (next.prints != 0) {
    into.low = std::min(into.low, next.low);
    into.high = std::max(into.high, next.high);
  }
  if (next.prints != 0) into.last = next.last;
  if (next.cancels != 0) into.cancelled = next.cancelled;
  if (next.corrections != 0) into.corrected = next.corrected;
  into.prints += next.prints;
  into.cancels += next.cancels;
  into.corrections += next.corrections;
}

template <class Slice>
void double_width(Slices<Slice>& slices) {
  for (std::size_t i = 0; i < slices.slices.size(); i += 2) {
    Slice slice = slices.slices[i];
    if (i + 1 < slices.slices.size()) merge(slice, slices.slices[i + 1]);
    slices.slices[i / 2] = slice;
  }
  slices.slices.resize((slices.slices.size() + 1) / 2);
  slices.width_ms *= 2;
}

// The slice that `at_ms` lies in; what is before the begin counts as the begin. Needs a begin.
template <class Slice>
Slice& slice_at(const History& history, Slices<Slice>& slices, std::int64_t at_ms) {
  const std::int64_t since_ms = std::max<std::int64_t>(at_ms - history.begin_ms, 0);
  while (since_ms / slices.width_ms >= static_cast<std::int64_t>(most_slices)) double_width(slices);
  const auto index = static_cast<std::size_t>(since_ms / slices.width_ms);
  if (index >= slices.slices.size()) slices.slices.resize(index + 1);
  return slices.slices[index];
}

// Messages tell the second; the tape, or else a live arrival, tells the moment within that second.
std::int64_t moment_of(const History& history, const Reconciled& message, std::uint64_t received_ms) {
  const std::int64_t earliest = std::max(message.sent_s * 1000, history.message_ms);
  const std::int64_t latest = std::max(message.sent_s * 1000 + 999, earliest);
  const std::uint64_t told_ms = message.taped_ms != 0 ? message.taped_ms : received_ms;
  return told_ms == 0 ? earliest : std::clamp(static_cast<std::int64_t>(told_ms), earliest, latest);
}

BondHistory* bond_history(History& history, const Reconciled& message) {
  const auto found = std::find_if(history.bonds.begin(), history.bonds.end(),
                                  [&](const BondHistory& bond) { return bond.cusip == message.cusip; });
  if (found != history.bonds.end()) return &*found;
  if (history.bonds.size() >= most_bonds_drawn) return nullptr;
  history.bonds.push_back({message.cusip, message.symbol, 0, 0, 0, {price_slice_ms, {}}});
  return &history.bonds.back();
}

void add_price(PriceSlice& slice, double price) {
  slice.low = slice.prints == 0 ? price : std::min(slice.low, price);
  slice.high = slice.prints == 0 ? price : std::max(slice.high, price);
  slice.last = price;
  ++slice.prints;
}

void note_price(History& history, const Reconciled& message) {
  BondHistory* const bond = bond_history(history, message);
  if (bond == nullptr) return;
  PriceSlice& slice = slice_at(history, bond->prices, history.message_ms);
  const Kind kind = message.kind;
  if (message.last_sale) {
    add_price(slice, message.price);
    ++bond->prints;
  }
  if (kind == Kind::cancel) {
    ++slice.cancels;
    ++bond->cancels;
    slice.cancelled = message.amended_price;
  }
  if (kind == Kind::correction) {
    ++slice.corrections;
    ++bond->corrections;
    slice.corrected = message.price;
  }
}

// When a message was sent by what is written of it: the second, and within that the tape's moment where there is one.
std::int64_t moment_of_record(const Reconciled& message) {
  const std::int64_t second_ms = message.sent_s * 1000;
  return message.taped_ms == 0 ? second_ms
                               : std::clamp(static_cast<std::int64_t>(message.taped_ms), second_ms, second_ms + 999);
}

void add_idle(History& history, std::uint64_t sequence, std::int64_t until_ms) {
  if (history.idles_met.count++ == 0) history.idles_met.first = sequence;
  if (history.idles.size() < most_spans_listed) history.idles.push_back({history.trade_ms, until_ms, ""});
}

// Cancels and corrections follow their trades for some seconds, so it is trades that tell whether the flow is idle.
// Their times are those of the tape, or else whole seconds, so that a feed and a recording of it tell the same.
void note_trade(History& history, const Reconciled& message) {
  const std::int64_t unsure_ms = message.taped_ms == 0 ? 1000 : 0;
  const std::int64_t now_ms = std::max(moment_of_record(message), history.trade_ms);
  const std::int64_t gap_ms = now_ms - history.trade_ms;
  if (history.trades == 0) {
    history.first_trade_ms = now_ms;
  } else if (gap_ms >= idle_ms + unsure_ms && history.trades > 1) {
    const auto gaps = static_cast<std::int64_t>(history.trades) - 1;
    const std::int64_t usual_ms = (history.trade_ms - history.first_trade_ms) / gaps;
    if (gap_ms >= idle_gaps * usual_ms) add_idle(history, message.sequence, now_ms);
  }
  history.trade_ms = now_ms;
  ++history.trades;
}

void note_halt(History& history, const Reconciled& message) {
  const auto open = std::find_if(history.halts.begin(), history.halts.end(),
                                 [&](const TimeSpan& halt) { return halt.end_ms == 0 && halt.what == message.cusip; });
  if (message.action != 'H') {
    if (open != history.halts.end()) open->end_ms = history.message_ms;
  } else if (open == history.halts.end() && history.halts.size() < most_spans_listed) {
    history.halts.push_back({history.message_ms, 0, message.cusip});
  }
}

void add_fault(History& history, const Fault& fault) {
  ++history.faults_total;
  history.longest_open_ms = std::max(history.longest_open_ms, fault.open_ms);
  if (history.faults.size() < most_faults_listed) history.faults.push_back(fault);
}

// A gap is settled: what became of its numbers says what kind of fault it was.
void close_gap(History& history, const Event& event, std::int64_t at_ms) {
  Fault fault = history.gap;
  fault.first = event.first;
  fault.last = event.last;
  fault.open_ms = event.open_ms;
  fault.at_ms = at_ms - static_cast<std::int64_t>(event.open_ms);
  const std::uint64_t lost = fault.recovered + fault.missing;
  fault.kind = lost == 0                                ? FaultKind::out_of_order
               : event.last == history.newest_tail_last ? FaultKind::tail
                                                        : FaultKind::lost;
  add_fault(history, fault);
  history.gap = {};
  if (history.begin_ms == 0) return;
  TimelineSlice& slice = slice_at(history, history.timeline, fault.at_ms);
  slice.out_of_order += fault.late;
  (fault.kind == FaultKind::tail ? slice.tails : slice.lost) += lost;
}

void note_single(History& history, FaultKind kind, std::uint64_t sequence, std::int64_t at_ms) {
  Fault fault;
  fault.kind = kind;
  fault.at_ms = at_ms;
  fault.first = fault.last = sequence;
  add_fault(history, fault);
}

void note_milestone(History& history, std::string what) {
  ++history.milestones_total;
  if (history.milestones.size() >= most_milestones_listed) return;
  history.milestones.push_back({history.message_ms, std::move(what)});
}

void reach_moment(History& history, const Reconciled& message, std::uint64_t received_ms) {
  history.message_ms = moment_of(history, message, received_ms);
  // Slices begin with whole seconds, because that is all that messages tell.
  if (history.begin_ms == 0) history.begin_ms = history.message_ms / 1000 * 1000;
  history.end_ms = std::max(history.end_ms, history.message_ms);
}

// What the record says of prices, halts and the session, at the moment reached.
void note_record(History& history, const Reconciled& message) {
  if (!message.recorded) return;
  const Kind kind = message.kind;
  if (kind == Kind::trade && message.sent_s != 0) note_trade(history, message);
  if (kind == Kind::halt) {
    note_halt(history, message);
    note_milestone(history, (message.action == 'H' ? "halt " : "resume ") + message.cusip);
  }
  if (kind == Kind::control) note_milestone(history, std::string("control message ") + message.type);
  if (kind == Kind::control && message.type == 'C') history.close_ms = history.message_ms;
  if (kind == Kind::trade || kind == Kind::cancel || kind == Kind::correction) note_price(history, message);
}

}  // namespace

void note_turned_up(History& history, const Reconciled& message) {
  if (history.begin_ms == 0) return;
  for (const std::string& label : message.labels) note_milestone(history, "mark " + label);
  if (message.found != 0) slice_at(history, history.timeline, history.message_ms).discrepancies += message.found;
}

void note_message(History& history, const Reconciled& message, std::uint64_t received_ms) {
  if (message.sent_s != 0) reach_moment(history, message, received_ms);
  note_turned_up(history, message);
  if (message.sent_s == 0) return;
  ++slice_at(history, history.timeline, history.message_ms).messages;
  note_record(history, message);
}

void note_missing(History& history, const Reconciled& message) {
  // Not every record tells when its message was sent; then it was about when the message before was.
  if (message.sent_s != 0) reach_moment(history, message, 0);
  note_turned_up(history, message);
  if (history.begin_ms != 0) note_record(history, message);
}

void note_event(History& history, const Event& event, std::int64_t at_ms) {
  if (history.begin_ms != 0) history.end_ms = std::max(history.end_ms, at_ms);
  switch (event.kind) {
    case EventKind::message:
      // Messages come in order, so one that was missed belongs to the gap that closes next.
      if (event.via == Via::recovered) ++history.gap.recovered;
      if (event.via == Via::late) ++history.gap.late;
      break;
    case EventKind::missing:
      history.gap.missing += event.last - event.first + 1;
      break;
    case EventKind::gap_closed:
      close_gap(history, event, at_ms);
      break;
    case EventKind::gap:
      history.newest_gap_last = event.last;
      break;
    case EventKind::heartbeat:
    case EventKind::end_of_session:
      if (event.first == history.newest_gap_last + 1) history.newest_tail_last = history.newest_gap_last;
      break;
    case EventKind::duplicate:
      if (history.begin_ms != 0) ++slice_at(history, history.timeline, at_ms).duplicates;
      note_single(history, FaultKind::duplicate, event.first, at_ms);
      break;
    case EventKind::malformed_packet:
      note_single(history, FaultKind::malformed_packet, 0, at_ms);
      break;
    case EventKind::foreign_session:
      note_single(history, FaultKind::foreign_session, 0, at_ms);
      break;
    case EventKind::behind:
      note_single(history, FaultKind::behind, event.first, at_ms);
      break;
    case EventKind::altered:
      note_single(history, FaultKind::altered, event.first, at_ms);
      break;
    case EventKind::second_sender:
      note_single(history, FaultKind::second_sender, event.first, at_ms);
      break;
    case EventKind::began_again:
      note_single(history, FaultKind::began_again, event.first, at_ms);
      break;
    case EventKind::joined:
    case EventKind::out_of_order:
    case EventKind::too_late:
      break;
  }
}

std::string_view fault_name(FaultKind kind) {
  switch (kind) {
    case FaultKind::lost:
      return "lost";
    case FaultKind::out_of_order:
      return "out of order";
    case FaultKind::duplicate:
      return "duplicate";
    case FaultKind::tail:
      return "lost tail";
    case FaultKind::malformed_packet:
      return "malformed packet";
    case FaultKind::foreign_session:
      return "foreign session";
    case FaultKind::behind:
      return "feed behind";
    case FaultKind::altered:
      return "altered";
    case FaultKind::second_sender:
      return "second sender";
    case FaultKind::began_again:
      return "began again";
  }
  return "";
}

}  // namespace vorbelctl
