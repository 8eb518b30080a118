// The likely reason of many discrepancies in one field.
#include "vorbelctl/audit/pattern.h"

#include <gtest/gtest.h>

#include <functional>

namespace vorbelctl {
namespace {

using Values = std::function<std::pair<std::string, std::string>(int)>;

void count_many(std::vector<WrongField>& fields, const std::string& field, int count, const Values& values) {
  for (int i = 0; i < count; ++i) {
    const auto [expected, received] = values(i);
    count_wrong_field(fields, field, expected, received);
  }
}

std::string reason(const std::string& field, int count, const Values& values, std::uint64_t messages = 1000) {
  std::vector<WrongField> fields;
  count_many(fields, field, count, values);
  return likely_reason(fields, messages);
}

std::pair<std::string, std::string> ten_times(int i) {
  return {std::to_string(i + 1) + ".500000", std::to_string(i + 1) + "5.0"};
}

TEST(Difference, IsOfTheWayInWhichTextsDiffer) {
  EXPECT_EQ(difference_between("20240701120000", "20240701130000").by, 3600);
  EXPECT_EQ(difference_between("20240701120000", "20240701130000").way, Way::shifted);
  EXPECT_EQ(difference_between("98.250000", "982500.0").by, 10000);
  EXPECT_EQ(difference_between("-0.500000", "0.5").by, -1);
  EXPECT_EQ(difference_between("98.250000", "98.260000").way, Way::other);
  EXPECT_EQ(difference_between("0000042", "42").way, Way::unpadded);
  EXPECT_EQ(difference_between("AAPL 3.85 43", "AAPL").way, Way::cut);
  EXPECT_EQ(difference_between("AAPL", "-").way, Way::blank);
  EXPECT_EQ(difference_between("AAPL", "\"  \"").way, Way::blank);
  EXPECT_EQ(difference_between("B", "S").way, Way::other);
  EXPECT_EQ(difference_between("", "").way, Way::cut);
  EXPECT_EQ(difference_between("nan", "5").way, Way::other);
  EXPECT_EQ(difference_between("0.000000", "5").way, Way::other);
}

TEST(LikelyReason, IsKnownOfManyThatAreAlike) {
  EXPECT_EQ(reason("price", 20, ten_times),
            "price is 10 times the right value in 20 messages: is the decimal point elsewhere?");
  EXPECT_EQ(reason("price", 19, ten_times), "") << "they can be read";
  EXPECT_EQ(reason("price", 100,
                   [](int i) { return i % 8 == 0 ? std::pair<std::string, std::string>("1", "7") : ten_times(i); }),
            "");
  EXPECT_EQ(reason("yield", 30, [](int i) { return std::pair(std::to_string(i + 1), "-" + std::to_string(i + 1)); }),
            "yield is of the other sign in 30 messages");
}

TEST(LikelyReason, TellsTimesToASecondOrTwo) {
  const auto later = [](int i) {
    return std::pair<std::string, std::string>("20240701120000", i % 2 == 0 ? "20240701155959" : "20240701160001");
  };
  EXPECT_EQ(reason("sent_at", 50, later), "sent_at is 4 h ahead in 50 messages: is the time UTC and not US Eastern?");
  const auto behind = [](int) { return std::pair<std::string, std::string>("20240701120000", "20240701115930"); };
  EXPECT_EQ(reason("sent_at", 50, behind), "sent_at is 30 s behind in 50 messages: is a clock or a time zone off?");
}

TEST(LikelyReason, IsThatAFieldDiffersOnlyWhereItNearlyAlwaysDoes) {
  const auto swapped = [](int) { return std::pair<std::string, std::string>("B", "S"); };
  EXPECT_EQ(reason("side", 100, swapped, 150), "side is different in 100 messages");
  EXPECT_EQ(reason("side", 100, swapped, 250), "");
}

TEST(LikelyReason, NamesFieldsThatAreAlikeTogether) {
  std::vector<WrongField> fields;
  count_many(fields, "symbol", 30, [](int) { return std::pair<std::string, std::string>("AAPL", "AA"); });
  for (const char* const name : {"price", "high", "low", "last"}) count_many(fields, name, 40, ten_times);
  EXPECT_EQ(likely_reason(fields, 100),
            "price, high, low and others are 10 times the right value in 40 messages: is the decimal point elsewhere?");
}

TEST(WrongFields, AreBounded) {
  std::vector<WrongField> fields;
  for (int i = 0; i < 1000; ++i) count_wrong_field(fields, "book.x" + std::to_string(i), "1", "2");
  EXPECT_EQ(fields.size(), most_wrong_fields);
}

}  // namespace
}  // namespace vorbelctl
