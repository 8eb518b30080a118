#include "vorbelctl/commands/audit.h"

#include <fstream>
#include <iostream>
#include <stdexcept>
#include <utility>

#include "common/clocks.h"
#include "vorbelctl/audit/capture.h"
#include "vorbelctl/audit/report.h"
#include "vorbelctl/commands/interrupt.h"
#include "vorbelctl/commands/silence.h"
#include "vorbelctl/handler/follow.h"
#include "vorbelctl/handler/pcap_feed.h"
#include "vorbelctl/page/page.h"

namespace vorbelctl {
namespace {

constexpr std::uint64_t recovery_patience_ms = 5000;  // for gaps that are open when the audit ends
constexpr std::uint64_t writing_patience_ms = 2000;   // for records of messages that are already here

// Nothing to audit was found; the text says where it was looked for.
struct NoFeed {
  std::string text;
};

std::uint64_t elapsed_ms(std::uint64_t since_ms) {
  return vorbeld::monotonic_ms() - since_ms;
}

bool outlasted(std::uint64_t since_ms, double seconds) {
  return static_cast<double>(elapsed_ms(since_ms)) >= seconds * 1000;
}

void pump_into(Audit& audit, Follower& follower, int timeout_ms) {
  take_events(audit, pump(follower, timeout_ms));
  advance(audit, false);
}

// Listens until there is a reason to end, which is returned.
std::string listen_to_the_end(Audit& audit, Follower& follower, const AuditOptions& options) {
  const std::uint64_t begun_ms = vorbeld::monotonic_ms();
  std::uint64_t heard_ms = begun_ms;
  std::uint64_t heard = 0;
  for (;;) {
    pump_into(audit, follower, 50);
    if (const std::uint64_t ours = follower.receiver.totals.ours; ours != heard) {
      heard = ours;
      heard_ms = vorbeld::monotonic_ms();
    }
    if (interrupted()) return "interrupt";
    if (options.until_end && complete(follower.receiver)) return "end of session";
    if (options.seconds > 0 && outlasted(begun_ms, options.seconds)) return "time";
    if (outlasted(heard_ms, options.timeout_s)) return "silence";
  }
}

// What is missing when the audit ends gets the time to be recovered; nothing new is taken in.
void settle_gaps(Audit& audit, Follower& follower) {
  follower.feed = Socket();
  const std::uint64_t begun_ms = vorbeld::monotonic_ms();
  while (!follower.receiver.gaps.empty() && elapsed_ms(begun_ms) < recovery_patience_ms) pump_into(audit, follower, 10);
  finish(follower.receiver, vorbeld::monotonic_ms());
  take_events(audit, take_events(follower.receiver));
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

void audit_feed(AuditReport& report, const Options& options) {
  report.where = endpoint(options.addresses.group, options.addresses.feed_port);
  ReceiverSettings settings;
  settings.recover = options.addresses.retrans_port != 0;
  settings.first = options.audit.from;
  if (settings.recover && settings.first == 0) settings.first = 1;
  Audit& audit = report.audit;
  audit.from = settings.first;
  use_wall_clock(audit);
  Follower follower = follow_feed(options.addresses, settings);
  catch_interrupts();
  if (!options.quiet) {
    std::cerr << "auditing the feed " << report.where << " against " << report.truth << " (Ctrl-C ends it)\n";
  }
  report.ended_by = listen_to_the_end(audit, follower, options.audit);
  report.totals = follower.receiver.totals;
  if (report.totals.ours == 0) {
    throw NoFeed{"nothing of the session " + report.session + " came on the feed " + report.where +
                 "; is the bench "
                 "running? vorbelctl doctor finds out why nothing arrives"};
  }
  settle_gaps(audit, follower);
  settle_records(audit);
  report.totals = follower.receiver.totals;
  // Nothing that was asked for came: then it is likely the port that is wrong, and not the bench.
  if (missing_in_all(report) != 0 && report.totals.requests != 0 && report.totals.recovered == 0) {
    std::cerr << "vorbelctl: " << no_retransmission(options.addresses, follower.requests_refused) << "\n";
  }
}

// What the bench has sent beyond the file's last record, as far as one answer tells: it may have no record of it.
void ask_beyond(Audit& audit, const Addresses& addresses, std::uint64_t end) {
  ReceiverSettings settings;
  settings.most_tries = 1;
  settings.insist = false;
  Follower follower = follow_answers(addresses, settings, end, end + settings.most_per_request);
  while (!follower.receiver.gaps.empty() && !interrupted()) {
    std::vector<Event> events = pump(follower, 50);
    // A number without a message has not been sent yet.
    std::erase_if(events, [](const Event& event) { return event.kind != EventKind::message; });
    take_events(audit, events);
  }
}

void audit_offline(AuditReport& report, const Options& options) {
  report.where = endpoint(options.addresses.host, options.addresses.retrans_port);
  Audit& audit = report.audit;
  audit.from = std::max<std::uint64_t>(options.audit.from, 1);
  audit.on_the_wire = false;
  use_wall_clock(audit);
  const std::uint64_t end = audit.judge.truth.last_known + 1;
  if (end <= audit.from) return;
  Follower follower = follow_answers(options.addresses, {}, audit.from, end);
  catch_interrupts();
  while (!follower.receiver.gaps.empty() && !interrupted()) {
    pump_into(audit, follower, 50);
    if (follower.requests_refused && audit.counts.fetched == 0) break;
  }
  if (audit.counts.fetched == 0) {
    throw NoFeed{no_retransmission(options.addresses, follower.requests_refused)};
  }
  report.ended_by = interrupted() ? "interrupt" : "end of input";
  if (!interrupted()) finish(follower.receiver, vorbeld::monotonic_ms());
  take_events(audit, take_events(follower.receiver));
  ask_beyond(audit, options.addresses, end);
  settle_records(audit);
  report.totals = follower.receiver.totals;
}

void audit_pcap(AuditReport& report, const Options& options) {
  constexpr std::uint64_t patience_ms = 5000;  // for an answer that was captured after the gap that it fills
  report.where = options.audit.pcap;
  Audit& audit = report.audit;
  audit.from = options.audit.from;
  ReceiverSettings settings;
  settings.session = make_session(options.addresses.session);
  settings.first = options.audit.from;
  settings.reorder_window_ms = patience_ms;
  Receiver receiver = make_receiver(settings);
  std::uint64_t captured_ms = 0;
  const PcapTotals totals =
      read_pcap(options.audit.pcap, options.addresses, [&](std::string_view bytes, Source source, std::uint64_t at_ms) {
        captured_ms = at_ms;
        take_packet(receiver, bytes, source, at_ms);
        tick(receiver, at_ms);
        take_events(audit, take_events(receiver));
        advance(audit, false);
      });
  if (receiver.totals.ours == 0) {
    throw NoFeed{"no packet of the session " + report.session + " to " +
                 endpoint(options.addresses.group, options.addresses.feed_port) + " among the " +
                 std::to_string(totals.frames) + " frames of " + report.where + "; see --mcast, --port and --session"};
  }
  finish(receiver, captured_ms);
  take_events(audit, take_events(receiver));
  settle_records(audit);
  report.ended_by = "end of input";
  report.totals = receiver.totals;
}

void audit_capture(AuditReport& report, const Options& options) {
  report.where = options.audit.capture;
  report.audit.from = options.audit.from;
  judge_capture(report.audit, options.audit.capture);
  report.ended_by = "end of input";
}

AuditSource source_of(const AuditOptions& options) {
  if (options.offline) return AuditSource::offline;
  if (!options.pcap.empty()) return AuditSource::pcap;
  return options.capture.empty() ? AuditSource::feed : AuditSource::capture;
}

void audit_source(AuditReport& report, const Options& options) {
  switch (report.source) {
    case AuditSource::feed:
      return audit_feed(report, options);
    case AuditSource::offline:
      return audit_offline(report, options);
    case AuditSource::pcap:
      return audit_pcap(report, options);
    case AuditSource::capture:
      return audit_capture(report, options);
  }
}

// A bench that runs may still write its first record; after the fact there must be one.
void check_truth(const AuditReport& report) {
  if (report.source == AuditSource::feed || report.audit.judge.truth.last_known != 0) return;
  throw std::invalid_argument("there is no record of a message in " + report.truth + "; is it a truth file?");
}

// A verdict on nothing would be none.
void check_judged(const AuditReport& report) {
  const Audit& audit = report.audit;
  if (audit.counts.messages != 0 || !is_equal(report)) return;
  throw NoFeed{"there is no message from #" + std::to_string(std::max<std::uint64_t>(audit.from, 1)) + " on in " +
               report.where + ", so nothing was compared; see --from"};
}

// False, with a word on standard error, when the page could not be written.
bool write_page(const AuditReport& report, const std::string& path) {
  std::ofstream file(path, std::ios::binary);
  file << report_page(report);
  file.close();
  if (file.good()) return true;
  std::cerr << "vorbelctl: cannot write the page " << path << "; is its folder there, and may you write to it?\n";
  return false;
}

int complain(const std::string& what, int status) {
  std::cerr << "vorbelctl: " << what << "\n";
  return status;
}

}  // namespace

int run_audit(const Options& options) {
  AuditReport report;
  report.source = source_of(options.audit);
  report.session = options.addresses.session.substr(0, 10);
  report.truth = options.audit.truth;
  report.tape = options.audit.tape;
  const std::uint64_t begun_ms = vorbeld::monotonic_ms();
  try {
    report.audit.judge = make_judge(report.truth, report.tape);
    check_truth(report);
    audit_source(report, options);
    judge_rest(report.audit.judge, report.audit.last);
    check_judged(report);
  } catch (const NoFeed& none) {
    return complain(none.text, nobody_there);
  } catch (const std::invalid_argument& bad_file) {
    return complain(bad_file.what(), wrong_usage);
  }
  report.lasted_ms = elapsed_ms(begun_ms);
  std::cout << (options.json ? verdict_json(report) + "\n" : verdict_text(report)) << std::flush;
  if (!options.audit.html.empty() && !write_page(report, options.audit.html)) return wrong_usage;
  return is_equal(report) ? all_well : something_amiss;
}

}  // namespace vorbelctl
