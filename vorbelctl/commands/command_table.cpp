#include "vorbelctl/commands/command_table.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <exception>
#include <iostream>
#include <stdexcept>

#include "vorbelctl/audit/situations.h"
#include "vorbelctl/commands/ending.h"
#include "vorbelctl/commands/script.h"
#include "vorbelctl/doors/sockets.h"

namespace vorbelctl {
namespace {

constexpr std::uint64_t most_in_16_bits = std::numeric_limits<std::uint16_t>::max();

OptionList control_options(Options& options) {
  return {{.name = "command",
           .says = "The command and its arguments; - reads a script from standard input",
           .target = &options.control.words,
           .offers = control_command_names()},
          {.name = "--script",
           .says = "Read a script from this file; - is standard input",
           .target = &options.control.script,
           .is_path = true,
           .excludes = {"command"}},
          {.name = "--raw",
           .says = "Send the arguments unchecked; the bench takes what it cannot read as a default",
           .target = &options.control.raw},
          {.name = "--timeout",
           .says = "Seconds to wait for each reply",
           .target = &options.control.timeout_s,
           .check = Seconds{},
           .shows_default = true}};
}

OptionList report_options(Options& options) {
  return {{.name = "file",
           .says = "Report lines, or CSV with a header row; - is standard input",
           .target = &options.report.file,
           .shows_default = true,
           .is_path = true},
          {.name = "--window",
           .says = "Lines that may be under way without an answer",
           .target = &options.report.window,
           .check = WholeNumber{1, 100000},
           .shows_default = true},
          {.name = "--timeout",
           .says = "Seconds without an answer after which the connection counts as lost",
           .target = &options.report.timeout_s,
           .check = Seconds{},
           .shows_default = true}};
}

OptionList listen_options(Options& options) {
  ListenOptions& listen = options.listen;
  return {{.name = "--recover", .says = "Fill gaps by retransmission requests", .target = &listen.recover},
          {.name = "--from",
           .says = "Start with this sequence number and recover what was before; implies --recover",
           .target = &listen.from,
           .check = WholeNumber{1, largest_sequence}},
          {.name = "--until-end", .says = "End with the end of session", .target = &listen.until_end},
          {.name = "--count", .says = "End after so many messages", .target = &listen.count, .check = WholeNumber{1}},
          {.name = "--seconds", .says = "End after so many seconds", .target = &listen.seconds, .check = Seconds{}},
          {.name = "--timeout",
           .says = "Seconds of silence after which nobody is there, or no more",
           .target = &listen.timeout_s,
           .check = Seconds{},
           .shows_default = true},
          {.name = "--format",
           .says = "Lines for people (text) or one JSON object a line (json, the same as --json)",
           .target = &listen.format,
           .check = OneOf{{"text", "json"}},
           .shows_default = true},
          {.name = "--pcap",
           .says = "Write everything received, answers too, as a capture (libpcap)",
           .target = &listen.pcap,
           .is_path = true}};
}

OptionList fetch_options(Options& options) {
  return {{.name = "first",
           .says = "First sequence number wanted",
           .target = &options.fetch.first,
           .check = WholeNumber{1, largest_sequence},
           .required = true},
          {.name = "count",
           .says = "How many messages",
           .target = &options.fetch.count,
           .check = WholeNumber{1, most_in_16_bits},
           .shows_default = true},
          {.name = "--timeout",
           .says = "Seconds of silence after which no more of the answer is waited for",
           .target = &options.fetch.timeout_s,
           .check = Seconds{},
           .shows_default = true}};
}

OptionList replay_options(Options& options) {
  ReplayOptions& replay = options.replay;
  return {{.name = "file",
           .says = "A capture of the feed (libpcap), as listen --pcap and other programs write it",
           .target = &replay.file,
           .required = true,
           .is_path = true},
          {.name = "--speed",
           .says = "How many times as fast as it was captured",
           .target = &replay.speed,
           .check = Factor{},
           .shows_default = true},
          {.name = "--as-fast-as-possible",
           .says = "Wait for nothing between packets",
           .target = &replay.as_fast_as_possible,
           .excludes = {"--speed"}},
          {.name = "--loop", .says = "Begin again after the linger, until --seconds or Ctrl-C", .target = &replay.loop},
          {.name = "--from",
           .says = "Leave out packets with lower sequence numbers only",
           .target = &replay.from,
           .check = WholeNumber{1, largest_sequence}},
          {.name = "--to",
           .says = "Leave out packets with higher sequence numbers only",
           .target = &replay.to,
           .check = WholeNumber{1, largest_sequence}},
          {.name = "--linger",
           .says = "Seconds for which requests are answered after the last packet",
           .target = &replay.linger_s,
           .check = Seconds{true},
           .shows_default = true},
          {.name = "--seconds", .says = "End after so many seconds", .target = &replay.seconds, .check = Seconds{}},
          {.name = "--captured-mcast",
           .says = "Group of the feed in the capture; default: that of --mcast",
           .target = &replay.captured_group,
           .check = Ipv4Address{true}},
          {.name = "--captured-port",
           .says = "Its port there; default: that of --port",
           .target = &replay.captured_port,
           .check = WholeNumber{1, most_in_16_bits, false}},
          {.name = "--captured-retrans-port",
           .says = "Retransmission port in the capture; default: that of --retrans-port",
           .target = &replay.captured_retrans_port,
           .check = WholeNumber{1, most_in_16_bits, false}}};
}

OptionList wait_options(Options& options) {
  return {{.name = "--timeout",
           .says = "Seconds to wait",
           .target = &options.wait.timeout_s,
           .check = Seconds{true},
           .shows_default = true}};
}

std::vector<std::string> situation_names() {
  std::vector<std::string> names;
  for (const SituationRow& row : all_situations()) names.emplace_back(row.name);
  return names;
}

OptionList audit_options(Options& options) {
  AuditOptions& audit = options.audit;
  return {{.name = "--truth",
           .says = "Truth file of the bench; the latest run in it counts",
           .target = &audit.truth,
           .check = ExistingFile{},
           .required = true},
          {.name = "--tape",
           .says = "Tape of the bench, to be compared as well",
           .target = &audit.tape,
           .check = ExistingFile{}},
          {.name = "--pcap",
           .says = "Read a capture of the feed (libpcap) instead of listening to it",
           .target = &audit.pcap,
           .check = ExistingFile{},
           .excludes = {"--offline", "--capture", "--seconds"}},
          {.name = "--offline",
           .says = "Fetch everything from the retransmission port instead of listening",
           .target = &audit.offline,
           .excludes = {"--capture", "--seconds"}},
          {.name = "--capture",
           .says = "Judge what a handler under test wrote down (JSON lines) instead of listening",
           .target = &audit.capture,
           .check = ExistingFile{},
           .excludes = {"--seconds"}},
          {.name = "--strict",
           .says = "Take a name in the recording that nothing can be compared with for a discrepancy",
           .target = &audit.strict,
           .excludes = {"--pcap", "--offline"}},
          {.name = "--from",
           .says = "First sequence number to judge; default: the first of the run or of the pcap file",
           .target = &audit.from,
           .check = WholeNumber{1, largest_sequence}},
          {.name = "--to",
           .says = "Last sequence number to judge; default: the last that comes",
           .target = &audit.to,
           .check = WholeNumber{1, largest_sequence},
           .excludes = {"--until-end"}},
          {.name = "--until-end", .says = "End with the end of session, which must come", .target = &audit.until_end},
          {.name = "--seconds", .says = "End after so many seconds", .target = &audit.seconds, .check = Seconds{}},
          {.name = "--timeout",
           .says = "Seconds of silence after which nobody is there, or no more",
           .target = &audit.timeout_s,
           .check = Seconds{},
           .shows_default = true},
          {.name = "--html",
           .says = "Write a page with the verdict, a timeline, prices, faults and differences",
           .target = &audit.html,
           .is_path = true},
          {.name = "--situations",
           .says = "List the situations that the run put its receiver through",
           .target = &audit.situations},
          {.name = "--require",
           .says = "Situations that the run must have met, with commas between them",
           .target = &audit.require,
           .offers = situation_names()},
          {.name = "--keep",
           .says = "Leave capture, truth, tape, verdict and page in this folder, new or empty",
           .target = &audit.keep,
           .is_path = true}};
}

OptionList doctor_options(Options& options) {
  return {{.name = "--seconds",
           .says = "How long to listen; heartbeats come every second",
           .target = &options.doctor.seconds,
           .check = Seconds{},
           .shows_default = true}};
}

OptionList watch_options(Options& options) {
  return {
      {.name = "--recover", .says = "Fill gaps by retransmission requests", .target = &options.watch.recover},
      {.name = "--seconds", .says = "End after so many seconds", .target = &options.watch.seconds, .check = Seconds{}},
      {.name = "--timeout",
       .says = "Seconds of silence after which nobody is there",
       .target = &options.watch.timeout_s,
       .check = Seconds{},
       .shows_default = true}};
}

constexpr const char* audit_footer =
    "Everything is compared up to the last message received; messages from before the feed was joined are fetched.\n"
    "A recording must hold the close of a session that was closed; see --to for a part of it.\n"
    "Files may be packed by gzip; - is standard input, for one of them.\n"
    "Without --to, --seconds or --until-end the audit goes on until Ctrl-C, or until the feed falls silent.\n"
    "\nExample:\n"
    "  vorbelctl audit --truth truth.jsonl --tape tape.jsonl --seconds 20 --html report.html\n"
    "\nExit status: 0 equal; 1 discrepancies or losses; 2 wrong usage; 3 no feed, or not what\n"
    "was asked for; 5 the feed began again; 6 the page, the verdict or what to keep could not\n"
    "be written; 8 equal, but a situation that --require names was not met";

constexpr std::array commands{
    Command{"control", "Send one control command and print the reply", control_options, run_control,
            "In a script, one command a line, \"--at-ms N COMMAND\" waits until N ms after the start; empty lines\n"
            "and lines that begin with # are skipped.\n"
            "\nExample:\n"
            "  vorbelctl control drop 5\n"
            "  vorbelctl control --script faults.txt\n"
            "  printf 'rate 50\\n--at-ms 2000 halt 037833DT4 T.1\\n' | vorbelctl control -\n"
            "\nExit status: 0 answered; 1 a reply was \"unknown ...\"; 2 wrong usage; 3 nobody answers",
            control_command_help},
    Command{"report", "Send trade reports over TCP and count the answers", report_options, run_report,
            "Every line is checked before anything of it is sent; a bad one is named and never reaches the bench.\n"
            "CSV columns, in any order: cusip, price, quantity; and, where wanted, symbol, party, venue,\n"
            "exec_ms (default: now), settle (YYYYMMDD), where.\n"
            "\nExample:\n"
            "  echo 'T|037833DT4|AAPL|98.5|250000|B|ATS1|1700000000000|20231116|book' | vorbelctl report\n"
            "\nExit status: 0 all accepted; 1 some were refused or malformed; 2 wrong usage; 3 connection lost"},
    Command{"listen", "Follow the feed and print every message decoded", listen_options, run_listen,
            "Example:\n"
            "  vorbelctl listen --from 1 --until-end\n"
            "\nExit status: 0 nothing wrong; 1 messages missing or altered, or a second sender; 2 wrong usage;\n"
            "3 nothing came, or not what was asked for; 5 the feed began again"},
    Command{"fetch", "Send one retransmission request and print the messages", fetch_options, run_fetch,
            "A count whose answer no receive buffer holds is asked for in pieces.\n"
            "\nExample:\n"
            "  vorbelctl fetch 1 10\n"
            "\nExit status: 0 all came; 1 some did not come; 2 wrong usage; 3 none came"},
    Command{"replay", "Send a captured feed again and answer requests for its messages", replay_options, run_replay,
            "Packets go out byte for byte and in the order of the capture: duplicates, disorder and heartbeats too.\n"
            "What is asked for is answered from the capture's feed and from the answers in it.\n"
            "\nExample:\n"
            "  vorbelctl replay yesterday.pcap --speed 10 --linger 2\n"
            "\nExit status: 0 all was sent; 1 packets were captured only in part; 2 wrong usage, or no capture;\n"
            "3 it holds no packet of the session, the feed cannot be sent, or it ended before all was sent"},
    Command{"wait", "Return as soon as the bench answers", wait_options, run_wait,
            "Asks the control port for its statistics; where that port is closed (or 0 was given for it), a packet\n"
            "of the session on the feed is enough.\n"
            "\nExample:\n"
            "  vorbeld --control-port 28980 & vorbelctl wait --timeout 5 && vorbelctl control rate 100\n"
            "\nExit status: 0 ready; 2 wrong usage; 3 not ready in time"},
    Command{"audit", "Compare everything that the feed says with what the bench wrote down", audit_options, run_audit,
            audit_footer},
    Command{"doctor", "Find out why nothing arrives", doctor_options, run_doctor,
            "Example:\n"
            "  vorbelctl doctor --iface 192.0.2.7\n"
            "\nExit status: 0 all is fine; 1 something was found; 2 wrong usage"},
    Command{"watch", "A live screen of the running bench; q ends it", watch_options, run_watch,
            "Where the output is no terminal, one plain line a second is written instead.\n"
            "\nExample:\n"
            "  vorbelctl watch\n"
            "\nExit status: 0 nothing wrong; 1 messages missing or altered, or a second sender; 2 wrong usage;\n"
            "3 nobody answers; 5 the feed began again"},
};

}  // namespace

std::span<const Command> all_commands() {
  return commands;
}

const Command* find_command(std::string_view name) {
  const auto* const found =
      std::find_if(commands.begin(), commands.end(), [&](const Command& command) { return command.name == name; });
  return found == commands.end() ? nullptr : found;
}

OptionList address_options(const Command& command, Options& options) {
  Addresses& addresses = options.addresses;
  const auto described = [](const char* says, const char* variable) {
    return *variable == '\0' ? std::string(says) : fmt::format("{} ({})", says, variable);
  };
  const auto address = [&](const char* name, std::string& value, const char* says, Check check, const char* variable) {
    return OptionRow{.name = name,
                     .says = described(says, variable),
                     .target = &value,
                     .check = check,
                     .shows_default = true,
                     .variable = variable};
  };
  const auto port = [&](const char* name, std::uint16_t& value, const char* says, bool needed, const char* variable) {
    return OptionRow{.name = name,
                     .says = fmt::format("{}{}", described(says, variable), needed ? "" : "; 0: there is none"),
                     .target = &value,
                     .check = WholeNumber{needed ? 1U : 0U, most_in_16_bits, false},
                     .shows_default = true,
                     .variable = variable};
  };
  return {address("--mcast", addresses.group, "Multicast group of the feed", Ipv4Address{true}, "VORBELD_MCAST"),
          port("--port", addresses.feed_port, "UDP port of the feed", true, "VORBELD_PORT"),
          address("--iface", addresses.interface, "Address of the local interface that the feed comes in on",
                  Ipv4Address{}, "VORBELD_IFACE"),
          address("--session", addresses.session, "Session name; other sessions are reported and ignored", AnyText{},
                  "VORBELD_SESSION"),
          address("--host", addresses.host, "Address of the report and retransmission ports", Ipv4Address{}, ""),
          port("--report-port", addresses.report_port, "TCP port for trade reports", command.run == run_report,
               "VORBELD_REPORTS"),
          port("--retrans-port", addresses.retrans_port, "UDP port for retransmission requests",
               command.run == run_fetch, "VORBELD_RETRANS"),
          port("--control-port", addresses.control_port, "UDP control port on 127.0.0.1", command.run == run_control,
               "VORBELD_CONTROL")};
}

OptionList output_options(Options& options) {
  return {{.name = "--quiet", .says = "Print nothing but results and errors", .target = &options.quiet},
          {.name = "--json", .says = "One JSON object a line instead of text", .target = &options.json}};
}

int run_command(const Command& command, const Options& options) {
  const auto run = [&]() -> int {
    try {
      return command.run(options);
    } catch (const std::invalid_argument& wrong) {
      return end_with(wrong_usage, wrong.what(), options.json);
    } catch (const DoorError& closed) {
      return end_with(nobody_there, fmt::format("{}; {}", closed.what(), closed.advice), options.json);
    } catch (const std::exception& unexpected) {
      return end_with(own_error, fmt::format("an error of vorbelctl itself: {}", unexpected.what()), options.json);
    }
  };
  const int status = run();
  if (std::cout.flush()) return status;
  // What could not be written was not said; what the command found out stays true.
  std::cerr << "vorbelctl: standard output cannot be written\n";
  return status == all_well ? unwritten : status;
}

}  // namespace vorbelctl
