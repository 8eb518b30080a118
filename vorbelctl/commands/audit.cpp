#include <fstream>
#include <iostream>
#include <stdexcept>

#include "common/clocks.h"
#include "vorbelctl/audit/origins.h"
#include "vorbelctl/commands/commands.h"
#include "vorbelctl/commands/keeping.h"
#include "vorbelctl/page/page.h"
#include "vorbelctl/wording/fields.h"

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
  if (!options.audit.keep.empty()) request.keep = kept_capture(options.audit.keep);
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

// Leaves in the folder what the audit was about. What the audit found counts for more than what could not be written.
int keep(const Options& options, Outcome& outcome, bool has_verdict, const std::string& json, const std::string& text,
         int status) {
  const std::string& folder = options.audit.keep;
  if (folder.empty()) return status;
  std::string failed = keep_audit(folder, outcome, has_verdict, json, text);
  if (!outcome.kept_whole) failed += (failed.empty() ? "could not be written whole: " : ", ") + kept_capture(folder);
  if (failed.empty()) return status;
  std::cerr << "vorbelctl: " << failed << "\n";
  return status == all_well ? unwritten : status;
}

void keep_without_verdict(const Options& options, Outcome& outcome, const std::string& why, int status) {
  const FieldList error{{"error", why}, {"status", static_cast<std::uint64_t>(status)}};
  keep(options, outcome, false, json_line(error) + "\n", "vorbelctl: " + why + "\n", status);
}

int end_without_verdict(const Options& options, Outcome& outcome, const std::exception& problem, int status) {
  std::cerr << "vorbelctl: " << problem.what() << "\n";
  keep_without_verdict(options, outcome, problem.what(), status);
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
  if (!options.audit.keep.empty()) prepare_folder(options.audit.keep);
  try {
    open_files(outcome.audit.reconciliation, outcome.truth, outcome.tape);
    check_truth(outcome);
    audit_origin(outcome, request_of(options), options.quiet);
    reconcile_rest(outcome.audit.reconciliation, outcome.audit.last);
    note_rest(outcome.audit);
    check_compared(outcome);
  } catch (const NoFeed& none) {
    return end_without_verdict(options, outcome, none, nobody_there);
  } catch (const std::invalid_argument& bad_file) {
    return end_without_verdict(options, outcome, bad_file, wrong_usage);
  } catch (const DoorError& closed) {
    keep_without_verdict(options, outcome, std::string(closed.what()) + "; " + closed.advice, nobody_there);
    throw;
  }
  outcome.lasted_ms = vorbeld::monotonic_ms() - begun_ms;
  const std::string json = verdict_json(outcome) + "\n";
  const std::string text = verdict_text(outcome);
  std::cout << (options.json ? json : text) << std::flush;
  const bool is_written = options.audit.html.empty() || write_page(outcome, options.audit.html);
  return keep(options, outcome, true, json, text, is_written ? status_of(outcome) : int{wrong_usage});
}

}  // namespace vorbelctl
