#include <fstream>
#include <iostream>
#include <stdexcept>

#include "common/clocks.h"
#include "vorbelctl/audit/origins.h"
#include "vorbelctl/commands/commands.h"
#include "vorbelctl/page/page.h"

namespace vorbelctl {
namespace {

AuditRequest request_of(const Options& options) {
  AuditRequest request;
  request.addresses = options.addresses;
  request.from = options.audit.from;
  request.ends.end_of_session = options.audit.until_end;
  request.ends.seconds = options.audit.seconds;
  request.ends.silence_s = options.audit.timeout_s;
  request.ends.one_run = true;
  request.pcap = options.audit.pcap;
  request.recording = options.audit.capture;
  return request;
}

Origin origin_of(const AuditOptions& options) {
  if (options.offline) return Origin::retransmission;
  if (!options.pcap.empty()) return Origin::pcap;
  return options.capture.empty() ? Origin::feed : Origin::recording;
}

void audit_live(Outcome& outcome, const AuditRequest& request, bool quiet) {
  Follower follower = join_feed_for(outcome, request);
  catch_interrupts();
  if (!quiet) {
    std::cerr << "auditing the feed " << outcome.where << " against " << outcome.truth << " (Ctrl-C ends it)\n";
  }
  if (!audit_feed(outcome, follower, request)) {
    // Then it is likely the port that is wrong, and not the bench.
    std::cerr << "vorbelctl: " << no_retransmission(request.addresses, follower.requests_refused) << "\n";
  }
}

void audit_origin(Outcome& outcome, const AuditRequest& request, bool quiet) {
  switch (outcome.origin) {
    case Origin::feed:
      return audit_live(outcome, request, quiet);
    case Origin::retransmission:
      catch_interrupts();
      return audit_retransmission(outcome, request);
    case Origin::pcap:
      return audit_pcap(outcome, request);
    case Origin::recording:
      return audit_recording(outcome, request);
  }
}

// A bench that runs may still write its first record; after the fact there must be one.
void check_truth(const Outcome& outcome) {
  if (outcome.origin == Origin::feed || outcome.audit.reconciliation.truth.last_known != 0) return;
  throw std::invalid_argument("there is no record of a message in " + outcome.truth + "; is it a truth file?");
}

// A verdict on nothing would be none.
void check_compared(const Outcome& outcome) {
  const Audit& audit = outcome.audit;
  if (audit.counts.messages != 0 || !is_equal(outcome)) return;
  throw NoFeed("there is no message from #" + std::to_string(std::max<std::uint64_t>(audit.from, 1)) + " on in " +
               outcome.where + ", so nothing was compared; see --from");
}

// False, with a word on standard error, when the page could not be written.
bool write_page(const Outcome& outcome, const std::string& path) {
  std::ofstream file(path, std::ios::binary);
  file << outcome_page(outcome);
  file.close();
  if (file.good()) return true;
  std::cerr << "vorbelctl: cannot write the page " << path << "; is its folder there, and may you write to it?\n";
  return false;
}

int status_of(const Outcome& outcome) {
  if (!outcome.audit.restart.empty()) return began_again;
  if (!is_equal(outcome)) return something_amiss;
  return outcome.unfinished.empty() ? all_well : nobody_there;
}

int end_without_verdict(const std::exception& problem, int status) {
  std::cerr << "vorbelctl: " << problem.what() << "\n";
  return status;
}

}  // namespace

int run_audit(const Options& options) {
  Outcome outcome;
  outcome.origin = origin_of(options.audit);
  outcome.session = options.addresses.session.substr(0, 10);
  outcome.truth = options.audit.truth;
  outcome.tape = options.audit.tape;
  const std::uint64_t begun_ms = vorbeld::monotonic_ms();
  try {
    open_files(outcome.audit.reconciliation, outcome.truth, outcome.tape);
    check_truth(outcome);
    audit_origin(outcome, request_of(options), options.quiet);
    reconcile_rest(outcome.audit.reconciliation, outcome.audit.last);
    note_rest(outcome.audit);
    check_compared(outcome);
  } catch (const NoFeed& none) {
    return end_without_verdict(none, nobody_there);
  } catch (const std::invalid_argument& bad_file) {
    return end_without_verdict(bad_file, wrong_usage);
  }
  outcome.lasted_ms = vorbeld::monotonic_ms() - begun_ms;
  std::cout << (options.json ? verdict_json(outcome) + "\n" : verdict_text(outcome)) << std::flush;
  if (!options.audit.html.empty() && !write_page(outcome, options.audit.html)) return wrong_usage;
  return status_of(outcome);
}

}  // namespace vorbelctl
