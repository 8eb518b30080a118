#include "vorbelctl/commands/doctor_doors.h"

#include <fmt/core.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/clocks.h"
#include "vorbelctl/doors/control_port.h"
#include "vorbelctl/doors/report_port.h"
#include "vorbelctl/handler/follow.h"

namespace vorbelctl {
namespace {

constexpr int door_patience_ms = 500;

// What is behind a door.
enum class Behind : std::uint8_t {
  bench,
  nobody,   // it is closed
  stranger  // it is open, but what a bench would answer does not come
};

struct AskedDoor {
  std::string check;   // as it is named in the findings
  std::string name;    // "the control port 127.0.0.1:28980"
  std::string option;  // that gives it to the bench and to this program
  std::string owner;   // a command that shows which program has it
};

Finding judge_door(const AskedDoor& door, bool asked_for, Behind behind) {
  switch (behind) {
    case Behind::bench:
      return {Verdict::fine, door.check, "a bench answers on " + door.name, ""};
    case Behind::nobody:
      if (!asked_for) {
        return {Verdict::note, door.check,
                fmt::format("{} is closed; a bench may run without it; if it has another, give that with {}", door.name,
                            door.option),
                ""};
      }
      return {Verdict::problem, door.check,
              fmt::format("{} is closed; start the bench with this {}, or give its own", door.name, door.option), ""};
    case Behind::stranger:
      return {
          Verdict::problem, door.check,
          fmt::format("what has {} does not answer as a bench does; it may be another program: give the bench's own "
                      "with {}",
                      door.name, door.option),
          door.owner};
  }
  return {};
}

// The statistics, where a bench answers with them; `refused`: the port is closed.
std::optional<FieldList> ask_stats(const Addresses& addresses, bool& refused) {
  const Socket control = open_control(addresses);
  return parse_stats(ask_control(control, "stats", door_patience_ms, refused).value_or(""));
}

Behind ask_reports(const Addresses& addresses) {
  ReportConnection connection;
  try {
    connection.socket = open_reports(addresses, door_patience_ms);
  } catch (const DoorError&) {
    return Behind::nobody;
  }
  connection.unsent = "\n";
  const std::uint64_t until_ms = vorbeld::monotonic_ms() + door_patience_ms;
  while (connection.lost.empty() && vorbeld::monotonic_ms() < until_ms) {
    const std::uint64_t now_ms = vorbeld::monotonic_ms();
    if (!connection.unsent.empty()) send_lines(connection, now_ms);
    if (!wait_readable({&connection.socket}, static_cast<int>(until_ms - now_ms))) continue;
    const std::vector<std::string> answers = take_answers(connection, now_ms);
    if (!answers.empty()) return answers.front() == "E malformed" ? Behind::bench : Behind::stranger;
  }
  return Behind::stranger;
}

Behind ask_retransmission(const Addresses& addresses, std::uint64_t wanted) {
  ReceiverSettings settings;
  settings.most_tries = 2;  // the first may have been lost
  settings.insist = false;
  Follower follower = follow_answers(addresses, settings, wanted, wanted + 1);
  while (!follower.receiver.gaps.empty() && !follower.requests_refused) pump(follower, door_patience_ms);
  if (follower.receiver.totals.messages != 0) return Behind::bench;
  return follower.requests_refused ? Behind::nobody : Behind::stranger;
}

}  // namespace

ControlDoor ask_control_door(const Addresses& addresses, bool asked_for) {
  const AskedDoor door{"control", "the control port " + endpoint("127.0.0.1", addresses.control_port), "--control-port",
                       fmt::format("ss -ulpn 'sport = :{}'", addresses.control_port)};
  try {
    bool refused = false;
    const auto stats = ask_stats(addresses, refused);
    const Behind behind = stats ? Behind::bench : refused ? Behind::nobody : Behind::stranger;
    return {judge_door(door, asked_for, behind), behind == Behind::nobody, stats ? stat(*stats, "seq") : 0};
  } catch (const DoorError& problem) {
    return {{Verdict::problem, door.check, problem.what(), ""}};
  }
}

Finding check_reports(const Addresses& addresses, bool asked_for) {
  const AskedDoor door{"reports", "the report port " + endpoint(addresses.host, addresses.report_port), "--report-port",
                       fmt::format("ss -tlpn 'sport = :{}'", addresses.report_port)};
  return judge_door(door, asked_for, ask_reports(addresses));
}

Finding check_retransmission(const Addresses& addresses, bool asked_for, std::uint64_t wanted) {
  const AskedDoor door{"retrans", "the retransmission port " + endpoint(addresses.host, addresses.retrans_port),
                       "--retrans-port", fmt::format("ss -ulpn 'sport = :{}'", addresses.retrans_port)};
  try {
    return judge_door(door, asked_for, ask_retransmission(addresses, wanted));
  } catch (const DoorError& problem) {
    return {Verdict::problem, door.check, problem.what(), ""};
  }
}

}  // namespace vorbelctl
