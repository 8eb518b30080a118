// The command line: defaults, every option, how values are read, and the mistakes that end the process.
#include "run/configuration.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/unit/common/console.h"

namespace vorbeld {
namespace {

using Arguments = std::vector<const char*>;

BenchOptions options_of(const Arguments& arguments, const char* scenario = nullptr) {
  return read_options(arguments, scenario).value();
}

// What a refused command line prints.
std::string complaint(const Arguments& arguments) {
  return console_of([&] { EXPECT_FALSE(read_options(arguments, nullptr).has_value()); });
}

// Everything that options can set, one text.
std::string all_of(const BenchOptions& options) {
  std::string text;
  for (const std::string& field :
       {options.group, options.interface, options.session, options.bonds, options.high_yield, options.tape_path,
        options.truth_path, options.stats_path, options.drop_burst, options.scenario}) {
    text += field + ";";
  }
  for (const std::uint32_t field :
       {std::uint32_t{options.feed_port}, std::uint32_t{options.report_port},
        std::uint32_t{options.retransmission_port}, std::uint32_t{options.control_port}, options.rate_ms, options.seed,
        options.drop_every, options.duplicate_every, options.reorder_every, std::uint32_t{options.quiet}}) {
    text += std::to_string(field) + ";";
  }
  return text;
}

TEST(Options, HaveTheirDefaults) {
  const BenchOptions options = options_of({});
  EXPECT_EQ(options.group, "233.54.19.111");
  EXPECT_EQ(options.feed_port, 28977);
  EXPECT_EQ(options.interface, "127.0.0.1");
  EXPECT_EQ(options.session, "BTDS000001");
  EXPECT_EQ(options.report_port, 28978);
  EXPECT_EQ(options.retransmission_port, 28979);
  EXPECT_EQ(options.control_port, 0);
  EXPECT_EQ(options.bonds,
            "037833DT4:AAPL 3.85 05/04/43:AAPL 3.85 43:IG:98.25:3.85,594918BY9:MSFT 3.30 02/06/27:MSFT 3.3 "
            "27:IG:99.10:3.30,46647PAP1:JPM 4.20 07/23/29:JPM 4.2 29:IG:101.40:4.20,345370CS9:F 4.35 12/08/26:F 4.35 "
            "26:HY:97.80:4.35");
  EXPECT_EQ(options.high_yield + options.tape_path + options.truth_path + options.stats_path, "");
  EXPECT_EQ(options.rate_ms, 0U);
  EXPECT_EQ(options.seed, 7U);
  EXPECT_EQ(options.drop_every + options.duplicate_every + options.reorder_every, 0U);
  EXPECT_EQ(options.drop_burst + options.scenario, "");
  EXPECT_FALSE(options.quiet);
}

struct TextOption {
  const char* name;
  std::string BenchOptions::*field;
};

class TextOptions : public testing::TestWithParam<TextOption> {};

TEST_P(TextOptions, KeepTheirValueAsGiven) {
  for (const char* value : {"some text", "", "--quiet", "=x", " 5 "}) {
    BenchOptions expected;
    expected.*GetParam().field = value;
    EXPECT_EQ(all_of(options_of({GetParam().name, value})), all_of(expected)) << value;
  }
}

TEST_P(TextOptions, TakeTheLaterValue) {
  EXPECT_EQ(options_of({GetParam().name, "a", "--quiet", GetParam().name, "b"}).*GetParam().field, "b");
}

TEST_P(TextOptions, NeedAValue) {
  EXPECT_EQ(complaint({"--quiet", GetParam().name}), std::string(GetParam().name) + " needs a value\n");
}

INSTANTIATE_TEST_SUITE_P(
    All, TextOptions,
    testing::Values(TextOption{"--mcast", &BenchOptions::group}, TextOption{"--iface", &BenchOptions::interface},
                    TextOption{"--session", &BenchOptions::session}, TextOption{"--bonds", &BenchOptions::bonds},
                    TextOption{"--hy", &BenchOptions::high_yield}, TextOption{"--tape-out", &BenchOptions::tape_path},
                    TextOption{"--truth-out", &BenchOptions::truth_path},
                    TextOption{"--stats-out", &BenchOptions::stats_path},
                    TextOption{"--drop-burst", &BenchOptions::drop_burst},
                    TextOption{"--scenario", &BenchOptions::scenario}));

struct PortOption {
  const char* name;
  std::uint16_t BenchOptions::*field;
};

class PortOptions : public testing::TestWithParam<PortOption> {};

TEST_P(PortOptions, AreReadAndCutTo16Bits) {
  const auto port = [](const char* value) { return options_of({GetParam().name, value}).*GetParam().field; };
  EXPECT_EQ(port("5000"), 5000);
  EXPECT_EQ(port("0"), 0);
  EXPECT_EQ(port("28977x"), 28977);
  EXPECT_EQ(port(" \t12"), 12);
  EXPECT_EQ(port("+12"), 12);
  EXPECT_EQ(port("70000"), 4464);
  EXPECT_EQ(port("-1"), 65535);
  EXPECT_EQ(port("0x10"), 0);
  EXPECT_EQ(port("2147483647"), 65535);
}

TEST_P(PortOptions, SetNothingElse) {
  BenchOptions expected;
  expected.*GetParam().field = 5;
  EXPECT_EQ(all_of(options_of({GetParam().name, "5"})), all_of(expected));
}

TEST_P(PortOptions, ThrowWhatCannotBeRead) {
  for (const char* value : {"abc", "", " ", "x5", "--quiet"}) {
    EXPECT_THROW(options_of({GetParam().name, value}), std::invalid_argument) << value;
  }
  EXPECT_THROW(options_of({GetParam().name, "2147483648"}), std::out_of_range);
}

TEST_P(PortOptions, NeedAValue) {
  EXPECT_EQ(complaint({GetParam().name}), std::string(GetParam().name) + " needs a value\n");
}

INSTANTIATE_TEST_SUITE_P(All, PortOptions,
                         testing::Values(PortOption{"--port", &BenchOptions::feed_port},
                                         PortOption{"--report-port", &BenchOptions::report_port},
                                         PortOption{"--retrans-port", &BenchOptions::retransmission_port},
                                         PortOption{"--control-port", &BenchOptions::control_port}));

struct NumberOption {
  const char* name;
  std::uint32_t BenchOptions::*field;
};

class NumberOptions : public testing::TestWithParam<NumberOption> {};

TEST_P(NumberOptions, AreReadAndCutTo32Bits) {
  const auto number = [](const char* value) { return options_of({GetParam().name, value}).*GetParam().field; };
  EXPECT_EQ(number("25"), 25U);
  EXPECT_EQ(number("25ms"), 25U);
  EXPECT_EQ(number(" 25"), 25U);
  EXPECT_EQ(number("010"), 10U);
  EXPECT_EQ(number("0x10"), 0U);
  EXPECT_EQ(number("-1"), 4'294'967'295U);
  EXPECT_EQ(number("4294967295"), 4'294'967'295U);
  EXPECT_EQ(number("4294967298"), 2U);
  EXPECT_EQ(number("18446744073709551615"), 4'294'967'295U);
}

TEST_P(NumberOptions, SetNothingElse) {
  BenchOptions expected;
  expected.*GetParam().field = 5;
  EXPECT_EQ(all_of(options_of({GetParam().name, "5"})), all_of(expected));
}

TEST_P(NumberOptions, ThrowWhatCannotBeRead) {
  EXPECT_THROW(options_of({GetParam().name, "x"}), std::invalid_argument);
  EXPECT_THROW(options_of({GetParam().name, ""}), std::invalid_argument);
  EXPECT_THROW(options_of({GetParam().name, "18446744073709551616"}), std::out_of_range);
}

TEST_P(NumberOptions, NeedAValue) {
  EXPECT_EQ(complaint({GetParam().name}), std::string(GetParam().name) + " needs a value\n");
}

INSTANTIATE_TEST_SUITE_P(All, NumberOptions,
                         testing::Values(NumberOption{"--rate-ms", &BenchOptions::rate_ms},
                                         NumberOption{"--seed", &BenchOptions::seed},
                                         NumberOption{"--drop-every", &BenchOptions::drop_every},
                                         NumberOption{"--dup-every", &BenchOptions::duplicate_every},
                                         NumberOption{"--reorder-every", &BenchOptions::reorder_every}));

TEST(Options, NameTheConversionThatFailed) {
  const auto thrown = [](const Arguments& arguments) -> std::string {
    try {
      options_of(arguments);
    } catch (const std::logic_error& error) {
      return error.what();
    }
    return "nothing";
  };
  EXPECT_EQ(thrown({"--port", "abc"}), "stoi");
  EXPECT_EQ(thrown({"--port", "99999999999"}), "stoi");
  EXPECT_EQ(thrown({"--rate-ms", "fast"}), "stoul");
  EXPECT_EQ(thrown({"--seed", "99999999999999999999"}), "stoul");
}

TEST(Options, MayBeQuiet) {
  BenchOptions expected;
  expected.quiet = true;
  EXPECT_EQ(all_of(options_of({"--quiet"})), all_of(expected));
  EXPECT_EQ(all_of(options_of({"--quiet", "--quiet"})), all_of(expected));
}

TEST(Options, RefuseWhatIsNone) {
  for (const char* argument : {"--help", "-h", "", "5", "--Port", "--port=5", "-port", "--por", "--ports", "quiet"}) {
    EXPECT_EQ(complaint({argument}), "unknown flag " + std::string(argument) + "\n");
    EXPECT_EQ(complaint({"--rate-ms", "5", argument, "6"}), "unknown flag " + std::string(argument) + "\n");
  }
}

TEST(Options, TakeNoValueForQuiet) {
  EXPECT_EQ(complaint({"--quiet", "5"}), "unknown flag 5\n");
}

TEST(Options, AreReadFromLeftToRight) {
  EXPECT_EQ(complaint({"--bogus", "--port", "abc"}), "unknown flag --bogus\n");
  EXPECT_THROW(complaint({"--port", "abc", "--bogus"}), std::invalid_argument);
  EXPECT_EQ(complaint({"--port", "5", "--seed"}), "--seed needs a value\n");
}

TEST(Options, PrintNothingWhenAllIsWell) {
  EXPECT_EQ(console_of([] { options_of({"--port", "5", "--scenario", "bad=1", "--quiet"}); }), "");
}

TEST(ScenarioOption, StartsWithWhatTheEnvironmentSets) {
  EXPECT_EQ(options_of({}, "idle_after_s=1").scenario, "idle_after_s=1");
  EXPECT_EQ(options_of({}, "").scenario, "");
  EXPECT_EQ(options_of({"--scenario", "a=1"}, "idle_after_s=1").scenario, "a=1");
  EXPECT_EQ(options_of({"--scenario", ""}, "idle_after_s=1").scenario, "");
}

TEST(ScenarioOption, GetsCancelEveryAppended) {
  EXPECT_EQ(options_of({"--cancel-every", "5"}).scenario, "cancel_every=5");
  EXPECT_EQ(options_of({"--scenario", "a=1", "--cancel-every", "5"}).scenario, "a=1,cancel_every=5");
  EXPECT_EQ(options_of({"--cancel-every", "4"}, "idle_after_s=1").scenario, "idle_after_s=1,cancel_every=4");
  EXPECT_EQ(options_of({"--cancel-every", "3", "--cancel-every", "4"}).scenario, "cancel_every=3,cancel_every=4");
}

TEST(ScenarioOption, LosesWhatWasAppendedBeforeIt) {
  EXPECT_EQ(options_of({"--cancel-every", "5", "--scenario", "a=1"}).scenario, "a=1");
  EXPECT_EQ(options_of({"--cancel-every", "4", "--scenario", "a=1"}, "idle_after_s=1").scenario, "a=1");
}

TEST(ScenarioOption, TakesTheCountOfCancelEveryUnread) {
  EXPECT_EQ(options_of({"--cancel-every", "x"}).scenario, "cancel_every=x");
  EXPECT_EQ(options_of({"--cancel-every", ""}).scenario, "cancel_every=");
  EXPECT_EQ(complaint({"--cancel-every"}), "--cancel-every needs a value\n");
}

}  // namespace
}  // namespace vorbeld
