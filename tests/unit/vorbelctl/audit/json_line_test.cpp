// JSON lines into named values: what benches write, what other programs write, and what nobody should.
#include "vorbelctl/audit/json_line.h"

#include <gtest/gtest.h>

namespace vorbelctl {
namespace {

// The only member of the line {"x":<text>}.
Value value_of(const std::string& text) {
  const auto fields = parse_object("{\"x\":" + text + "}");
  if (!fields || fields->size() != 1) return std::string("no single value");
  return fields->front().value;
}

std::string names_in(const std::string& line) {
  const auto fields = parse_object(line);
  if (!fields) return "no object";
  std::string names;
  for (const auto& field : *fields) names += field.name + " ";
  return names;
}

TEST(JsonLine, TellsCountsNumbersAndTextsApart) {
  EXPECT_EQ(value_of("18446744073709551615"), Value(std::uint64_t{18446744073709551615U}));
  EXPECT_EQ(value_of("-5"), Value(Number{-5, 0}));
  EXPECT_EQ(value_of("98.250000"), Value(Number{98.25, 6}));
  EXPECT_EQ(value_of("1e2"), Value(Number{100, 6}));
  EXPECT_EQ(value_of("true"), Value(true));
  EXPECT_EQ(value_of("null"), Value());
  EXPECT_EQ(value_of("\"D\""), Value(std::string("D")));
}

TEST(JsonLine, KeepsTheOrderOfItsMembers) {
  EXPECT_EQ(names_in(R"({"seq":1, "cat":"T", "type":"M"})"), "seq cat type ");
  EXPECT_EQ(names_in("{}"), "");
}

TEST(JsonLine, NamesNestedMembersByTheirPath) {
  EXPECT_EQ(names_in(R"({"summary":{"high":1,"low":2},"x":3})"), "summary.high summary.low x ");
  EXPECT_EQ(names_in(R"({"a":{"b":{"c":{"d":1,"e":{"f":2}}}},"g":3})"), "a.b.c.d g ");
}

TEST(JsonLine, LeavesArraysOut) {
  EXPECT_EQ(names_in(R"({"a":[1,{"b":2},[3]],"c":4})"), "c ");
}

TEST(JsonLine, ReadsWordsThatJsonDoesNotKnowAsTexts) {
  EXPECT_EQ(value_of("nan"), Value(std::string("nan")));
  EXPECT_EQ(value_of("-inf"), Value(std::string("-inf")));
  EXPECT_EQ(value_of("00010101"), Value(std::string("00010101")));
  EXPECT_EQ(value_of("1."), Value(std::string("1.")));
  EXPECT_EQ(value_of("1e+"), Value(std::string("1e+")));
}

TEST(JsonLine, GivesBackEveryByteOfAText) {
  for (int byte = 1; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const std::string escaped = c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    EXPECT_EQ(value_of("\"" + escaped + "\""), Value(std::string(1, c))) << byte;
  }
}

TEST(JsonLine, RefusesWhatIsNoObject) {
  for (const auto* const line :
       {"", "x", "5", "\"text\"", "[1]", "[{\"a\":1}]", "{", "{\"a\":1", "{\"a\":}", "{\"a\":1}}", "{\"a\":1} {}",
        "{\"a\" 1}", "{\"a\":\"x", "{a:1,}", "\\", "{\"a\":1e99999}"}) {
    EXPECT_EQ(names_in(line), "no object") << line;
  }
}

TEST(JsonLine, IsNotBroughtDownByDepth) {
  std::string objects;
  for (int i = 0; i < 100000; ++i) objects += "{\"a\":";
  EXPECT_EQ(names_in(objects), "no object");
  EXPECT_EQ(names_in("{\"a\":" + std::string(100000, '[') + std::string(100000, ']') + ",\"b\":1}"), "b ");
}

}  // namespace
}  // namespace vorbelctl
