// Commands that set a number: how its text is read, what it is without one, and where it goes.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "common/clocks.h"
#include "services/control_port.h"
#include "tests/unit/services/service_fixture.h"

namespace vorbeld {
namespace {

constexpr std::uint32_t largest = 4'294'967'295;

// The armed drops after "drop" with this behind it; 77 were armed before.
std::uint32_t armed_by(const std::string& behind) {
  ServiceBench bench;
  bench.feed.publisher.faults.armed_drops = 77;
  EXPECT_EQ(reply_to(bench, "drop" + behind), "ok");
  return bench.feed.publisher.faults.armed_drops;
}

// The setting that "drop_every" with this behind it makes of 77.
std::uint32_t set_by(const std::string& behind) {
  ServiceBench bench;
  bench.feed.publisher.faults.drop_every = 77;
  EXPECT_EQ(reply_to(bench, "drop_every" + behind), "ok");
  return bench.feed.publisher.faults.drop_every;
}

TEST(CommandNumber, IsTheDefaultWhereThereIsNone) {
  for (const std::string behind : {"", " ", " x", " x3", "  5", " -", " +", " .5", " \xff"}) {
    EXPECT_EQ(armed_by(behind), 1U) << behind;
    EXPECT_EQ(set_by(behind), 0U) << behind;
  }
}

TEST(CommandNumber, EndsAtItsLastDigit) {
  EXPECT_EQ(armed_by(" 3"), 3U);
  EXPECT_EQ(armed_by(" 3x"), 3U);
  EXPECT_EQ(armed_by(" 3 9"), 3U);
  EXPECT_EQ(armed_by(" 3.9"), 3U);
  EXPECT_EQ(armed_by(" 0"), 0U);
  EXPECT_EQ(armed_by(" 0x10"), 0U);
  EXPECT_EQ(armed_by(" 007"), 7U);
}

TEST(CommandNumber, MayHaveWhiteSpaceAndASignBeforeIt) {
  EXPECT_EQ(armed_by(" \t\v\f\r\n5"), 5U);
  EXPECT_EQ(armed_by(" +5"), 5U);
  EXPECT_EQ(armed_by(" -1"), largest);
  EXPECT_EQ(armed_by(" -5"), largest - 4);
  EXPECT_EQ(set_by(" -18446744073709551615"), 1U);
}

TEST(CommandNumber, KeepsItsLow32Bits) {
  EXPECT_EQ(armed_by(" 4294967295"), largest);
  EXPECT_EQ(armed_by(" 4294967296"), 0U);
  EXPECT_EQ(armed_by(" 4294967299"), 3U);
  EXPECT_EQ(armed_by(" 18446744073709551615"), largest);
}

TEST(CommandNumber, IsTheDefaultBeyond64Bits) {
  for (const std::string behind : {" 18446744073709551616", " -18446744073709551616", " 99999999999999999999999"}) {
    EXPECT_EQ(armed_by(behind), 1U) << behind;
    EXPECT_EQ(set_by(behind), 0U) << behind;
  }
}

TEST(CommandNumber, IsReadAfreshAfterOneOutOfRange) {
  ServiceBench bench;
  reply_to(bench, "drop 99999999999999999999999");
  reply_to(bench, "drop 6");
  EXPECT_EQ(bench.feed.publisher.faults.armed_drops, 6U);
}

struct FaultCommand {
  std::string_view name;
  std::uint32_t FaultSettings::*setting;
  std::uint32_t otherwise;
};

class FaultCommands : public testing::TestWithParam<FaultCommand> {};

TEST_P(FaultCommands, SetTheirNumberAndNoOther) {
  ServiceBench bench;
  FaultSettings& faults = bench.feed.publisher.faults;
  EXPECT_EQ(reply_to(bench, std::string(GetParam().name) + " 5"), "ok");
  EXPECT_EQ(faults.*GetParam().setting, 5U);
  faults.*GetParam().setting = 0;
  EXPECT_EQ(faults.drop_every + faults.duplicate_every + faults.reorder_every, 0U);
  EXPECT_EQ(faults.armed_drops + faults.armed_duplicates + faults.armed_reorders, 0U);
  EXPECT_EQ(faults.drop_burst_length, 0U);
}

TEST_P(FaultCommands, ReplaceTheNumberAndHaveADefault) {
  ServiceBench bench;
  std::uint32_t& setting = bench.feed.publisher.faults.*GetParam().setting;
  reply_to(bench, std::string(GetParam().name) + " 5");
  reply_to(bench, std::string(GetParam().name) + " 2");
  EXPECT_EQ(setting, 2U);
  EXPECT_EQ(reply_to(bench, GetParam().name), "ok");
  EXPECT_EQ(setting, GetParam().otherwise);
}

INSTANTIATE_TEST_SUITE_P(All, FaultCommands,
                         testing::Values(FaultCommand{"drop", &FaultSettings::armed_drops, 1},
                                         FaultCommand{"dup", &FaultSettings::armed_duplicates, 1},
                                         FaultCommand{"reorder", &FaultSettings::armed_reorders, 1},
                                         FaultCommand{"drop_every", &FaultSettings::drop_every, 0},
                                         FaultCommand{"dup_every", &FaultSettings::duplicate_every, 0},
                                         FaultCommand{"reorder_every", &FaultSettings::reorder_every, 0}),
                         [](const auto& tested) { return std::string(tested.param.name); });

// Has the bench take a "rate" command and expects the next trade one interval of `rate_ms` after it.
void expect_rate(ServiceBench& bench, std::string_view line, std::uint32_t rate_ms) {
  const std::uint64_t before = monotonic_ms();
  EXPECT_EQ(reply_to(bench, line), "ok");
  const std::uint64_t after = monotonic_ms();
  EXPECT_EQ(bench.flow.rate_ms, rate_ms);
  EXPECT_GE(bench.flow.next_trade_ms, before + rate_ms);
  EXPECT_LE(bench.flow.next_trade_ms, after + rate_ms);
}

TEST(RateCommand, SetsTheRateAndRestartsTheWait) {
  ServiceBench bench;
  expect_rate(bench, "rate 250", 250);
  expect_rate(bench, "rate 10000000", 10'000'000);
  expect_rate(bench, "rate 0", 0);
  expect_rate(bench, "rate -1", largest);
}

TEST(RateCommand, KeepsTheRateButRestartsTheWaitWithoutANumber) {
  ServiceBench bench;
  bench.flow.rate_ms = 500;
  bench.flow.next_trade_ms = 1;
  expect_rate(bench, "rate", 500);
  bench.flow.next_trade_ms = 1;
  expect_rate(bench, "rate fast", 500);
  expect_rate(bench, "rate 99999999999999999999999", 500);
}

TEST(RateCommand, LeavesPauseAndIdleAlone) {
  ServiceBench bench;
  bench.flow.paused = true;
  bench.flow.idle_until_ms = 123;
  expect_rate(bench, "rate 20", 20);
  EXPECT_TRUE(bench.flow.paused);
  EXPECT_EQ(bench.flow.idle_until_ms, 123U);
}

}  // namespace
}  // namespace vorbeld
