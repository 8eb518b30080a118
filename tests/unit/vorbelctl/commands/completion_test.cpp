// What the shell may offer.
#include "vorbelctl/commands/completion.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "vorbelctl/commands/command_table.h"

namespace vorbelctl {
namespace {

using Words = std::vector<std::string>;

// For the last word.
Completion complete_last(Words words) {
  words.insert(words.begin(), "vorbelctl");
  return complete_words(words, words.size() - 1);
}

Words sorted(Words words) {
  std::sort(words.begin(), words.end());
  return words;
}

TEST(Completion, OffersTheCommandsFirst) {
  EXPECT_EQ(complete_last({""}).words.size(), all_commands().size() + 3);
  EXPECT_EQ(sorted(complete_last({"wa"}).words), (Words{"wait", "watch"}));
  EXPECT_EQ(complete_last({"--v"}).words, Words{"--version"});
  EXPECT_EQ(complete_last({"--help", "fe"}).words, Words{"fetch"});
  EXPECT_EQ(complete_last({"help", ""}).words.size(), all_commands().size());
}

TEST(Completion, OffersTheOptionsOfTheCommand) {
  EXPECT_EQ(sorted(complete_last({"wait", "--t"}).words), (Words{"--timeout"}));
  EXPECT_EQ(sorted(complete_last({"audit", "--t"}).words), (Words{"--tape", "--timeout", "--to", "--truth"}));
  EXPECT_EQ(sorted(complete_last({"fetch", "1", "--h"}).words), (Words{"--help", "--host"}));
  EXPECT_EQ(complete_last({"bogus", "--"}).words, Words{});
}

TEST(Completion, OffersValuesWhereTheyAreKnown) {
  EXPECT_EQ(sorted(complete_last({"listen", "--format", ""}).words), (Words{"json", "text"}));
  EXPECT_EQ(complete_last({"listen", "--format", "j"}).words, Words{"json"});
  EXPECT_EQ(complete_last({"listen", "--port", ""}).words, Words{});
  EXPECT_EQ(complete_last({"listen", "--bogus", ""}).words, Words{});
}

TEST(Completion, OffersControlCommandsAsTheFirstArgument) {
  EXPECT_EQ(complete_last({"control", ""}).words.size(), 17U);
  EXPECT_EQ(sorted(complete_last({"control", "--json", "st"}).words), (Words{"stats", "stop"}));
  EXPECT_EQ(sorted(complete_last({"control", "--timeout", "5", "--", "st"}).words), (Words{"stats", "stop"}));
  EXPECT_EQ(complete_last({"control", "drop", ""}).words, Words{});
  EXPECT_EQ(complete_last({"control", "--json", "drop", "--timeout", "5", ""}).words, Words{});
}

TEST(Completion, OffersFilesWhereOneIsWanted) {
  for (const char* option : {"--truth", "--tape", "--pcap", "--capture", "--html"}) {
    EXPECT_TRUE(complete_last({"audit", option, ""}).files) << option;
  }
  EXPECT_TRUE(complete_last({"report", "--quiet", "tr"}).files);
  EXPECT_FALSE(complete_last({"report", "--window", ""}).files);
  EXPECT_FALSE(complete_last({"fetch", ""}).files);
}

TEST(Completion, TakesAnyPlaceAndAnyLine) {
  EXPECT_EQ(complete_words({}, 0).words.size(), all_commands().size() + 3);
  EXPECT_EQ(complete_words({}, 1000000).words.size(), all_commands().size() + 3);
  EXPECT_EQ(complete_words({"vorbelctl", "wait"}, 2).words, Words{});
  EXPECT_EQ(complete_words({"vorbelctl", "wa", "behind"}, 1).words.size(), 2U);
}

}  // namespace
}  // namespace vorbelctl
