// Named values as people and programs read them.
#include "vorbelctl/wording/fields.h"

#include <gtest/gtest.h>

#include <limits>

namespace vorbelctl {
namespace {

TEST(Fields, ReadAsTextByTheirType) {
  EXPECT_EQ(value_text(Value()), "-");
  EXPECT_EQ(value_text(true), "true");
  EXPECT_EQ(value_text(std::uint64_t{18446744073709551615U}), "18446744073709551615");
  EXPECT_EQ(value_text(Number{98.25, 6}), "98.250000");
  EXPECT_EQ(value_text(std::string("a\tb\x1b[1m")), "a\\x09b\\x1b[1m");
}

TEST(Fields, BecomeOneJsonObjectInTheirOrder) {
  const FieldList fields{
      {"z", std::uint64_t{1}}, {"a", std::string("x\"y\n")}, {"n", Value()}, {"p", Number{98.25, 6}}, {"t", true}};
  EXPECT_EQ(json_line(fields), R"({"z":1,"a":"x\"y\n","n":null,"p":98.25,"t":true})");
}

TEST(Fields, KeepJsonValidWhateverTheBytes) {
  EXPECT_EQ(json_line({{"s", std::string("\xff")}}), "{\"s\":\"\xef\xbf\xbd\"}");
  EXPECT_EQ(json_line({{"d", Number{std::numeric_limits<double>::infinity(), 6}}}), R"({"d":null})");
}

TEST(Fields, AreFoundByName) {
  const FieldList fields{{"a", true}};
  ASSERT_NE(find_value(fields, "a"), nullptr);
  EXPECT_EQ(*find_value(fields, "a"), Value(true));
  EXPECT_EQ(find_value(fields, "b"), nullptr);
}

TEST(Fields, CompareByValueNotByDecimals) {
  EXPECT_EQ(Value(Number{1.5, 2}), Value(Number{1.5, 6}));
  EXPECT_NE(Value(Number{1.5, 6}), Value(Number{1.25, 6}));
  EXPECT_NE(Value(), Value(Number{0, 6}));
}

TEST(HexDump, ShowsOffsetBytesAndText) {
  EXPECT_EQ(hex_dump(std::string("AB\0 0123456789xyZ", 17), 100),
            "  0000  41 42 00 20 30 31 32 33 34 35 36 37 38 39 78 79  AB. 0123456789xy\n"
            "  0010  5a                                               Z\n");
}

TEST(HexDump, SaysHowMuchItLeavesOut) {
  const std::string dump = hex_dump(std::string(100, 'a'), 16);
  EXPECT_EQ(dump,
            "  0000  61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61  aaaaaaaaaaaaaaaa\n"
            "  ... and 84 more bytes\n");
  EXPECT_EQ(hex_dump("", 16), "");
}

}  // namespace
}  // namespace vorbelctl
