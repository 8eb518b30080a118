#include "vorbelctl/commands/doctor.h"

#include <algorithm>
#include <exception>
#include <iostream>
#include <stdexcept>

#include "common/clocks.h"
#include "vorbelctl/commands/doctor_checks.h"
#include "vorbelctl/commands/stats.h"
#include "vorbelctl/handler/fields.h"
#include "vorbelctl/handler/follow.h"
#include "vorbelctl/handler/wording.h"

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

bool bench_answers(const Addresses& addresses) {
  constexpr int patience_ms = 500;
  if (addresses.control_port == 0) return false;
  try {
    const Socket control = open_control(addresses);
    bool refused = false;
    return parse_stats(ask_control(control, "stats", patience_ms, refused).value_or("")).has_value();
  } catch (const std::exception&) {
    return false;  // there is no way even to this machine itself: another check says so
  }
}

Finding check_control(const Addresses& addresses) {
  const std::string where = endpoint("127.0.0.1", addresses.control_port);
  if (bench_answers(addresses)) return {Verdict::fine, "control", "a bench answers on " + where, ""};
  return {Verdict::note, "control", "nobody answers on " + where + "; a bench may run without a control port", ""};
}

// "vorbelctl listen" for this feed, with the addresses that differ from the usual ones.
std::string listen_command(const Addresses& addresses) {
  const Addresses usual;
  std::string command = "vorbelctl listen";
  if (addresses.group != usual.group) command += " --mcast " + addresses.group;
  if (addresses.feed_port != usual.feed_port) command += " --port " + std::to_string(addresses.feed_port);
  if (addresses.interface != usual.interface) command += " --iface " + addresses.interface;
  return command;
}

// Names come from the network: one that could mean something to a shell makes no command.
std::string listen_to_session(const Addresses& addresses, const std::string& session) {
  const bool harmless = !session.empty() && std::all_of(session.begin(), session.end(), [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
  });
  return harmless ? listen_command(addresses) + " --session '" + session + "'" : "";
}

// Nothing of our session has come: what that means depends on who else can be heard.
Finding explain_silence(const Addresses& addresses, const Receiver& receiver) {
  const std::string check = "feed";
  const std::string where = endpoint(addresses.group, addresses.feed_port) + " on " + addresses.interface;
  if (receiver.totals.foreign != 0) {
    return {Verdict::problem, check,
            "the feed on " + where + " is of the session \"" + printable(receiver.foreign_session) + "\", not \"" +
                addresses.session + "\"",
            listen_to_session(addresses, receiver.foreign_session)};
  }
  if (receiver.totals.malformed != 0) {
    return {Verdict::problem, check, "what arrives on " + where + " is no feed; listen shows the bytes",
            listen_command(addresses)};
  }
  if (bench_answers(addresses)) {
    return {Verdict::problem, check,
            "a bench answers on its control port, but nothing arrives on " + where +
                "; compare --mcast, --port and --iface with the first line that the bench printed",
            "tcpdump -i any -n udp port " + std::to_string(addresses.feed_port)};
  }
  if (addresses.control_port == 0) {
    return {Verdict::problem, check, "nothing arrives on " + where + ": no bench runs here", "script/server"};
  }
  return {Verdict::problem, check, "nothing arrives on " + where + ", and no bench answers: it does not run here",
          "script/server"};
}

// A bench that sends nothing else still sends a heartbeat every second.
Finding check_feed(const Addresses& addresses, double seconds) {
  try {
    Follower follower = follow_feed(addresses, {});
    const std::uint64_t until_ms = vorbeld::monotonic_ms() + static_cast<std::uint64_t>(seconds * 1000);
    const Receiver& receiver = follower.receiver;
    while (receiver.joined_at == 0 && vorbeld::monotonic_ms() < until_ms) pump(follower, 50);
    if (receiver.joined_at == 0) return explain_silence(addresses, receiver);
    return {Verdict::fine, "feed", "packets of the session " + addresses.session + " arrive", ""};
  } catch (const std::runtime_error& problem) {
    return {Verdict::problem, "feed", reason_of(problem), ""};
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
  std::cout << mark << std::string(7 - mark.size(), ' ') << finding.check << std::string(12 - finding.check.size(), ' ')
            << finding.says << "\n";
  if (!finding.type.empty()) std::cout << std::string(19, ' ') << "type: " << finding.type << "\n";
  std::cout.flush();
}

// Runs one check after the other; one that cannot succeed because another has failed is left out, so that one cause is
// one problem. Returns how many there are.
std::uint64_t run_checks(const Options& options) {
  const Addresses& addresses = options.addresses;
  std::uint64_t problems = 0;
  const auto passes = [&](const Finding& finding) {
    print_finding(options, finding);
    if (finding.verdict == Verdict::problem) ++problems;
    return finding.verdict != Verdict::problem;
  };
  const bool joined =
      passes(check_interface(addresses)) && passes(check_route(addresses)) && passes(check_membership(addresses));
  if (joined) passes(check_probe(addresses));
  passes(check_filters());
  if (joined) passes(check_buffer(addresses));
  passes(check_losses(addresses));
  if (addresses.control_port != 0) passes(check_control(addresses));
  if (joined) passes(check_feed(addresses, options.doctor.seconds));
  return problems;
}

}  // namespace

int run_doctor(const Options& options) {
  for (const auto& address : {options.addresses.group, options.addresses.interface}) ipv4_number(address);
  const std::uint64_t problems = run_checks(options);
  if (options.json) {
    std::cout << json_line({{"event", std::string("totals")}, {"problems", problems}}) << std::endl;
  } else if (!options.quiet) {
    std::cout << (problems == 0 ? "nothing is wrong here" : counted(problems, "problem") + " found") << std::endl;
  }
  return problems == 0 ? all_well : something_amiss;
}

}  // namespace vorbelctl
