#include "vorbelctl/audit/origins.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <utility>

#include "common/clocks.h"
#include "vorbelctl/audit/recording.h"
#include "vorbelctl/handler/input.h"
#include "vorbelctl/handler/pcap_feed.h"
#include "vorbelctl/wording/wording.h"

namespace vorbelctl {
namespace {

constexpr std::uint64_t recovery_patience_ms = 5000;  // for gaps that are open at the end, once nothing comes any more
constexpr std::size_t most_at_once = 500;             // messages judged between two looks at the socket
constexpr std::uint64_t writing_patience_ms = 2000;   // for records of messages that are already here

std::uint64_t elapsed_ms(std::uint64_t since_ms) {
  return vorbeld::monotonic_ms() - since_ms;
}

// The messages that wait to be judged stand in the audit: so the socket is emptied again after a few of them, however
// many there are. What is waited for is either packets or, with nothing left to judge, the bench's files.
void pump_into(Audit& audit, Follower& follower, int timeout_ms) {
  constexpr std::size_t most_queued = 500000;  // some 200 MB; beyond, packets wait in the receive buffer
  const bool is_full = audit.pending.size() >= most_queued;
  if (!is_full) note_events(audit, pump(follower, audit.judged_all ? timeout_ms : 0));
  advance(audit, false, most_at_once);
}

// What has arrived by now is judged, though nothing more is waited for.
void take_what_is_here(Audit& audit, Follower& follower) {
  constexpr std::uint64_t patience_ms = 1000;  // a feed that goes on never ends
  const std::uint64_t begun_ms = vorbeld::monotonic_ms();
  do {
    note_events(audit, pump(follower, 0));
  } while (!follower.feed_empty && elapsed_ms(begun_ms) < patience_ms);
}

// A bench writes the record of a message at once. `since_ms`: when a message was first seen waiting for the first
// record of all; 0: not yet.
void check_writing(const Outcome& outcome, std::uint64_t& since_ms) {
  const Audit& audit = outcome.audit;
  if (audit.reconciliation.truth.records != 0 || audit.pending.empty()) {
    since_ms = 0;
  } else if (since_ms == 0) {
    since_ms = vorbeld::monotonic_ms();
  } else if (elapsed_ms(since_ms) >= writing_patience_ms) {
    throw std::invalid_argument(fmt::format(
        "there is no record of a message in {}, though messages came {} s ago; is it this bench's truth file?",
        outcome.truth, writing_patience_ms / 1000));
  }
}

End follow_to_the_end(Outcome& outcome, Follower& follower, const Ends& ends, Progress& progress) {
  progress.begun_ms = vorbeld::monotonic_ms();
  std::uint64_t unwritten_since_ms = 0;
  for (;;) {
    pump_into(outcome.audit, follower, 50);
    check_writing(outcome, unwritten_since_ms);
    check_run(outcome, false);
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
  std::uint64_t progress_ms = vorbeld::monotonic_ms();
  const auto is_open = [&] {
    const auto& gaps = follower.receiver.gaps;
    return !gaps.empty() && !is_beyond(audit, gaps.front().first);
  };
  while (is_open() && elapsed_ms(progress_ms) < recovery_patience_ms) {
    const std::uint64_t recovered = follower.receiver.totals.recovered;
    pump_into(audit, follower, 10);
    if (follower.receiver.totals.recovered != recovered) progress_ms = vorbeld::monotonic_ms();
  }
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

// What the bench has sent beyond the file's last record, as far as one answer tells: it may have no record of it.
void ask_beyond(Audit& audit, const Addresses& addresses, std::uint64_t end, PcapWriter& kept) {
  if (is_beyond(audit, end)) return;
  ReceiverSettings settings;
  settings.most_tries = 1;
  settings.insist = false;
  const std::uint64_t most = audit.to == 0 ? settings.most_per_request : audit.to - end + 1;
  Follower follower =
      follow_answers(addresses, settings, end, end + std::min<std::uint64_t>(most, settings.most_per_request));
  std::swap(follower.capture, kept);
  while (!follower.receiver.gaps.empty() && !interrupted()) {
    std::vector<Event> events = pump(follower, 50);
    // A number without a message has not been sent yet.
    std::erase_if(events, [](const Event& event) { return event.kind != EventKind::message; });
    note_events(audit, events);
  }
  std::swap(follower.capture, kept);
}

// Whether the retransmission port answers any more.
struct Silence {
  std::uint64_t last = 0;      // the last number that is wanted
  std::uint64_t since_ms = 0;  // monotonic
  std::uint64_t fetched = 0;   // messages that had come by then
  bool lasts = false;
};

bool answers(const Addresses& addresses, std::uint64_t number) {
  ReceiverSettings settings;
  settings.most_tries = 2;
  Follower follower = follow_answers(addresses, settings, number, number + 1);
  while (!follower.receiver.gaps.empty() && !interrupted()) pump(follower, 50);
  return follower.receiver.totals.recovered != 0;
}

// The oldest messages may be gone, of which there may be many: as long as the last one is answered for, it is no
// silence.
bool is_silent(Silence& silence, const Audit& audit, const AuditRequest& request) {
  if (audit.counts.fetched == silence.fetched) {
    if (static_cast<double>(elapsed_ms(silence.since_ms)) < request.ends.silence_s * 1000) return false;
    silence.lasts = !answers(request.addresses, silence.last);
  }
  silence.fetched = audit.counts.fetched;
  silence.since_ms = vorbeld::monotonic_ms();
  return silence.lasts;
}

void note_silence(Outcome& outcome, const AuditRequest& request) {
  const Audit& audit = outcome.audit;
  outcome.ended_by = end_name(End::silence);
  outcome.audit.notes.push_back(fmt::format(
      "the retransmission port {} has been silent for {} s: it goes to #{} and the truth file to #{}; is {} "
      "of an earlier run?",
      outcome.where, request.ends.silence_s, audit.last, audit.reconciliation.truth.last_known, outcome.truth));
}

// When the file was last written, UTC seconds; nothing where it is none.
std::optional<std::int64_t> written_s(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return {};
  return status.st_mtime;
}

// The truth has the trades that were received at other times: of an earlier run with the same seed, where it was not
// written any more when this one began. What a capture or a handler says of times may itself be wrong.
bool is_of_earlier_run(const Outcome& outcome) {
  if (outcome.origin != Origin::feed && outcome.origin != Origin::retransmission) return false;
  const std::int64_t sent_s = outcome.audit.sample.sent_s;
  const auto now_s = static_cast<std::int64_t>(vorbeld::wall_ms() / 1000);
  const auto last_written_s = written_s(outcome.truth);
  return sent_s != 0 && sent_s <= now_s && last_written_s && *last_written_s < sent_s;
}

// What a capture lacks, where that may be the reason for what was found.
void note_capture(Outcome& outcome, const PcapTotals& totals, const Addresses& addresses) {
  std::vector<std::string>& notes = outcome.audit.notes;
  if (totals.ends_early) notes.push_back(cut_note(outcome.where));
  if (totals.cut != 0) {
    notes.push_back("left out, as they were captured shorter than they were sent: " + counted(totals.cut, "packet"));
  }
  if (missing_in_all(outcome) != 0 && totals.answers == 0) {
    notes.push_back(fmt::format(
        "{} holds no answers of the retransmission port {}, so what was lost on the feed cannot have come; capture "
        "that port too, or see --retrans-port",
        outcome.where, addresses.retrans_port));
  }
}

}  // namespace

Follower join_feed_for(Outcome& outcome, const AuditRequest& request) {
  outcome.where = endpoint(request.addresses.group, request.addresses.feed_port);
  ReceiverSettings settings;
  settings.recover = request.addresses.retrans_port != 0;
  settings.first = request.from;
  if (settings.recover && settings.first == 0) settings.first = 1;
  outcome.audit.from = settings.first;
  outcome.audit.to = request.ends.to;
  outcome.audit.clock_offset_ms = wall_offset_ms();
  Follower follower = follow_feed(request.addresses, settings);
  if (!request.keep.empty()) follower.capture = open_pcap_writer(request.keep);
  return follower;
}

bool audit_feed(Outcome& outcome, Follower& follower, const AuditRequest& request) {
  follower.overhear = [&](std::string_view bytes, std::uint64_t not_before_ms) {
    if (follower.receiver.totals.began_again != 0) return;
    if (is_beyond(outcome.audit, follower.receiver.end - 1)) return;
    Reconciliation& all = outcome.audit.reconciliation;
    hear_packet(all.wire, bytes, follower.receiver.settings.session, {not_before_ms, vorbeld::monotonic_ms()},
                all.discrepancies);
  };
  Progress progress;
  outcome.ended_by = end_name(follow_to_the_end(outcome, follower, request.ends, progress));
  const std::uint64_t ended_ms = vorbeld::monotonic_ms();
  if (follower.receiver.totals.ours == 0) throw NoFeed(no_feed(request.addresses));
  take_what_is_here(outcome.audit, follower);
  settle_gaps(outcome.audit, follower);
  settle_records(outcome.audit);
  if (!outcome.audit.restart.empty()) {
    outcome.ended_by = end_name(End::began_again);
  } else {
    outcome.unfinished = what_did_not_come(request.ends, progress, follower.receiver, ended_ms);
  }
  outcome.totals = follower.receiver.totals;
  outcome.feed_buffer = follower.feed_buffer;
  outcome.kept_whole = follower.captured_all;
  return missing_in_all(outcome) == 0 || outcome.totals.requests == 0 || outcome.totals.recovered != 0;
}

void audit_retransmission(Outcome& outcome, const AuditRequest& request) {
  outcome.where = endpoint(request.addresses.host, request.addresses.retrans_port);
  Audit& audit = outcome.audit;
  audit.from = std::max<std::uint64_t>(request.from, 1);
  audit.to = request.ends.to;
  audit.on_the_wire = false;
  audit.clock_offset_ms = wall_offset_ms();
  const std::uint64_t last = audit.reconciliation.truth.last_known;
  const std::uint64_t end = (audit.to == 0 ? last : std::min(last, audit.to)) + 1;
  if (end <= audit.from) return;
  Follower follower = follow_answers(request.addresses, {}, audit.from, end);
  Silence silence{end - 1, vorbeld::monotonic_ms()};
  if (!request.keep.empty()) follower.capture = open_pcap_writer(request.keep);
  while (!follower.receiver.gaps.empty() && !interrupted()) {
    pump_into(audit, follower, 50);
    check_run(outcome, false);
    if (follower.requests_refused && audit.counts.fetched == 0) break;
    if (is_silent(silence, audit, request)) break;
  }
  if (audit.counts.fetched == 0) throw NoFeed(no_retransmission(request.addresses, follower.requests_refused));
  outcome.ended_by = interrupted() ? end_name(End::interrupt) : "end of input";
  if (silence.lasts) note_silence(outcome, request);
  if (!interrupted()) finish(follower.receiver, vorbeld::monotonic_ms());
  note_events(audit, take_events(follower.receiver));
  if (!silence.lasts) ask_beyond(audit, request.addresses, end, follower.capture);
  settle_records(audit);
  outcome.totals = follower.receiver.totals;
  outcome.kept_whole = follower.captured_all;
}

void audit_pcap(Outcome& outcome, const AuditRequest& request) {
  constexpr std::uint64_t patience_ms = 5000;  // for an answer that was captured after the gap that it fills
  outcome.where = input_name(request.pcap);
  Audit& audit = outcome.audit;
  audit.from = request.from;
  audit.to = request.ends.to;
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
    if (receiver.joined_at != 0 && is_beyond(audit, receiver.next - 1)) return;  // all that is to be judged is here
    const std::uint64_t at_ms = captured_ms = at_ns / 1'000'000;
    // Who was answered does not matter to anybody who reads it.
    if (kept.file) write_datagram(kept, bytes, sender, channel == Channel::feed ? group : SenderId{0}, at_ns);
    const bool of_run = take_packet(receiver, bytes, channel, at_ms, sender);
    if (of_run && audit.restart.empty() && !is_beyond(audit, receiver.end - 1)) {
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
    throw NoFeed(
        fmt::format("no packet of the session {} to {} among the {} frames of {}{}; see --mcast, --port and --session",
                    outcome.session, endpoint(request.addresses.group, request.addresses.feed_port), totals.frames,
                    outcome.where, totals.ends_early ? ", which is cut off" : ""));
  }
  const std::uint64_t due = std::min(audit.to, audit.reconciliation.truth.last_known);
  if (audit.restart.empty()) expect_until(receiver, due + 1, captured_ms);
  finish(receiver, captured_ms);
  note_events(audit, take_events(receiver));
  settle_records(audit);
  outcome.ended_by = audit.restart.empty() ? "end of input" : end_name(End::began_again);
  outcome.totals = receiver.totals;
  note_capture(outcome, totals, request.addresses);
}

void check_run(Outcome& outcome, bool no_more) {
  RunSample& sample = outcome.audit.sample;
  if (sample.is_judged || (!no_more && sample.received.size() < most_sampled)) return;
  if (!outcome.audit.second_sender.empty()) return;  // the trades are those of two benches
  sample.is_judged = true;
  const bool of_a_file = outcome.origin == Origin::pcap || outcome.origin == Origin::recording;
  const std::string which = of_a_file ? fmt::format("{} is not of the run of {}", outcome.where, outcome.truth)
                                      : fmt::format("{} is not of the run on {}", outcome.truth, outcome.where);
  const Kinship kinship = kinship_of(sample);
  if (kinship == Kinship::another_run) {
    throw std::invalid_argument(
        fmt::format("{}: hardly one of the first trades is the same in both; {}", which, first_trades(sample)));
  }
  if (kinship == Kinship::repeated && is_of_earlier_run(outcome)) {
    throw std::invalid_argument(
        fmt::format("{}: it has the same trades at other times, and was last written before that run began", which));
  }
}

void audit_recording(Outcome& outcome, const AuditRequest& request) {
  outcome.where = input_name(request.recording);
  outcome.audit.from = request.from;
  outcome.audit.to = request.ends.to;
  outcome.recording = open_input(request.recording);
  reconcile_recording(outcome.audit, outcome.recording);
  outcome.ended_by = "end of input";
}

}  // namespace vorbelctl
