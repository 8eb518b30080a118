// The command line: what is read, and what ends with status 2.
#include "vorbelctl/commands/command_line.h"

#include <gtest/gtest.h>

#include <array>

namespace vorbelctl {
namespace {

struct Reading {
  std::optional<int> status;
  Options options;
  std::string output;
  std::string errors;
};

Reading read_words(std::vector<const char*> words) {
  words.insert(words.begin(), "vorbelctl");
  Reading outcome;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  outcome.status = read_command_line(static_cast<int>(words.size()), words.data(), outcome.options);
  outcome.output = testing::internal::GetCapturedStdout();
  outcome.errors = testing::internal::GetCapturedStderr();
  return outcome;
}

constexpr std::array command_names{"control", "report", "listen", "fetch", "wait", "doctor", "watch"};

TEST(Options, HaveTheDaemonsDefaults) {
  const Reading outcome = read_words({"wait"});
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
  const Reading outcome =
      read_words({"listen", "--mcast", "239.1.2.3", "--port", "1", "--iface", "10.0.0.1", "--session", "S", "--host",
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
  const Reading outcome =
      read_words({"listen", "--from", "7", "--count", "9", "--seconds", "1.5", "--until-end", "--recover"});
  EXPECT_EQ(outcome.options.listen.from, 7U);
  EXPECT_EQ(outcome.options.listen.count, 9U);
  EXPECT_EQ(outcome.options.listen.seconds, 1.5);
  EXPECT_TRUE(outcome.options.listen.until_end);
  EXPECT_TRUE(outcome.options.listen.recover);
  EXPECT_TRUE(read_words({"listen", "--format", "json"}).options.json);
  EXPECT_FALSE(read_words({"listen", "--format", "text"}).options.json);
}

TEST(Options, OfControlAreWordsWhateverTheyLookLike) {
  EXPECT_EQ(read_words({"control", "drop", "-1"}).options.control.words, (std::vector<std::string>{"drop", "-1"}));
  EXPECT_EQ(read_words({"control", "wait"}).options.control.words, (std::vector<std::string>{"wait"}));
  EXPECT_EQ(read_words({"control", "-"}).options.control.words, (std::vector<std::string>{"-"}));
  EXPECT_EQ(read_words({"control", "--", "mark", "--x"}).options.control.words,
            (std::vector<std::string>{"mark", "--x"}));
  EXPECT_EQ(read_words({"control", "stats", "--timeout", "0.5"}).options.control.timeout_s, 0.5);
}

TEST(Options, KeepTheTimeoutsApart) {
  const Options options = read_words({"control", "stats"}).options;
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
    const Reading outcome = read_words(words);
    EXPECT_EQ(outcome.status, 2) << (words.empty() ? "nothing" : words.back());
    EXPECT_NE(outcome.errors, "");
    EXPECT_EQ(outcome.output, "");
  }
}

TEST(Options, SayInShortWhatTheyTake) {
  const std::vector<std::pair<std::vector<const char*>, std::string>> wrong{
      {{"control", "--timeout", "0", "stats"}, "--timeout: \"0\" is no number of seconds above 0, up to 1000000"},
      {{"wait", "--timeout", "1e300"}, "--timeout: \"1e300\" is no number of seconds 0 to 1000000"},
      {{"fetch", "abc"}, "first: \"abc\" is no whole number from 1 to 18446744073709551614"},
      {{"fetch", "1", "65536"}, "count: \"65536\" is no whole number from 1 to 65535"},
      {{"listen", "--count", "0"}, "--count: \"0\" is no whole number from 1 to 18446744073709551615"},
      {{"listen", "--from", "99999999999999999999999"},
       "--from: \"99999999999999999999999\" is no whole number from 1 to 18446744073709551614"},
      {{"listen", "--port", "0"}, "--port: \"0\" is no whole number from 1 to 65535"},
  };
  for (const auto& [words, says] : wrong) {
    const Reading outcome = read_words(words);
    EXPECT_EQ(outcome.status, 2) << says;
    EXPECT_EQ(outcome.errors, "vorbelctl: " + says + "; see vorbelctl " + words.front() + " --help\n");
  }
}

TEST(Options, SayInPlainWordsWhatIsWrongWithThem) {
  const std::vector<std::pair<std::vector<const char*>, std::string>> wrong{
      {{"listen", "--count", "1", "--count", "2"},
       "--count is given 2 times; give it once; see vorbelctl listen --help"},
      {{"listen", "--zeta", "--alpha", "x"}, "listen does not take --zeta --alpha x; see vorbelctl listen --help"},
      {{"report", "a", "b", "c"}, "report does not take b c; see vorbelctl report --help"},
      {{"bogus"}, "there is no command \"bogus\"; see vorbelctl --help"},
      {{"--bogus"}, "vorbelctl does not take --bogus; see vorbelctl --help"},
      {{}, "there is no command; see vorbelctl --help"},
      {{"listen", "--port"}, "--port needs a value; see vorbelctl listen --help"},
      {{"control"}, "control needs a value for command; see vorbelctl control --help"},
      {{"audit"}, "audit needs --truth; see vorbelctl audit --help"},
      {{"listen", "--format", "xml"}, "--format: \"xml\" is not text or json; see vorbelctl listen --help"},
      {{"listen", "--format", "text", "--json"},
       "--format text and --json cannot stand together; see vorbelctl listen --help"},
  };
  for (const auto& [words, says] : wrong) {
    const Reading outcome = read_words(words);
    EXPECT_EQ(outcome.status, 2) << says;
    EXPECT_EQ(outcome.errors, "vorbelctl: " + says + "\n");
    EXPECT_EQ(outcome.output.empty(), outcome.errors.find("--json") == std::string::npos);
  }
}

TEST(Options, OfTheFormatMayAgree) {
  EXPECT_TRUE(read_words({"listen", "--format", "json", "--json"}).options.json);
  EXPECT_TRUE(read_words({"listen", "--json"}).options.json);
}

TEST(Options, AreWrongForProgramsTooWhereTheyWantJson) {
  for (const auto& words : std::vector<std::vector<const char*>>{{"wait", "--port", "x", "--json"},
                                                                 {"--json", "wait"},
                                                                 {"listen", "--format=json", "--bogus"},
                                                                 {"listen", "--format", "json", "--bogus"}}) {
    const Reading outcome = read_words(words);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.output.substr(0, 10), "{\"error\":\"") << words.back();
    EXPECT_NE(outcome.output.find(",\"status\":2}\n"), std::string::npos) << outcome.output;
  }
}

TEST(Options, TakeAddressesThatAreSome) {
  const std::string range = "is no multicast group; those are 224.0.0.0 to 239.255.255.255";
  for (const char* name : {"report", "listen", "wait", "doctor", "watch"}) {
    for (const char* group : {"10.0.0.1", "223.255.255.255", "240.0.0.0"}) {
      const Reading outcome = read_words({name, "--mcast", group});
      EXPECT_EQ(outcome.status, 2);
      EXPECT_NE(outcome.errors.find(range), std::string::npos) << outcome.errors;
    }
    for (const char* group : {"224.0.0.0", "239.255.255.255"}) {
      EXPECT_FALSE(read_words({name, "--mcast", group}).status) << group;
    }
    for (const char* option : {"--mcast", "--iface", "--host"}) {
      const Reading outcome = read_words({name, option, "foo"});
      EXPECT_EQ(outcome.status, 2);
      EXPECT_NE(outcome.errors.find("\"foo\" is no IPv4 address"), std::string::npos) << outcome.errors;
    }
  }
}

TEST(Options, TakeNumbersOfSecondsThatAreSome) {
  for (const char* text : {"nan", "-nan", "inf", "1e300", "1000001", "-1", "2s", "", "0x5"}) {
    for (const char* name : {"control", "report", "watch"}) {
      EXPECT_EQ(read_words({name, "--timeout", text, "-"}).status, 2) << name << " " << text;
    }
    EXPECT_EQ(read_words({"wait", "--timeout", text}).status, 2) << text;
    EXPECT_EQ(read_words({"listen", "--seconds", text}).status, 2) << text;
    EXPECT_EQ(read_words({"doctor", "--seconds", text}).status, 2) << text;
    EXPECT_EQ(read_words({"audit", "--truth", "/dev/null", "--seconds", text}).status, 2) << text;
    EXPECT_EQ(read_words({"audit", "--truth", "/dev/null", "--timeout", text}).status, 2) << text;
  }
  EXPECT_EQ(read_words({"wait", "--timeout", "1000000"}).options.wait.timeout_s, 1000000);
  EXPECT_EQ(read_words({"wait", "--timeout", "0"}).options.wait.timeout_s, 0);
  EXPECT_EQ(read_words({"listen", "--seconds", "0.25"}).options.listen.seconds, 0.25);
}

TEST(Options, TakeDecimalNumbersOnly) {
  EXPECT_EQ(read_words({"fetch", "010", "008"}).options.fetch.first, 10U);
  EXPECT_EQ(read_words({"fetch", "010", "008"}).options.fetch.count, 8U);
  for (const char* text : {"0x10", "1e3", "+1", " 1", "1 ", "1.0", "18446744073709551615", "18446744073709551616"}) {
    EXPECT_EQ(read_words({"fetch", text}).status, 2) << text;
    EXPECT_EQ(read_words({"listen", "--from", text}).status, 2) << text;
    EXPECT_EQ(read_words({"audit", "--truth", "/dev/null", "--from", text}).status, 2) << text;
  }
}

TEST(Options, OfFetchStayWithinTheSequenceNumbers) {
  EXPECT_FALSE(read_words({"fetch", "18446744073709551614"}).status.has_value());
  EXPECT_FALSE(read_words({"fetch", "18446744073709551605", "10"}).status.has_value());
  const Reading outcome = read_words({"fetch", "18446744073709551606", "10"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.errors,
            "vorbelctl: the last number wanted is too large; sequence numbers go up to 18446744073709551614; "
            "see vorbelctl fetch --help\n");
}

TEST(Options, NeedThePortThatTheCommandSpeaksTo) {
  for (const char* name : command_names) {
    EXPECT_EQ(read_words({name, "--port", "0", "1"}).errors.substr(0, 23), "vorbelctl: --port: \"0\" ") << name;
  }
  EXPECT_EQ(read_words({"control", "--control-port", "0", "stats"}).status, 2);
  EXPECT_EQ(read_words({"report", "--report-port", "0"}).status, 2);
  EXPECT_EQ(read_words({"fetch", "--retrans-port", "0", "1"}).status, 2);
  EXPECT_EQ(read_words({"listen", "--recover", "--retrans-port", "0"}).status, 2);
  EXPECT_EQ(read_words({"listen", "--from", "1", "--retrans-port", "0"}).status, 2);
  EXPECT_EQ(read_words({"watch", "--recover", "--retrans-port", "0"}).status, 2);
  for (const char* name : {"listen", "wait", "doctor", "watch"}) {
    EXPECT_FALSE(read_words({name, "--control-port", "0", "--report-port", "0", "--retrans-port", "0"}).status) << name;
  }
}

TEST(Help, NamesTheLimits) {
  EXPECT_NE(read_words({"fetch", "--help"}).output.find("1 to 65535"), std::string::npos);
  EXPECT_NE(read_words({"control", "--help"}).output.find("above 0, up to 1000000"), std::string::npos);
}

TEST(Help, IsThereOnEveryLevelWithAnExampleAndTheStatuses) {
  const Reading outcome = read_words({"--help"});
  EXPECT_EQ(outcome.status, 0);
  for (const char* name : command_names) {
    EXPECT_NE(outcome.output.find(name), std::string::npos) << name;
    const Reading help = read_words({name, "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.errors, "");
    for (const char* part : {"Example:\n", "Exit status: 0 ", "2 wrong usage", "--control-port", "--json"}) {
      EXPECT_NE(help.output.find(part), std::string::npos) << name << " " << part;
    }
  }
}

TEST(Version, IsPrinted) {
  const Reading outcome = read_words({"--version"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output.substr(0, 10), "vorbelctl ");
}

}  // namespace
}  // namespace vorbelctl
