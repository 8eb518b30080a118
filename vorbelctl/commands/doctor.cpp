#include "vorbelctl/commands/commands.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <string>

#include "common/clocks.h"
#include "vorbelctl/commands/doctor_checks.h"
#include "vorbelctl/commands/doctor_doors.h"
#include "vorbelctl/commands/program.h"
#include "vorbelctl/handler/follow.h"
#include "vorbelctl/wording/fields.h"
#include "vorbelctl/wording/wording.h"

namespace vorbelctl {
namespace {

std::string verdict_name(Verdict verdict) {
  switch (verdict) {
    case Verdict::fine:
      return "fine";
    case Verdict::note:
      return "note";
    case Verdict::problem:
      return "problem";
  }
  return "";
}

// "vorbelctl listen" for this feed, with the addresses that differ from the usual ones.
std::string listen_command(const Options& options) {
  const Addresses& addresses = options.addresses;
  const Addresses usual;
  std::string command = options.program + " listen";
  if (addresses.group != usual.group) command += fmt::format(" --mcast {}", addresses.group);
  if (addresses.feed_port != usual.feed_port) command += fmt::format(" --port {}", addresses.feed_port);
  if (addresses.interface != usual.interface) command += fmt::format(" --iface {}", addresses.interface);
  return command;
}

// Names come from the network: one that could mean something to a shell makes no command.
std::string listen_to_session(const Options& options, const std::string& session) {
  const bool harmless = !session.empty() && std::all_of(session.begin(), session.end(), [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
  });
  return harmless ? fmt::format("{} --session '{}'", listen_command(options), session) : "";
}

// Nothing of our session has come: what that means depends on who else can be heard.
Finding explain_silence(const Options& options, const Receiver& receiver, bool bench_answers) {
  const Addresses& addresses = options.addresses;
  const std::string check = "feed";
  const std::string where =
      fmt::format("{} on {}", endpoint(addresses.group, addresses.feed_port), addresses.interface);
  if (receiver.totals.foreign != 0) {
    return {Verdict::problem, check,
            fmt::format("the feed on {} is of the session \"{}\", not \"{}\"", where,
                        printable(receiver.foreign_session), addresses.session),
            listen_to_session(options, receiver.foreign_session)};
  }
  if (receiver.totals.malformed != 0) {
    return {Verdict::problem, check, fmt::format("what arrives on {} is no feed; listen shows the bytes", where),
            listen_command(options)};
  }
  if (bench_answers) {
    return {Verdict::problem, check,
            fmt::format("a bench answers on its control port, but nothing arrives on {}; compare --mcast, --port and "
                        "--iface with the first line that the bench printed",
                        where),
            fmt::format("tcpdump -i any -n udp port {}", addresses.feed_port)};
  }
  return {Verdict::problem, check,
          addresses.control_port == 0
              ? fmt::format("nothing arrives on {}: no bench runs here", where)
              : fmt::format("nothing arrives on {}, and no bench answers: it does not run here", where),
          bench_command(options.program, addresses)};
}

// A bench that sends nothing else still sends a heartbeat every second. `latest` is the last sequence number that a
// bench gave on its control port, 0 where none answered, and becomes what the feed says.
Finding check_feed(const Options& options, std::uint64_t& latest) {
  const Addresses& addresses = options.addresses;
  try {
    Follower follower = follow_feed(addresses, {});
    const std::uint64_t until_ms = vorbeld::monotonic_ms() + static_cast<std::uint64_t>(options.doctor.seconds * 1000);
    const Receiver& receiver = follower.receiver;
    while (receiver.joined_at == 0 && vorbeld::monotonic_ms() < until_ms) pump(follower, 50);
    if (receiver.joined_at == 0) return explain_silence(options, receiver, latest != 0);
    latest = receiver.end - 1;
    if (const auto second = hear_second_sender(follower, until_ms)) return {Verdict::problem, "feed", *second, ""};
    return {Verdict::fine, "feed", fmt::format("packets of the session {} arrive, from one sender", addresses.session),
            ""};
  } catch (const DoorError& problem) {
    return {Verdict::problem, "feed", problem.what(), ""};
  }
}

void print_finding(const Options& options, const Finding& finding) {
  if (options.json) {
    std::cout << json_line({{"check", finding.check},
                            {"verdict", verdict_name(finding.verdict)},
                            {"says", finding.says},
                            {"type", finding.type.empty() ? Value() : Value(finding.type)}})
              << std::endl;
    return;
  }
  if (options.quiet && finding.verdict != Verdict::problem) return;
  const std::string mark = finding.verdict == Verdict::problem ? "WRONG" : verdict_name(finding.verdict);
  std::cout << fmt::format("{:<7}{:<12}{}\n", mark, finding.check, finding.says);
  if (!finding.type.empty()) std::cout << fmt::format("{:19}type: {}\n", "", finding.type);
  std::cout.flush();
}

// A variable that was set for another bench is easily forgotten.
Finding tell_variables(const Options& options) {
  return {Verdict::note, "variables",
          fmt::format("the environment says where the bench is: {}", fmt::join(options.variables, " ")), ""};
}

// Runs one check after the other; one that cannot succeed because another has failed is left out, so that one cause is
// one problem. Returns how many there are.
std::uint64_t run_checks(const Options& options) {
  const Addresses& addresses = options.addresses;
  std::uint64_t problems = 0;
  const auto passes = [&](Finding finding) {
    finding.type = runnable_commands(finding.type);
    print_finding(options, finding);
    if (finding.verdict == Verdict::problem) ++problems;
    return finding.verdict != Verdict::problem;
  };
  if (!options.variables.empty()) passes(tell_variables(options));
  const bool joined =
      passes(check_interface(addresses)) && passes(check_route(addresses)) && passes(check_membership(addresses));
  if (joined) passes(check_probe(addresses));
  passes(check_filters());
  if (joined) passes(check_buffer(addresses));
  passes(check_losses(addresses));
  ControlDoor control;
  if (addresses.control_port != 0) control = ask_control_door(addresses, is_given(options, "--control-port"));
  std::uint64_t latest = control.latest;
  if (joined) passes(check_feed(options, latest));
  // Where no bench is known to be there, that its doors are closed has no cause of its own.
  const bool is_there = latest != 0;
  if (addresses.control_port != 0 && (is_there || !control.is_closed)) passes(control.finding);
  if (!is_there) return problems;
  if (addresses.report_port != 0) passes(check_reports(addresses, is_given(options, "--report-port")));
  if (addresses.retrans_port != 0) {
    passes(check_retransmission(addresses, is_given(options, "--retrans-port"), latest));
  }
  return problems;
}

}  // namespace

int run_doctor(const Options& options) {
  const std::uint64_t problems = run_checks(options);
  if (options.json) {
    std::cout << json_line({{"event", std::string("totals")}, {"problems", problems}}) << std::endl;
  } else if (!options.quiet) {
    std::cout << (problems == 0 ? "nothing is wrong here" : counted(problems, "problem") + " found") << std::endl;
  }
  return problems == 0 ? all_well : something_amiss;
}

}  // namespace vorbelctl
