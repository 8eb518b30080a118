#include "services/control_port.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "common/clocks.h"
#include "common/numbers.h"
#include "common/stop_signal.h"
#include "common/text.h"
#include "feed/faults.h"
#include "feed/publisher.h"
#include "trades/bonds.h"
#include "trades/records.h"
#include "trades/session.h"
#include "trades/trade_index.h"

namespace vorbeld {
namespace {

// The number that an argument starts with, in its low 32 bits; `otherwise` when it starts with none, or with one beyond
// 64 bits. Leading white space other than blanks and a sign are accepted, and what follows the digits is ignored.
std::uint32_t number_or(std::uint32_t otherwise, std::string_view argument) {
  const std::string text(argument.substr(0, argument.find(' ')));
  char* end = nullptr;
  errno = 0;
  const unsigned long number = std::strtoul(text.c_str(), &end, 10);
  const bool converted = end != text.c_str() && errno == 0;
  return converted ? static_cast<std::uint32_t>(number) : otherwise;
}

using Targets = ControlTargets&;
using Argument = std::string_view;

std::string pause(Targets targets, Argument /*ignored*/) {
  targets.flow.paused = true;
  return "ok";
}

std::string resume(Targets targets, Argument /*ignored*/) {
  targets.flow.paused = false;
  return "ok";
}

// Commands that only set a number of the faults: which one, and what it is set to without an argument.
template <std::uint32_t FaultSettings::*Setting, std::uint32_t Otherwise>
std::string set_fault(Targets targets, Argument argument) {
  targets.engine.publisher.faults.*Setting = number_or(Otherwise, argument);
  return "ok";
}

std::string set_rate(Targets targets, Argument argument) {
  Flow& flow = targets.flow;
  flow.rate_ms = number_or(flow.rate_ms, argument);
  flow.next_trade_ms = monotonic_ms() + flow.rate_ms;
  return "ok";
}

// True when a stop signal came and the drain that it starts would be over by now, had the command let it start.
// `give_up_ms` is this operation's own, 0 at first.
bool outlasts_drain(std::uint64_t& give_up_ms) {
  constexpr std::uint64_t drain_ms = 1500;
  if (!stop_requested()) return false;
  const std::uint64_t now_ms = monotonic_ms();
  if (give_up_ms == 0) give_up_ms = now_ms + drain_ms;
  return now_ms >= give_up_ms;
}

// Amends the latest amendable trade up to `times` times and returns how often. An amendment that finds no trade or is
// refused would be refused each further time, so the first ends it; a number beyond all patience ends with the process.
template <class Amend>
std::uint32_t amend_latest(Engine& engine, std::uint32_t times, Amend amend) {
  std::uint32_t amended = 0;
  std::uint64_t give_up_ms = 0;
  while (amended < times && !outlasts_drain(give_up_ms)) {
    const std::uint64_t trade_id = latest_amendable(engine.trades);
    if (trade_id == 0 || !amend(trade_id)) break;
    ++amended;
  }
  return amended;
}

std::string cancel(Targets targets, Argument argument) {
  Engine& engine = targets.engine;
  const auto cancel_one = [&engine](std::uint64_t trade_id) { return cancel_trade(engine, trade_id); };
  return "cancelled " + std::to_string(amend_latest(engine, number_or(1, argument), cancel_one));
}

std::string correct(Targets targets, Argument argument) {
  Engine& engine = targets.engine;
  const auto correct_one = [&engine](std::uint64_t trade_id) {
    const TradeRecord& record = trade(engine.trades, trade_id);
    const double price = std::round(1.002 * record.price * 1000) / 1000;
    return correct_trade(engine, trade_id, price, record.quantity);
  };
  return "corrected " + std::to_string(amend_latest(engine, number_or(1, argument), correct_one));
}

std::string halt_or_resume(Targets targets, std::string_view cusip, char action, std::string_view reason) {
  Bond* const bond = find_bond(targets.engine.universe, cusip);
  if (bond == nullptr) return "unknown cusip";
  disseminate_halt(targets.engine, *bond, action, reason);
  return "ok";
}

std::string halt(Targets targets, Argument argument) {
  std::vector<std::string_view> pieces;
  split(argument, ' ', pieces);
  return halt_or_resume(targets, pieces[0], 'H', pieces.size() > 1 ? pieces[1] : "T.1");
}

std::string resume_halt(Targets targets, Argument argument) {
  return halt_or_resume(targets, argument, 'R', "T.2");
}

std::string close(Targets targets, Argument /*ignored*/) {
  if (!session_closed(targets.engine)) close_session(targets.engine);
  targets.pending.clear();
  return "ok";
}

std::string mark(Targets targets, Argument label) {
  const std::uint64_t sequence = last_sequence(targets.engine.publisher);
  write_mark(targets.engine, label, sequence);
  std::fprintf(stderr, "bench: mark %.*s at seq %llu\n", static_cast<int>(label.size()), label.data(), Llu{sequence});
  return "ok";
}

std::string statistics(Targets targets, Argument /*ignored*/) {
  const MoldPublisher& publisher = targets.engine.publisher;
  const RunCounters& counters = targets.engine.counters;
  return "seq " + std::to_string(last_sequence(publisher)) +               //
         " messages " + std::to_string(last_sequence(publisher)) +         //
         " packets " + std::to_string(publisher.packets) +                 //
         " reports " + std::to_string(counters.reports) +                  //
         " capped " + std::to_string(counters.capped) +                    //
         " cancels " + std::to_string(counters.cancels) +                  //
         " corrections " + std::to_string(counters.corrections) +          //
         " halts " + std::to_string(counters.halts) +                      //
         " retrans " + std::to_string(targets.retransmissions.requests) +  //
         " " + faults_summary(publisher.fault_counters, publisher.packets);
}

std::string stop(Targets targets, Argument /*ignored*/) {
  targets.flow.stop_now = true;
  return "ok";
}

struct Command {
  std::string_view name;
  std::string (*run)(Targets, Argument);
  bool echoed = true;
};

constexpr std::array commands{
    Command{"pause", pause},
    Command{"resume", resume},
    Command{"drop", set_fault<&FaultSettings::armed_drops, 1>},
    Command{"dup", set_fault<&FaultSettings::armed_duplicates, 1>},
    Command{"reorder", set_fault<&FaultSettings::armed_reorders, 1>},
    Command{"drop_every", set_fault<&FaultSettings::drop_every, 0>},
    Command{"dup_every", set_fault<&FaultSettings::duplicate_every, 0>},
    Command{"reorder_every", set_fault<&FaultSettings::reorder_every, 0>},
    Command{"rate", set_rate},
    Command{"cancel", cancel},
    Command{"correct", correct},
    Command{"halt", halt},
    Command{"resume_halt", resume_halt},
    Command{"close", close},
    Command{"mark", mark},
    Command{"stats", statistics, false},
    Command{"stop", stop},
};

struct Datagram {
  std::array<char, 255> bytes;  // a longer one is cut
  std::size_t length;
  sockaddr_in sender;
  socklen_t sender_length;
};

// False when nothing waits or the datagram is empty.
bool receive(int descriptor, Datagram& datagram) {
  datagram.sender_length = sizeof datagram.sender;
  const ssize_t received = recvfrom(descriptor, datagram.bytes.data(), datagram.bytes.size(), 0,
                                    reinterpret_cast<sockaddr*>(&datagram.sender), &datagram.sender_length);
  if (received < 1) return false;
  datagram.length = static_cast<std::size_t>(received);
  return true;
}

// The text up to the first zero byte, without blanks, carriage returns and line feeds at its end.
std::string command_line(const Datagram& datagram) {
  std::string_view line(datagram.bytes.data(), datagram.length);
  line = line.substr(0, line.find('\0'));
  return std::string(line.substr(0, line.find_last_not_of(" \r\n") + 1));
}

}  // namespace

CommandResult run_command(std::string_view line, ControlTargets targets) {
  const std::size_t blank = line.find(' ');
  const std::string_view name = line.substr(0, blank);
  const std::string_view argument = blank == std::string_view::npos ? "" : line.substr(blank + 1);
  for (const Command& command : commands) {
    if (command.name == name) return {command.run(targets, argument), command.echoed};
  }
  return {"unknown command"};
}

void serve_commands(const ControlPort& port, ControlTargets targets) {
  Datagram datagram{};
  while (receive(port.socket, datagram)) {
    const std::string line = command_line(datagram);
    const CommandResult result = run_command(line, targets);
    if (result.echoed) std::fprintf(stderr, "bench: %s → %s\n", line.c_str(), result.reply.c_str());
    const std::string reply = result.reply + '\n';
    sendto(port.socket, reply.data(), reply.size(), 0, reinterpret_cast<const sockaddr*>(&datagram.sender),
           datagram.sender_length);
  }
}

}  // namespace vorbeld
