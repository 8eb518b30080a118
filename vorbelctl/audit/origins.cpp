#include "vorbelctl/audit/origins.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "common/clocks.h"
#include "vorbelctl/audit/recording.h"
#include "vorbelctl/handler/pcap_feed.h"

namespace vorbelctl {
namespace {

constexpr std::uint64_t recovery_patience_ms = 5000;  // for gaps that are open when the audit ends
constexpr std::uint64_t writing_patience_ms = 2000;   // for records of messages that are already here

std::uint64_t elapsed_ms(std::uint64_t since_ms) {
  return vorbeld::monotonic_ms() - since_ms;
}

void pump_into(Audit& audit, Follower& follower, int timeout_ms) {
  note_events(audit, pump(follower, timeout_ms));
  advance(audit, false);
}

End follow_to_the_end(Audit& audit, Follower& follower, const Ends& ends, Progress& progress) {
  progress.begun_ms = vorbeld::monotonic_ms();
  for (;;) {
    pump_into(audit, follower, 50);
    const std::uint64_t now_ms = vorbeld::monotonic_ms();
    note_packets(progress, follower.receiver, now_ms);
    const End end = end_of(ends, progress, follower.receiver, now_ms);
    if (end != End::none) return end;
  }
}

// What is missing when the audit ends gets the time to be recovered; nothing new is taken in.
void settle_gaps(Audit& audit, Follower& follower) {
  follower.feed = Socket();
  settle_rival(follower.receiver, vorbeld::monotonic_ms());
  note_events(audit, take_events(follower.receiver));
  if (!audit.restart.empty()) return;
  const std::uint64_t begun_ms = vorbeld::monotonic_ms();
  while (!follower.receiver.gaps.empty() && elapsed_ms(begun_ms) < recovery_patience_ms) pump_into(audit, follower, 10);
  finish(follower.receiver, vorbeld::monotonic_ms());
  note_events(audit, take_events(follower.receiver));
}

// The bench writes a record right after its message, so only a moment is granted for what is still to be written.
void settle_records(Audit& audit) {
  std::uint64_t begun_ms = vorbeld::monotonic_ms();
  std::size_t left = audit.pending.size();
  while (left != 0 && elapsed_ms(begun_ms) < writing_patience_ms) {
    wait_readable({}, 10);
    advance(audit, false);
    if (audit.pending.size() == left) continue;
    left = audit.pending.size();
    begun_ms = vorbeld::monotonic_ms();
  }
  advance(audit, true);
}

void use_wall_clock(Audit& audit) {
  audit.clock_offset_ms =
      static_cast<std::int64_t>(vorbeld::wall_ms()) - static_cast<std::int64_t>(vorbeld::monotonic_ms());
}

// What the bench has sent beyond the file's last record, as far as one answer tells: it may have no record of it.
void ask_beyond(Audit& audit, const Addresses& addresses, std::uint64_t end, PcapWriter& kept) {
  ReceiverSettings settings;
  settings.most_tries = 1;
  settings.insist = false;
  Follower follower = follow_answers(addresses, settings, end, end + settings.most_per_request);
  std::swap(follower.capture, kept);
  while (!follower.receiver.gaps.empty() && !interrupted()) {
    std::vector<Event> events = pump(follower, 50);
    // A number without a message has not been sent yet.
    std::erase_if(events, [](const Event& event) { return event.kind != EventKind::message; });
    note_events(audit, events);
  }
  std::swap(follower.capture, kept);
}

}  // namespace

Follower join_feed_for(Outcome& outcome, const AuditRequest& request) {
  outcome.where = endpoint(request.addresses.group, request.addresses.feed_port);
  ReceiverSettings settings;
  settings.recover = request.addresses.retrans_port != 0;
  settings.first = request.from;
  if (settings.recover && settings.first == 0) settings.first = 1;
  outcome.audit.from = settings.first;
  use_wall_clock(outcome.audit);
  Follower follower = follow_feed(request.addresses, settings);
  if (!request.keep.empty()) follower.capture = open_pcap_writer(request.keep);
  return follower;
}

bool audit_feed(Outcome& outcome, Follower& follower, const AuditRequest& request) {
  follower.overhear = [&](std::string_view bytes, std::uint64_t not_before_ms) {
    if (follower.receiver.totals.began_again != 0) return;
    Reconciliation& all = outcome.audit.reconciliation;
    hear_packet(all.wire, bytes, follower.receiver.settings.session, {not_before_ms, vorbeld::monotonic_ms()},
                all.discrepancies);
  };
  Progress progress;
  outcome.ended_by = end_name(follow_to_the_end(outcome.audit, follower, request.ends, progress));
  const std::uint64_t ended_ms = vorbeld::monotonic_ms();
  if (follower.receiver.totals.ours == 0) throw NoFeed(no_feed(request.addresses));
  settle_gaps(outcome.audit, follower);
  settle_records(outcome.audit);
  if (!outcome.audit.restart.empty()) {
    outcome.ended_by = end_name(End::began_again);
  } else {
    outcome.unfinished = what_did_not_come(request.ends, progress, follower.receiver, ended_ms);
  }
  outcome.totals = follower.receiver.totals;
  outcome.kept_whole = follower.captured_all;
  return missing_in_all(outcome) == 0 || outcome.totals.requests == 0 || outcome.totals.recovered != 0;
}

void audit_retransmission(Outcome& outcome, const AuditRequest& request) {
  outcome.where = endpoint(request.addresses.host, request.addresses.retrans_port);
  Audit& audit = outcome.audit;
  audit.from = std::max<std::uint64_t>(request.from, 1);
  audit.on_the_wire = false;
  use_wall_clock(audit);
  const std::uint64_t end = audit.reconciliation.truth.last_known + 1;
  if (end <= audit.from) return;
  Follower follower = follow_answers(request.addresses, {}, audit.from, end);
  if (!request.keep.empty()) follower.capture = open_pcap_writer(request.keep);
  while (!follower.receiver.gaps.empty() && !interrupted()) {
    pump_into(audit, follower, 50);
    if (follower.requests_refused && audit.counts.fetched == 0) break;
  }
  if (audit.counts.fetched == 0) throw NoFeed(no_retransmission(request.addresses, follower.requests_refused));
  outcome.ended_by = interrupted() ? end_name(End::interrupt) : "end of input";
  if (!interrupted()) finish(follower.receiver, vorbeld::monotonic_ms());
  note_events(audit, take_events(follower.receiver));
  ask_beyond(audit, request.addresses, end, follower.capture);
  settle_records(audit);
  outcome.totals = follower.receiver.totals;
  outcome.kept_whole = follower.captured_all;
}

void audit_pcap(Outcome& outcome, const AuditRequest& request) {
  constexpr std::uint64_t patience_ms = 5000;  // for an answer that was captured after the gap that it fills
  outcome.where = request.pcap;
  Audit& audit = outcome.audit;
  audit.from = request.from;
  ReceiverSettings settings;
  settings.session = make_session(request.addresses.session);
  settings.first = request.from;
  settings.reorder_window_ms = patience_ms;
  Receiver receiver = make_receiver(settings);
  std::uint64_t captured_ms = 0;
  const SenderId group = socket_at(request.addresses.group, request.addresses.feed_port);
  PcapWriter kept;
  if (!request.keep.empty()) kept = open_pcap_writer(request.keep);
  const auto take = [&](std::string_view bytes, Channel channel, std::uint64_t at_ns, SenderId sender) {
    const std::uint64_t at_ms = captured_ms = at_ns / 1'000'000;
    // Who was answered does not matter to anybody who reads it.
    if (kept.file) write_datagram(kept, bytes, sender, channel == Channel::feed ? group : SenderId{0}, at_ns);
    const bool of_run = take_packet(receiver, bytes, channel, at_ms, sender);
    if (of_run && audit.restart.empty()) {
      Reconciliation& all = audit.reconciliation;
      hear_packet(all.wire, bytes, settings.session, {at_ms, at_ms}, all.discrepancies);
    }
    tick(receiver, at_ms);
    note_events(audit, take_events(receiver));
    advance(audit, false);
  };
  const PcapTotals totals = read_pcap(request.pcap, request.addresses, take);
  if (kept.file) outcome.kept_whole = flush_pcap(kept);
  if (receiver.totals.ours == 0) {
    throw NoFeed(fmt::format(
        "no packet of the session {} to {} among the {} frames of {}; see --mcast, --port and --session",
        outcome.session, endpoint(request.addresses.group, request.addresses.feed_port), totals.frames, outcome.where));
  }
  finish(receiver, captured_ms);
  note_events(audit, take_events(receiver));
  settle_records(audit);
  outcome.ended_by = audit.restart.empty() ? "end of input" : end_name(End::began_again);
  outcome.totals = receiver.totals;
}

void audit_recording(Outcome& outcome, const AuditRequest& request) {
  outcome.where = request.recording;
  outcome.audit.from = request.from;
  reconcile_recording(outcome.audit, request.recording);
  outcome.ended_by = "end of input";
}

}  // namespace vorbelctl
