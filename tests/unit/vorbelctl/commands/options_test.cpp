// The command line: what is read, and what ends with status 2.
#include "vorbelctl/commands/options.h"

#include <gtest/gtest.h>

#include <array>

namespace vorbelctl {
namespace {

struct Outcome {
  std::optional<int> status;
  Options options;
  std::string output;
  std::string errors;
};

Outcome read(std::vector<const char*> words) {
  words.insert(words.begin(), "vorbelctl");
  Outcome outcome;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  outcome.status = read_options(static_cast<int>(words.size()), words.data(), outcome.options);
  outcome.output = testing::internal::GetCapturedStdout();
  outcome.errors = testing::internal::GetCapturedStderr();
  return outcome;
}

constexpr std::array command_names{"control", "report", "listen", "fetch", "wait", "doctor", "watch"};

TEST(Options, HaveTheDaemonsDefaults) {
  const Outcome outcome = read({"wait"});
  EXPECT_FALSE(outcome.status.has_value());
  EXPECT_EQ(outcome.options.command, "wait");
  const Addresses& addresses = outcome.options.addresses;
  EXPECT_EQ(addresses.group, "233.54.19.111");
  EXPECT_EQ(addresses.feed_port, 28977);
  EXPECT_EQ(addresses.interface, "127.0.0.1");
  EXPECT_EQ(addresses.session, "BTDS000001");
  EXPECT_EQ(addresses.report_port, 28978);
  EXPECT_EQ(addresses.retrans_port, 28979);
  EXPECT_EQ(addresses.control_port, 28980);
  EXPECT_FALSE(outcome.options.quiet);
  EXPECT_FALSE(outcome.options.json);
}

TEST(Options, SayWhereTheBenchIs) {
  const Outcome outcome =
      read({"listen", "--mcast", "239.1.2.3", "--port", "1", "--iface", "10.0.0.1", "--session", "S", "--host",
            "10.0.0.2", "--report-port", "2", "--retrans-port", "3", "--control-port", "0", "--quiet", "--json"});
  ASSERT_FALSE(outcome.status.has_value());
  const Addresses& addresses = outcome.options.addresses;
  EXPECT_EQ(addresses.group, "239.1.2.3");
  EXPECT_EQ(addresses.feed_port, 1);
  EXPECT_EQ(addresses.interface, "10.0.0.1");
  EXPECT_EQ(addresses.session, "S");
  EXPECT_EQ(addresses.host, "10.0.0.2");
  EXPECT_EQ(addresses.report_port, 2);
  EXPECT_EQ(addresses.retrans_port, 3);
  EXPECT_EQ(addresses.control_port, 0);
  EXPECT_TRUE(outcome.options.quiet);
  EXPECT_TRUE(outcome.options.json);
}

TEST(Options, OfListenAreItsLimits) {
  const Outcome outcome =
      read({"listen", "--from", "7", "--count", "9", "--seconds", "1.5", "--until-end", "--recover"});
  EXPECT_EQ(outcome.options.listen.from, 7U);
  EXPECT_EQ(outcome.options.listen.count, 9U);
  EXPECT_EQ(outcome.options.listen.seconds, 1.5);
  EXPECT_TRUE(outcome.options.listen.until_end);
  EXPECT_TRUE(outcome.options.listen.recover);
  EXPECT_TRUE(read({"listen", "--format", "json"}).options.json);
  EXPECT_FALSE(read({"listen", "--format", "text"}).options.json);
}

TEST(Options, OfControlAreWordsWhateverTheyLookLike) {
  EXPECT_EQ(read({"control", "drop", "-1"}).options.control.words, (std::vector<std::string>{"drop", "-1"}));
  EXPECT_EQ(read({"control", "wait"}).options.control.words, (std::vector<std::string>{"wait"}));
  EXPECT_EQ(read({"control", "-"}).options.control.words, (std::vector<std::string>{"-"}));
  EXPECT_EQ(read({"control", "--", "mark", "--x"}).options.control.words, (std::vector<std::string>{"mark", "--x"}));
  EXPECT_EQ(read({"control", "stats", "--timeout", "0.5"}).options.control.timeout_s, 0.5);
}

TEST(Options, KeepTheTimeoutsApart) {
  const Options options = read({"control", "stats"}).options;
  EXPECT_EQ(options.control.timeout_s, 2);
  EXPECT_EQ(options.report.timeout_s, 5);
  EXPECT_EQ(options.wait.timeout_s, 10);
  EXPECT_EQ(options.watch.timeout_s, 3);
}

TEST(Options, EndWithStatus2WhenTheyAreWrong) {
  const std::vector<std::vector<const char*>> wrong{
      {},
      {"bogus"},
      {"--bogus"},
      {"listen", "--bogus"},
      {"listen", "watch"},
      {"listen", "--port", "70000"},
      {"listen", "--port", "x"},
      {"listen", "--port"},
      {"listen", "--format", "xml"},
      {"listen", "--from", "0"},
      {"listen", "--seconds", "-1"},
      {"fetch"},
      {"fetch", "0"},
      {"fetch", "x"},
      {"fetch", "1", "0"},
      {"fetch", "1", "65536"},
      {"control"},
      {"report", "a", "b"},
      {"report", "--window", "0"},
      {"wait", "--timeout", "-1"},
  };
  for (const auto& words : wrong) {
    const Outcome outcome = read(words);
    EXPECT_EQ(outcome.status, 2) << (words.empty() ? "nothing" : words.back());
    EXPECT_NE(outcome.errors, "");
    EXPECT_EQ(outcome.output, "");
  }
}

TEST(Options, SayInShortWhatTheyTake) {
  const std::vector<std::pair<std::vector<const char*>, std::string>> wrong{
      {{"control", "--timeout", "0", "stats"}, "--timeout: \"0\" is no number of seconds above 0, up to 1000000\n"},
      {{"wait", "--timeout", "1e300"}, "--timeout: \"1e300\" is no number of seconds 0 to 1000000\n"},
      {{"fetch", "abc"}, "first: \"abc\" is no whole number from 1 to 18446744073709551614\n"},
      {{"fetch", "1", "65536"}, "count: \"65536\" is no whole number from 1 to 65535\n"},
      {{"listen", "--count", "0"}, "--count: \"0\" is no whole number from 1 to 18446744073709551615\n"},
      {{"listen", "--from", "99999999999999999999999"},
       "--from: \"99999999999999999999999\" is no whole number from 1 to 18446744073709551614\n"},
      {{"listen", "--port", "0"}, "--port: \"0\" is no whole number from 1 to 65535\n"},
  };
  for (const auto& [words, says] : wrong) {
    const Outcome outcome = read(words);
    EXPECT_EQ(outcome.status, 2) << says;
    EXPECT_EQ(outcome.errors.substr(0, outcome.errors.find('\n') + 1), says);
  }
}

TEST(Options, TakeNumbersOfSecondsThatAreSome) {
  for (const char* text : {"nan", "-nan", "inf", "1e300", "1000001", "-1", "2s", "", "0x5"}) {
    for (const char* name : {"control", "report", "watch"}) {
      EXPECT_EQ(read({name, "--timeout", text, "-"}).status, 2) << name << " " << text;
    }
    EXPECT_EQ(read({"wait", "--timeout", text}).status, 2) << text;
    EXPECT_EQ(read({"listen", "--seconds", text}).status, 2) << text;
    EXPECT_EQ(read({"doctor", "--seconds", text}).status, 2) << text;
    EXPECT_EQ(read({"audit", "--truth", "/dev/null", "--seconds", text}).status, 2) << text;
    EXPECT_EQ(read({"audit", "--truth", "/dev/null", "--timeout", text}).status, 2) << text;
  }
  EXPECT_EQ(read({"wait", "--timeout", "1000000"}).options.wait.timeout_s, 1000000);
  EXPECT_EQ(read({"wait", "--timeout", "0"}).options.wait.timeout_s, 0);
  EXPECT_EQ(read({"listen", "--seconds", "0.25"}).options.listen.seconds, 0.25);
}

TEST(Options, TakeDecimalNumbersOnly) {
  EXPECT_EQ(read({"fetch", "010", "008"}).options.fetch.first, 10U);
  EXPECT_EQ(read({"fetch", "010", "008"}).options.fetch.count, 8U);
  for (const char* text : {"0x10", "1e3", "+1", " 1", "1 ", "1.0", "18446744073709551615", "18446744073709551616"}) {
    EXPECT_EQ(read({"fetch", text}).status, 2) << text;
    EXPECT_EQ(read({"listen", "--from", text}).status, 2) << text;
    EXPECT_EQ(read({"audit", "--truth", "/dev/null", "--from", text}).status, 2) << text;
  }
}

TEST(Options, OfFetchStayWithinTheSequenceNumbers) {
  EXPECT_FALSE(read({"fetch", "18446744073709551614"}).status.has_value());
  EXPECT_FALSE(read({"fetch", "18446744073709551605", "10"}).status.has_value());
  const Outcome outcome = read({"fetch", "18446744073709551606", "10"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.errors,
            "vorbelctl: the last number wanted is too large; sequence numbers go up to 18446744073709551614\n");
}

TEST(Options, NeedThePortThatTheCommandSpeaksTo) {
  for (const char* name : command_names) {
    EXPECT_EQ(read({name, "--port", "0", "1"}).errors.substr(0, 12), "--port: \"0\" ") << name;
  }
  EXPECT_EQ(read({"control", "--control-port", "0", "stats"}).status, 2);
  EXPECT_EQ(read({"report", "--report-port", "0"}).status, 2);
  EXPECT_EQ(read({"fetch", "--retrans-port", "0", "1"}).status, 2);
  EXPECT_EQ(read({"listen", "--recover", "--retrans-port", "0"}).status, 2);
  EXPECT_EQ(read({"listen", "--from", "1", "--retrans-port", "0"}).status, 2);
  EXPECT_EQ(read({"watch", "--recover", "--retrans-port", "0"}).status, 2);
  for (const char* name : {"listen", "wait", "doctor", "watch"}) {
    EXPECT_FALSE(read({name, "--control-port", "0", "--report-port", "0", "--retrans-port", "0"}).status) << name;
  }
}

TEST(Help, NamesTheLimits) {
  EXPECT_NE(read({"fetch", "--help"}).output.find("1 to 65535"), std::string::npos);
  EXPECT_NE(read({"control", "--help"}).output.find("above 0, up to 1000000"), std::string::npos);
}

TEST(Help, IsThereOnEveryLevelWithAnExampleAndTheStatuses) {
  const Outcome outcome = read({"--help"});
  EXPECT_EQ(outcome.status, 0);
  for (const char* name : command_names) {
    EXPECT_NE(outcome.output.find(name), std::string::npos) << name;
    const Outcome help = read({name, "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.errors, "");
    for (const char* part : {"Example:\n", "Exit status: 0 ", "2 wrong usage", "--control-port", "--json"}) {
      EXPECT_NE(help.output.find(part), std::string::npos) << name << " " << part;
    }
  }
}

TEST(Version, IsPrinted) {
  const Outcome outcome = read({"--version"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output.substr(0, 10), "vorbelctl ");
}

}  // namespace
}  // namespace vorbelctl
