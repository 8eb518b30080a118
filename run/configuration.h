// How a run is configured: the command line, every option with its default; the scenario, market events and special
// trades that a run schedules by itself; and the bond list. Here texts are read; what they ask for is done elsewhere.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "feed/faults.h"
#include "trades/bonds.h"
#include "trades/generator.h"

namespace vorbeld {

// Texts are kept as given; what they hold is read by those who use them.
struct BenchOptions {
  std::string group = "233.54.19.111";  // multicast group, IPv4
  std::uint16_t feed_port = 28977;
  std::string interface = "127.0.0.1";  // IPv4 address of the interface that multicast leaves by
  std::string session = "BTDS000001";
  std::uint16_t report_port = 28978;          // TCP; 0: no listener
  std::uint16_t retransmission_port = 28979;  // UDP; 0: no socket
  std::uint16_t control_port = 0;             // UDP; 0: closed
  std::string bonds =
      "037833DT4:AAPL 3.85 05/04/43:AAPL 3.85 43:IG:98.25:3.85,594918BY9:MSFT 3.30 02/06/27:MSFT 3.3 27:IG:99.10:3.30,"
      "46647PAP1:JPM 4.20 07/23/29:JPM 4.2 29:IG:101.40:4.20,345370CS9:F 4.35 12/08/26:F 4.35 26:HY:97.80:4.35";
  std::string high_yield;     // CUSIPs graded high yield whatever their record says, between commas
  std::string tape_path;      // empty: no tape
  std::string truth_path;     // empty: no truth file
  std::string stats_path;     // empty: no statistics file
  std::uint32_t rate_ms = 0;  // mean gap between generated trades; 0: reported trades only
  std::uint32_t seed = 7;
  std::uint32_t drop_every = 0;
  std::string drop_burst;  // START or START:LENGTH in packet numbers; empty: none
  std::uint32_t duplicate_every = 0;
  std::uint32_t reorder_every = 0;
  std::string scenario;  // key=value settings between commas
  bool quiet = false;
};

// Reads the arguments behind the program name, left to right; of an option given twice the later value counts, except
// that --cancel-every appends to the scenario. `scenario` is what the environment sets. Nothing is returned, and the
// mistake printed, for an unknown option or one without its value. A number that std::stoi or std::stoul cannot read
// throws what they throw; one too wide for its field is cut to its low bits.
std::optional<BenchOptions> read_options(std::span<const char* const> arguments, const char* scenario);

struct ScenarioSettings {
  GeneratorPeriods periods;
  std::uint32_t halt_after_s = 0;   // when the first bond is halted, seconds after start; 0: never
  std::uint32_t halt_ms = 5000;     // for how long
  std::uint32_t close_after_s = 0;  // when the session is closed; 0: never
  std::uint32_t idle_after_s = 0;   // when the generator pauses; 0: never
  std::uint32_t idle_ms = 5000;     // for how long
  std::uint32_t idle_drop = 0;      // trades generated as the pause starts, their packets dropped
};

// Reads key=value settings between commas; a later one overrides an earlier. Pieces without "=" are skipped, unknown
// keys named on the console and skipped. A value that std::stoul cannot read throws what it throws, even under an
// unknown key; one wider than 32 bits is cut to its low bits.
ScenarioSettings read_scenario(std::string_view text);

// The CUSIPs between the commas of `text`; empty pieces are skipped.
CusipSet read_cusips(std::string_view text);

// Appends the bonds of `text` in its order: records between commas, fields between colons (CUSIP, description, symbol,
// grade, price, coupon). A record of fewer than four fields is skipped, a missing price is 100, a missing coupon 5.
// Only the grade "HY" and the CUSIPs of `high_yield` make a bond high yield. A price or coupon that std::stod cannot
// read throws what it throws.
void read_bonds(std::string_view text, const CusipSet& high_yield, Universe& universe);

// Sets the burst of drops that `text` asks for: START or START:LENGTH in packet numbers, one packet without a length;
// an empty text sets none. Numbers that std::stoull and std::stoul cannot read throw what these throw.
void read_drop_burst(const std::string& text, FaultSettings& faults);

}  // namespace vorbeld
