// JSON lines of other programs into named values: what they write, and what nobody should.
#include "vorbelctl/audit/json_claims.h"

#include <gtest/gtest.h>

#include <optional>

namespace vorbelctl {
namespace {

// The only member of the line {"x":<text>}; nothing when it is no object with one member.
std::optional<Claim> claim_of(const std::string& text) {
  Claims claims;
  if (!read_claims("{\"x\":" + text + "}", claims) || claims.size() != 1) return {};
  return claims[0];
}

// The type and value of that member: "number 98.25 98.250000".
std::string value_of(const std::string& text) {
  const auto claim = claim_of(text);
  if (!claim) return "no object";
  switch (claim->type) {
    case Claim::Type::nothing:
      return "nothing";
    case Claim::Type::flag:
      return claim->flag ? "true" : "false";
    case Claim::Type::number:
      return "number " + claim->text + " = " + std::to_string(claim->number);
    case Claim::Type::text:
      return "text " + claim->text;
    case Claim::Type::array:
      return "array";
  }
  return "";
}

std::string claims_in(const std::string& line) {
  Claims claims;
  if (!read_claims(line, claims)) return "no object";
  std::string names;
  for (const Claim& claim : claims) names += claim.name + " ";
  return names;
}

TEST(JsonClaims, TellTheirTypesApart) {
  EXPECT_EQ(value_of("18446744073709551615"), "number 18446744073709551615 = 18446744073709551616.000000");
  EXPECT_EQ(value_of("-5"), "number -5 = -5.000000");
  EXPECT_EQ(value_of("98.250000"), "number 98.250000 = 98.250000");
  EXPECT_EQ(value_of("1e2"), "number 1e2 = 100.000000");
  EXPECT_EQ(value_of("true"), "true");
  EXPECT_EQ(value_of("false"), "false");
  EXPECT_EQ(value_of("null"), "nothing");
  EXPECT_EQ(value_of("\"D\""), "text D");
  EXPECT_EQ(value_of("\"\""), "text ");
}

TEST(JsonClaims, KeepTheOrderOfTheMembers) {
  EXPECT_EQ(claims_in(R"({"seq":1, "cat":"T", "type":"M"})"), "seq cat type ");
  EXPECT_EQ(claims_in("{}"), "");
  EXPECT_EQ(claims_in(" {\"a\":1} "), "a ");
}

TEST(JsonClaims, ReplaceThoseOfTheLineBefore) {
  Claims claims;
  ASSERT_TRUE(read_claims(R"({"a":1,"b":2})", claims));
  ASSERT_TRUE(read_claims(R"({"c":3})", claims));
  ASSERT_EQ(claims.size(), 1U);
  EXPECT_EQ(claims[0].name, "c");
}

TEST(JsonClaims, NameNestedMembersByTheirPath) {
  EXPECT_EQ(claims_in(R"({"book":{"high":1,"low":2},"x":3})"), "book.high book.low x ");
  EXPECT_EQ(claims_in(R"({"a":{"b":{"c":{"d":1,"e":{"f":2}}}},"g":3})"), "a.b.c.d g ");
}

TEST(JsonClaims, NameArraysAndLeaveTheirContentOut) {
  EXPECT_EQ(claims_in(R"({"a":[1,{"b":2},[3]],"c":4})"), "a c ");
  EXPECT_EQ(claims_in(R"({"a":{"b":[{"c":1}],"d":5},"e":6})"), "a.b a.d e ");
}

TEST(JsonClaims, TakeWordsThatSomeWriteForNumbersForTexts) {
  for (const char* const word : {"NaN", "nan", "inf", "Infinity", "-inf", "-Infinity"}) {
    EXPECT_EQ(value_of(word), "text " + std::string(word));
  }
}

TEST(JsonClaims, LeaveSuchWordsInTextsAlone) {
  EXPECT_EQ(claims_in(R"({"nan":NaN,"x":"inf \" nan"})"), "nan x ");
  Claims claims;
  ASSERT_TRUE(read_claims(R"({"x":"inf \" nan","y":nan})", claims));
  EXPECT_EQ(claims[0].text, "inf \" nan");
}

TEST(JsonClaims, GiveBackEveryCharacterOfAText) {
  for (int byte = ' '; byte < 0x7f; ++byte) {
    const char c = static_cast<char>(byte);
    const std::string escaped = c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    EXPECT_EQ(value_of("\"" + escaped + "\""), "text " + std::string(1, c)) << byte;
  }
  EXPECT_EQ(value_of(R"("\u00e9\n\t\u0001")"), "text \xc3\xa9\n\t\x01");
  EXPECT_EQ(value_of("\"\xc3\xa9\""), "text \xc3\xa9");
}

TEST(JsonClaims, TakeBytesThatAreNoUtf8ForTheReplacementCharacter) {
  EXPECT_EQ(value_of("\"a\xff z\""), "text a\xef\xbf\xbd z");
}

TEST(JsonClaims, AreNotInWhatIsNoObject) {
  for (const auto* const line : {"",
                                 "x",
                                 "5",
                                 "\"text\"",
                                 "null",
                                 "[1]",
                                 "[{\"a\":1}]",
                                 "{",
                                 "{\"a\":1",
                                 "{\"a\":}",
                                 "{\"a\":1}}",
                                 "{\"a\":1} {}",
                                 "{\"a\" 1}",
                                 "{\"a\":\"x",
                                 "{a:1,}",
                                 "\\",
                                 "{\"a\":1e99999}",
                                 "{\"a\":00010101}",
                                 "{\"a\":1.}",
                                 "{\"a\":1e+}",
                                 "{\"a\":nana}",
                                 "{\"a\":\"\x01\"}"}) {
    EXPECT_EQ(claims_in(line), "no object") << line;
  }
}

TEST(JsonClaims, AreNotBroughtDownByDepth) {
  std::string objects;
  for (int i = 0; i < 100000; ++i) objects += "{\"a\":";
  EXPECT_EQ(claims_in(objects), "no object");
  EXPECT_EQ(claims_in("{\"a\":" + std::string(100000, '[') + std::string(100000, ']') + ",\"b\":1}"), "a b ");
}

}  // namespace
}  // namespace vorbelctl
