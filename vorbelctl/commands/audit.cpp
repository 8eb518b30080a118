#include <algorithm>
#include <array>
#include <iostream>
#include <stdexcept>

#include "common/clocks.h"
#include "vorbelctl/audit/coverage.h"
#include "vorbelctl/audit/origins.h"
#include "vorbelctl/commands/audit_progress.h"
#include "vorbelctl/commands/commands.h"
#include "vorbelctl/commands/ending.h"
#include "vorbelctl/commands/keeping.h"
#include "vorbelctl/commands/output_file.h"
#include "vorbelctl/handler/input.h"
#include "vorbelctl/page/page.h"
#include "vorbelctl/wording/fields.h"

namespace vorbelctl {
namespace {

AuditRequest request_of(const Options& options) {
  AuditRequest request;
  request.addresses = options.addresses;
  request.from = options.audit.from;
  request.ends.to = options.audit.to;
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
  ProgressOwner progress;
  if (!quiet) progress = show_progress(outcome.audit);
  const bool is_answered = audit_feed(outcome, follower, request);
  progress.reset();
  if (!is_answered) {
    // Then it is likely the port that is wrong, and not the bench.
    std::cerr << "vorbelctl: " << no_retransmission(request.addresses, follower.requests_refused) << "\n";
  }
}

void audit_origin(Outcome& outcome, const AuditRequest& request, bool quiet) {
  ProgressOwner progress;
  if (!quiet && outcome.origin != Origin::feed) progress = show_progress(outcome.audit);
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

// Opens truth file and tape, packed or not.
void open_written(Outcome& outcome, const AuditOptions& options) {
  const Input truth = open_input(options.truth);
  if (outcome.origin == Origin::feed && !truth.grows) {
    throw std::invalid_argument(truth.name +
                                " does not grow with the run, as it is packed or piped; audit what has "
                                "been sent with --offline, --pcap or --capture");
  }
  Input tape;
  if (!options.tape.empty()) tape = open_input(options.tape);
  open_files(outcome.audit.reconciliation, truth.path, tape.path);
  if (truth.is_cut) outcome.audit.notes.push_back(cut_note(truth.name));
  if (tape.is_cut) outcome.audit.notes.push_back(cut_note(tape.name));
}

// Standard input can be read once, and no file that is read may be written.
void check_files(const Options& options) {
  const AuditOptions& audit = options.audit;
  const std::array inputs{audit.truth, audit.tape, audit.pcap, audit.capture};
  if (std::count(inputs.begin(), inputs.end(), standard_input) > 1) {
    throw std::invalid_argument("only one of the files can be - (standard input)");
  }
  if (is_given(options, "--html")) check_output(audit.html, inputs);
}

// A bench that runs may still write its first record; when it `is_over` there must be one.
void check_truth(const Outcome& outcome, bool is_over) {
  const Truth& truth = outcome.audit.reconciliation.truth;
  const bool may_come = outcome.origin == Origin::feed && !is_over;
  if (may_come || truth.last_known != 0 || truth.records != 0) return;
  throw std::invalid_argument(no_record_in(outcome.truth));
}

// A verdict on nothing would be none.
void check_compared(const Outcome& outcome) {
  const Audit& audit = outcome.audit;
  if (!is_equal(outcome)) return;
  if (audit.counts.messages != 0 && !compared_nothing(outcome)) return;
  if (audit.counts.messages != 0) throw NoFeed(only_numbers_text(outcome));
  const std::string first = std::to_string(std::max<std::uint64_t>(audit.from, 1));
  const std::string range =
      audit.to == 0 ? "from #" + first + " on" : "from #" + first + " to #" + std::to_string(audit.to);
  throw NoFeed("there is no message " + range + " in " + outcome.where + ", so nothing was compared; see --from" +
               (audit.to == 0 ? "" : " and --to"));
}

// A verdict counts for more than its page.
int write_page(const Outcome& outcome, const std::string& path, int status) {
  const std::string why = write_output(path, outcome_page(outcome));
  if (why.empty()) return status;
  std::cerr << "vorbelctl: cannot write the page " << path << ": " << why << "\n";
  return status == all_well ? unwritten : status;
}

int status_of(const Outcome& outcome) {
  if (!outcome.audit.restart.empty()) return began_again;
  if (could_not_keep_up(outcome)) return too_slow;
  if (!is_equal(outcome)) return something_amiss;
  if (!outcome.unfinished.empty()) return nobody_there;
  return unmet_situations(outcome).empty() ? all_well : unmet;
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

int end_without_verdict(const Options& options, Outcome& outcome, const std::string& why, Status status) {
  keep_without_verdict(options, outcome, why, status);
  return end_with(status, why, options.json);
}

}  // namespace

int run_audit(const Options& options) {
  Outcome outcome;
  outcome.origin = origin_of(options.audit);
  outcome.session = options.addresses.session.substr(0, 10);
  outcome.truth = input_name(options.audit.truth);
  outcome.tape = input_name(options.audit.tape);
  const std::uint64_t begun_ms = vorbeld::monotonic_ms();
  if (!options.audit.keep.empty()) prepare_folder(options.audit.keep);
  try {
    if (options.audit.strict && options.audit.capture.empty()) throw std::invalid_argument("--strict needs --capture");
    const bool has_packets = outcome.origin == Origin::feed || outcome.origin == Origin::pcap;
    if (is_given(options, "--require")) outcome.required = read_situations(options.audit.require, has_packets);
    outcome.lists_situations = options.audit.situations;
    outcome.audit.reconciliation.strict = options.audit.strict;
    check_files(options);
    open_written(outcome, options.audit);
    check_truth(outcome, false);
    const AuditRequest request = request_of(options);
    const RunBeginnings beginnings = beginnings_of(outcome.audit.reconciliation);
    check_written(outcome.audit.reconciliation, beginnings, outcome.truth, outcome.tape);
    audit_origin(outcome, request, options.quiet);
    check_truth(outcome, true);
    check_written(outcome.audit.reconciliation, beginnings, outcome.truth, outcome.tape);
    check_run(outcome, true);
    reconcile_rest(outcome.audit.reconciliation, outcome.audit.last);
    note_coverage(outcome, request.ends);
    note_rest(outcome.audit);
    check_compared(outcome);
  } catch (const NoFeed& none) {
    return end_without_verdict(options, outcome, none.what(), nobody_there);
  } catch (const std::invalid_argument& bad_file) {
    return end_without_verdict(options, outcome, bad_file.what(), wrong_usage);
  } catch (const DoorError& closed) {
    keep_without_verdict(options, outcome, std::string(closed.what()) + "; " + closed.advice, nobody_there);
    throw;
  }
  outcome.lasted_ms = vorbeld::monotonic_ms() - begun_ms;
  for (const std::string& note : outcome.audit.notes) std::cerr << "vorbelctl: note: " << note << "\n";
  const std::string json = verdict_json(outcome) + "\n";
  const std::string text = verdict_text(outcome);
  std::cout << (options.json ? json : text) << std::flush;
  int status = status_of(outcome);
  if (!options.audit.html.empty()) status = write_page(outcome, options.audit.html, status);
  return keep(options, outcome, true, json, text, status);
}

}  // namespace vorbelctl
