#include "vorbelctl/commands/options.h"

#include <array>
#include <iostream>
#include <limits>
#include <string_view>

#include "vorbelctl/commands/option_values.h"

namespace vorbelctl {
namespace {

void add_control(CLI::App& app, Options& options) {
  app.add_option("words", options.control.words, "The command and its arguments; - reads a script from standard input")
      ->required();
  app.add_option("--timeout", options.control.timeout_s, "Seconds to wait for each reply")
      ->capture_default_str()
      ->check(positive_seconds());
}

void add_report(CLI::App& app, Options& options) {
  app.add_option("file", options.report.file, "Report lines, or CSV with a header row; - is standard input")
      ->capture_default_str();
  app.add_option("--window", options.report.window, "Lines that may be under way without an answer")
      ->capture_default_str()
      ->transform(whole_number(1, 100000));
  app.add_option("--timeout", options.report.timeout_s,
                 "Seconds without an answer after which the connection counts as lost")
      ->capture_default_str()
      ->check(positive_seconds());
}

void add_listen(CLI::App& app, Options& options) {
  ListenOptions& listen = options.listen;
  app.add_flag("--recover", listen.recover, "Fill gaps by retransmission requests");
  app.add_option("--from", listen.from,
                 "Start with this sequence number and recover what was before; implies --recover")
      ->transform(whole_number(1, largest_sequence));
  app.add_flag("--until-end", listen.until_end, "End with the end of session");
  app.add_option("--count", listen.count, "End after so many messages")
      ->transform(whole_number(1, std::numeric_limits<std::uint64_t>::max()));
  app.add_option("--seconds", listen.seconds, "End after so many seconds")->check(positive_seconds());
  app.add_option_function<std::string>(
         "--format", [&options](const std::string& format) { options.json = format == "json"; },
         "Lines for people (text) or one JSON object a line (json, the same as --json)")
      ->check(CLI::IsMember({"text", "json"}))
      ->default_str("text");
}

void add_fetch(CLI::App& app, Options& options) {
  app.add_option("first", options.fetch.first, "First sequence number wanted")
      ->required()
      ->transform(whole_number(1, largest_sequence));
  app.add_option("count", options.fetch.count, "How many messages")
      ->capture_default_str()
      ->transform(whole_number(1, std::numeric_limits<std::uint16_t>::max()));
}

void add_wait(CLI::App& app, Options& options) {
  app.add_option("--timeout", options.wait.timeout_s, "Seconds to wait")
      ->capture_default_str()
      ->check(seconds_or_zero());
}

void add_doctor(CLI::App& app, Options& options) {
  app.add_option("--seconds", options.doctor.seconds, "How long to listen; heartbeats come every second")
      ->capture_default_str()
      ->check(positive_seconds());
}

void add_watch(CLI::App& app, Options& options) {
  app.add_flag("--recover", options.watch.recover, "Fill gaps by retransmission requests");
  app.add_option("--seconds", options.watch.seconds, "End after so many seconds")->check(positive_seconds());
  app.add_option("--timeout", options.watch.timeout_s, "Seconds of silence after which nobody is there")
      ->capture_default_str()
      ->check(positive_seconds());
}

struct CommandHelp {
  const char* name;
  const char* summary;
  void (*add)(CLI::App&, Options&);
  const char* footer;  // example and exit statuses
};

constexpr std::array commands{
    CommandHelp{"control", "Send one control command and print the reply", add_control,
                "In a script, one command a line, \"--at-ms N COMMAND\" waits until N ms after the start; empty lines\n"
                "and lines that begin with # are skipped.\n"
                "\nExample:\n"
                "  vorbelctl control drop 5\n"
                "  printf 'rate 50\\n--at-ms 2000 halt 037833DT4 T.1\\n' | vorbelctl control -\n"
                "\nExit status: 0 answered; 1 a reply was \"unknown ...\"; 2 wrong usage; 3 nobody answers"},
    CommandHelp{"report", "Send trade reports over TCP and count the answers", add_report,
                "Every line is checked before anything of it is sent; a bad one is named and never reaches the bench.\n"
                "CSV columns, in any order: cusip, price, quantity; and, where wanted, symbol, party, venue,\n"
                "exec_ms (default: now), settle (YYYYMMDD), where.\n"
                "\nExample:\n"
                "  echo 'T|037833DT4|AAPL|98.5|250000|B|ATS1|1700000000000|20231116|book' | vorbelctl report\n"
                "\nExit status: 0 all accepted; 1 some were refused or malformed; 2 wrong usage; 3 connection lost"},
    CommandHelp{
        "listen", "Follow the feed and print every message decoded", add_listen,
        "Example:\n"
        "  vorbelctl listen --from 1 --until-end\n"
        "\nExit status: 0 nothing missing; 1 messages stayed missing; 2 wrong usage; 3 the feed cannot be joined"},
    CommandHelp{"fetch", "Send one retransmission request and print the messages", add_fetch,
                "A count whose answer no receive buffer holds is asked for in pieces.\n"
                "\nExample:\n"
                "  vorbelctl fetch 1 10\n"
                "\nExit status: 0 all came; 1 some did not come; 2 wrong usage; 3 the port is closed"},
    CommandHelp{
        "wait", "Return as soon as the bench answers", add_wait,
        "Asks the control port for its statistics; where that port is closed (or 0 was given for it), a packet\n"
        "of the session on the feed is enough.\n"
        "\nExample:\n"
        "  vorbeld --control-port 28980 & vorbelctl wait --timeout 5 && vorbelctl control rate 100\n"
        "\nExit status: 0 ready; 2 wrong usage; 3 not ready in time"},
    CommandHelp{"audit", "Compare everything that the feed says with what the bench wrote down",
                [](CLI::App& app, Options& options) { add_audit(app, options.audit); }, audit_footer},
    CommandHelp{"doctor", "Find out why nothing arrives", add_doctor,
                "Example:\n"
                "  vorbelctl doctor --iface 192.0.2.7\n"
                "\nExit status: 0 all is fine; 1 something was found; 2 wrong usage"},
    CommandHelp{"watch", "A live screen of the running bench; q ends it", add_watch,
                "Where the output is no terminal, one plain line a second is written instead.\n"
                "\nExample:\n"
                "  vorbelctl watch\n"
                "\nExit status: 0 ended by q, a signal or --seconds; 2 wrong usage; 3 nobody answers"},
};

void add_addresses(CLI::App& app, std::string_view command, Options& options) {
  Addresses& addresses = options.addresses;
  const std::string group = "Where the bench is";
  const auto add = [&](const char* name, auto& value, const std::string& description) {
    return app.add_option(name, value, description)->capture_default_str()->group(group);
  };
  // Only the port that a command cannot do without must be there.
  const auto add_port = [&](const char* name, std::uint16_t& port, const std::string& description, bool needed) {
    add(name, port, description + (needed ? "" : "; 0: there is none"))
        ->transform(whole_number(needed ? 1 : 0, std::numeric_limits<std::uint16_t>::max()).description(""));
  };
  add("--mcast", addresses.group, "Multicast group of the feed");
  add_port("--port", addresses.feed_port, "UDP port of the feed", true);
  add("--iface", addresses.interface, "Address of the local interface that the feed comes in on");
  add("--session", addresses.session, "Session name; other sessions are reported and ignored");
  add("--host", addresses.host, "Address of the report and retransmission ports");
  add_port("--report-port", addresses.report_port, "TCP port for trade reports", command == "report");
  add_port("--retrans-port", addresses.retrans_port, "UDP port for retransmission requests", command == "fetch");
  add_port("--control-port", addresses.control_port, "UDP control port on 127.0.0.1", command == "control");
}

void add_command(CLI::App& app, const CommandHelp& help, Options& options) {
  CLI::App* const command = app.add_subcommand(help.name, help.summary);
  help.add(*command, options);
  add_addresses(*command, help.name, options);
  command->add_flag("--quiet", options.quiet, "Print nothing but results and errors");
  command->add_flag("--json", options.json, "One JSON object a line instead of text");
  command->footer(std::string("\n") + help.footer);
}

// What is wrong with options that are right each by itself; empty: nothing.
std::string check_together(const Options& options) {
  const bool recovers = (options.command == "listen" && (options.listen.recover || options.listen.from != 0)) ||
                        (options.command == "watch" && options.watch.recover) ||
                        (options.command == "audit" && options.audit.offline);
  if (recovers && options.addresses.retrans_port == 0) {
    return "recovery needs a retransmission port; give it with --retrans-port";
  }
  if (options.command == "fetch" && options.fetch.count - 1U > largest_sequence - options.fetch.first) {
    return "the last number wanted is too large; sequence numbers go up to " + std::to_string(largest_sequence);
  }
  return "";
}

}  // namespace

std::optional<int> read_options(int argc, const char* const* argv, Options& options) {
  CLI::App app("The other end of every door of a vorbeld bench: drives it, receives its feed, recovers what was lost.",
               "vorbelctl");
  app.set_version_flag("--version", "vorbelctl " VORBELCTL_VERSION);
  app.footer(
      "\nExample:\n  vorbelctl listen --help\n\nExit status: 0 all is well; 1 something is amiss; 2 wrong usage; "
      "3 nobody is there");
  app.require_subcommand(0, 1);  // none is said below, in fewer words
  for (const auto& command : commands) add_command(app, command, options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& outcome) {
    return app.exit(outcome) == 0 ? all_well : wrong_usage;
  }
  if (app.get_subcommands().empty()) {
    std::cerr << "vorbelctl: there is no command; vorbelctl --help lists them\n";
    return wrong_usage;
  }
  options.command = app.get_subcommands().front()->get_name();
  if (const std::string wrong = check_together(options); !wrong.empty()) {
    std::cerr << "vorbelctl: " << wrong << "\n";
    return wrong_usage;
  }
  return {};
}

}  // namespace vorbelctl
