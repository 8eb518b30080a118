// The command line: every option, its default, and how its value is read.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

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

}  // namespace vorbeld
