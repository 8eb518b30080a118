// Faults over random histories against a plain reading of their rules, step by step.
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "feed/publisher.h"
#include "tests/unit/common/console.h"
#include "tests/unit/feed/feed_fixture.h"

namespace vorbeld {
namespace {

// What a receiver and the console get, and the rules' own state.
struct Model {
  FaultSettings faults;
  std::uint64_t packets = 0;
  FaultCounters counters;
  std::optional<std::string> held;
  std::vector<std::string> wire;
  std::string console;
};

bool multiple_of(std::uint64_t packet, std::uint32_t every) {
  return every > 0 && packet % every == 0;
}

void send(Model& model, const std::string& message, bool twice, const std::string& number) {
  model.wire.push_back(message);
  if (twice) {
    model.wire.push_back(message);
    ++model.counters.duplicated;
    model.console += "vorbeld fault: duplicated seq " + number + "\n";
  }
  if (model.held) {
    model.wire.push_back(*model.held);
    model.held.reset();
  }
}

void flush_one(Model& model, const std::string& message, std::uint64_t sequence) {
  FaultSettings& faults = model.faults;
  const std::uint64_t packet = ++model.packets;
  const std::string number = std::to_string(sequence);
  const bool in_burst = faults.drop_burst_length > 0 && faults.drop_burst_start <= packet &&
                        packet < faults.drop_burst_start + faults.drop_burst_length;
  if (multiple_of(packet, faults.drop_every) || in_burst || faults.armed_drops > 0) {
    if (faults.armed_drops > 0) --faults.armed_drops;
    ++model.counters.dropped;
    model.console +=
        "vorbeld fault: dropped seq " + number + " (packet " + std::to_string(packet) + ", 1 message(s))\n";
    return;
  }
  bool twice = multiple_of(packet, faults.duplicate_every);
  if (faults.armed_duplicates > 0) {
    --faults.armed_duplicates;
    twice = true;
  }
  const bool hold = multiple_of(packet, faults.reorder_every) || faults.armed_reorders > 0;
  if (hold) {
    if (faults.armed_reorders > 0) --faults.armed_reorders;
    model.held = message;
    ++model.counters.reordered;
    model.console += "vorbeld fault: reordered seq " + number + " (held behind the next packet)\n";
    return;
  }
  send(model, message, twice, number);
}

// Sets one of the faults as a command in the middle of a run does.
void change_a_fault(FaultSettings& faults, std::mt19937& random) {
  const auto value = static_cast<std::uint32_t>(random() % 6);
  switch (random() % 7) {
    case 0:
      faults.drop_every = value;
      break;
    case 1:
      faults.duplicate_every = value;
      break;
    case 2:
      faults.reorder_every = value;
      break;
    case 3:
      faults.armed_drops = value;
      break;
    case 4:
      faults.armed_duplicates = value;
      break;
    case 5:
      faults.armed_reorders = value;
      break;
    default:
      faults.drop_burst_start = random() % 40;
      faults.drop_burst_length = value;
  }
}

void expect_same_history(std::uint32_t seed) {
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  FeedBench bench;
  Model model;
  const std::string console = console_of([&] {
    for (int step = 0; step < 60; ++step) {
      if (random() % 4 == 0) {
        change_a_fault(model.faults, random);
        const FaultSettings& set = model.faults;
        bench.publisher.faults = set;
      }
      const std::string message = "m" + std::to_string(bench.publisher.next_sequence);
      flush_one(model, message, send_message(bench, message));
    }
  });
  EXPECT_EQ(sent_messages(bench), model.wire);
  EXPECT_EQ(console, model.console);
  EXPECT_EQ(bench.publisher.packets, model.packets);
  EXPECT_EQ(bench.publisher.fault_counters.dropped, model.counters.dropped);
  EXPECT_EQ(bench.publisher.fault_counters.duplicated, model.counters.duplicated);
  EXPECT_EQ(bench.publisher.fault_counters.reordered, model.counters.reordered);
  EXPECT_EQ(bench.publisher.faults.armed_drops, model.faults.armed_drops);
  EXPECT_EQ(bench.publisher.faults.armed_duplicates, model.faults.armed_duplicates);
  EXPECT_EQ(bench.publisher.faults.armed_reorders, model.faults.armed_reorders);
}

TEST(FaultProperty, RandomHistoriesFollowTheRules) {
  for (std::uint32_t seed = 1; seed <= 500 && !::testing::Test::HasFailure(); ++seed) expect_same_history(seed);
}

}  // namespace
}  // namespace vorbeld
