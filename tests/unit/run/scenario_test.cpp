// Scenario settings out of their text: every key, overriding, unknown keys, values that cannot be read.
#include "run/configuration.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tests/unit/common/console.h"

namespace vorbeld {
namespace {

// All settings in the order in which they are listed below.
std::vector<std::uint32_t> all_of(const ScenarioSettings& settings) {
  const GeneratorPeriods& periods = settings.periods;
  return {periods.cancel_every,  periods.correct_every, periods.asof_every,        periods.reversal_every,
          periods.special_every, periods.late_every,    periods.after_hours_every, periods.wavg_every,
          periods.ats_every,     settings.halt_after_s, settings.halt_ms,          settings.close_after_s,
          settings.idle_after_s, settings.idle_ms,      settings.idle_drop};
}

constexpr std::array<std::string_view, 15> keys{"cancel_every",  "correct_every", "asof_every",        "reversal_every",
                                                "special_every", "late_every",    "after_hours_every", "wavg_every",
                                                "ats_every",     "halt_after_s",  "halt_ms",           "close_after_s",
                                                "idle_after_s",  "idle_ms",       "idle_drop"};

std::vector<std::uint32_t> defaults() {
  return {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5000, 0, 0, 5000, 0};
}

// Reads a text that must leave the console empty.
std::vector<std::uint32_t> settings_of(const std::string& text) {
  ScenarioSettings settings;
  EXPECT_EQ(console_of([&] { settings = read_scenario(text); }), "");
  return all_of(settings);
}

// What reading prints; the settings must stay at their defaults.
std::string complaint(const std::string& text) {
  return console_of([&] { EXPECT_EQ(all_of(read_scenario(text)), defaults()); });
}

TEST(Scenario, HasItsDefaults) {
  EXPECT_EQ(settings_of(""), defaults());
}

TEST(Scenario, KnowsEveryKey) {
  for (std::size_t i = 0; i < keys.size(); ++i) {
    std::vector<std::uint32_t> expected = defaults();
    expected[i] = 17;
    EXPECT_EQ(settings_of(std::string(keys[i]) + "=17"), expected) << keys[i];
  }
}

TEST(Scenario, TakesAllKeysAtOnce) {
  std::string text;
  std::vector<std::uint32_t> expected;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    text += std::string(keys[i]) + "=" + std::to_string(100 + i) + ",";
    expected.push_back(static_cast<std::uint32_t>(100 + i));
  }
  EXPECT_EQ(settings_of(text), expected);
}

TEST(Scenario, HaltsAfterThreeSeconds) {
  const ScenarioSettings settings = read_scenario("halt_after_s=3,halt_ms=250");
  EXPECT_EQ(settings.halt_after_s, 3U);
  EXPECT_EQ(settings.halt_ms, 250U);
}

TEST(Scenario, TakesTheLaterOfTwoValues) {
  EXPECT_EQ(settings_of("cancel_every=5,cancel_every=0"), defaults());
  EXPECT_EQ(read_scenario("cancel_every=3,cancel_every=4").periods.cancel_every, 4U);
}

TEST(Scenario, SkipsPiecesWithoutAnEqualsSign) {
  EXPECT_EQ(settings_of("close"), defaults());
  EXPECT_EQ(settings_of(",,close,,"), defaults());
  EXPECT_EQ(read_scenario("close,late_every=2,x").periods.late_every, 2U);
}

TEST(Scenario, NamesUnknownKeysAndGoesOn) {
  EXPECT_EQ(complaint("foo=1"), "vorbeld: unknown scenario key foo\n");
  EXPECT_EQ(complaint("foo=1,bar=2"),
            "vorbeld: unknown scenario key foo\n"
            "vorbeld: unknown scenario key bar\n");
  ScenarioSettings settings;
  console_of([&] { settings = read_scenario("foo=1,late_every=2"); });
  EXPECT_EQ(settings.periods.late_every, 2U);
}

TEST(Scenario, ComparesKeysWhole) {
  EXPECT_EQ(complaint(" halt_ms=1"), "vorbeld: unknown scenario key  halt_ms\n");
  EXPECT_EQ(complaint("halt_ms =1"), "vorbeld: unknown scenario key halt_ms \n");
  EXPECT_EQ(complaint("Halt_ms=1"), "vorbeld: unknown scenario key Halt_ms\n");
  EXPECT_EQ(complaint("halt_m=1"), "vorbeld: unknown scenario key halt_m\n");
  EXPECT_EQ(complaint("halt-ms=1"), "vorbeld: unknown scenario key halt-ms\n");
  EXPECT_EQ(complaint("=1"), "vorbeld: unknown scenario key \n");
}

TEST(Scenario, ReadsAValueUpToTheFirstCharacterThatIsNoneOfIt) {
  const auto value = [](const std::string& text) { return read_scenario("late_every=" + text).periods.late_every; };
  EXPECT_EQ(value("10s"), 10U);
  EXPECT_EQ(value(" 10"), 10U);
  EXPECT_EQ(value("+10"), 10U);
  EXPECT_EQ(value("10=20"), 10U);
  EXPECT_EQ(value("010"), 10U);
  EXPECT_EQ(value("0x10"), 0U);
  EXPECT_EQ(value("-1"), 4'294'967'295U);
  EXPECT_EQ(value("4294967299"), 3U);
}

TEST(Scenario, ThrowsAtAValueThatCannotBeRead) {
  for (const std::string text :
       {"late_every=", "late_every=x", "late_every==5", "foo=", "foo=x", "=", "late_every=-"}) {
    EXPECT_THROW(read_scenario(text), std::invalid_argument) << text;
  }
  EXPECT_THROW(read_scenario("late_every=18446744073709551616"), std::out_of_range);
  EXPECT_THROW(read_scenario("foo=18446744073709551616"), std::out_of_range);
}

TEST(Scenario, NamesTheConversionThatFailed) {
  try {
    read_scenario("halt_ms=soon");
    FAIL() << "nothing was thrown";
  } catch (const std::invalid_argument& thrown) {
    EXPECT_STREQ(thrown.what(), "stoul");
  }
}

TEST(Scenario, ReadsAValueBeforeItLooksAtItsKey) {
  EXPECT_EQ(console_of([] { EXPECT_THROW(read_scenario("foo=x"), std::invalid_argument); }), "");
}

}  // namespace
}  // namespace vorbeld
