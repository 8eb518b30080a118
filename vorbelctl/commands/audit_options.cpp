#include "vorbelctl/commands/audit_options.h"

#include "vorbelctl/commands/option_values.h"

namespace vorbelctl {

void add_audit(CLI::App& app, AuditOptions& options) {
  app.add_option("--truth", options.truth, "Truth file of the bench; the latest run in it counts")
      ->required()
      ->check(CLI::ExistingFile);
  app.add_option("--tape", options.tape, "Tape of the bench, to be compared as well")->check(CLI::ExistingFile);
  auto* const pcap =
      app.add_option("--pcap", options.pcap, "Read a capture of the feed (libpcap) instead of listening to it")
          ->check(CLI::ExistingFile);
  auto* const offline =
      app.add_flag("--offline", options.offline, "Fetch everything from the retransmission port instead of listening");
  auto* const capture = app.add_option("--capture", options.capture,
                                       "Judge what a handler under test wrote down (JSON lines) instead of listening")
                            ->check(CLI::ExistingFile);
  pcap->excludes(offline)->excludes(capture);
  offline->excludes(capture);
  app.add_option("--from", options.from,
                 "First sequence number to judge; default: the first of the run or of the pcap file")
      ->transform(whole_number(1, largest_sequence));
  auto* const until_end = app.add_flag("--until-end", options.until_end, "End with the end of session");
  auto* const seconds =
      app.add_option("--seconds", options.seconds, "End after so many seconds")->check(positive_seconds());
  for (auto* const live_only : {until_end, seconds}) live_only->excludes(pcap)->excludes(offline)->excludes(capture);
  app.add_option("--timeout", options.timeout_s, "Seconds of silence after which nobody is there, or no more")
      ->capture_default_str()
      ->check(positive_seconds());
  app.add_option("--html", options.html, "Write a page with the verdict, a timeline, prices, faults and differences");
}

}  // namespace vorbelctl
