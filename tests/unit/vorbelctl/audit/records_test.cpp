// Records of the truth file and the tape: every key in its place, or the name of the one that is not.
#include "vorbelctl/audit/records.h"

#include <gtest/gtest.h>

#include "vorbelctl/audit/json_line.h"

namespace vorbelctl {
namespace {

constexpr const char* cancel_line =
    R"({"seq":9,"cat":"T","type":"N","event":"cancel","orig_trade_id":"0000004","function":"C","change":"7"})";

constexpr const char* tape_line =
    R"({"seq":3,"ts_ms":1700000000123,"cusip":"345370CS9","symbol":"F 4.35 26","price":97.705000,"quantity":1000000,)"
    R"("cap":"0","side":"S","reporting_party":"D","contra_party":"D","exec_ts_ms":1700000000000,"report_lag_ms":0,)"
    R"("settle":20231116,"trade_id":"0000001","venue":"ATS1","where":"book"})";

// `text` with `from`, which stands in it, replaced by `to`.
std::string altered(std::string text, const std::string& from, const std::string& to) {
  const auto at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return text.replace(at, from.size(), to);
}

std::string wrong_truth_key(const std::string& line) {
  return read_truth(parse_object(line).value()).wrong_key;
}

std::string wrong_tape_key(const std::string& line) {
  return read_tape(parse_object(line).value()).wrong_key;
}

TEST(TruthRecord, IsKnownByItsKeys) {
  const auto read = read_truth(parse_object(cancel_line).value());
  EXPECT_EQ(read.wrong_key, "");
  EXPECT_EQ(read.record.kind, Kind::cancel);
  EXPECT_EQ(read.record.sequence, 9U);
  EXPECT_EQ(read.record.original_id, "0000004");
  EXPECT_EQ(read.record.change, '7');
}

TEST(TruthRecord, NamesTheKeyWhoseValueDoesNotRead) {
  EXPECT_EQ(wrong_truth_key(altered(cancel_line, "\"seq\":9", "\"seq\":\"9\"")), "seq");
  EXPECT_EQ(wrong_truth_key(altered(cancel_line, "\"7\"", "\"77\"")), "change");
  EXPECT_EQ(wrong_truth_key(altered(cancel_line, "\"0000004\"", "null")), "orig_trade_id");
}

TEST(TruthRecord, HasNeitherMoreNorFewerKeysNorOthersInOrder) {
  EXPECT_EQ(wrong_truth_key(altered(cancel_line, ",\"change\":\"7\"", "")), "keys");
  EXPECT_EQ(wrong_truth_key(altered(cancel_line, "\"7\"", "\"7\",\"more\":1")), "keys");
  EXPECT_EQ(wrong_truth_key(altered(cancel_line, R"("function":"C","change":"7")", R"("change":"7","function":"C")")),
            "keys");
}

TEST(TapeRecord, TakesEveryKeyOfItsLine) {
  const auto read = read_tape(parse_object(tape_line).value());
  EXPECT_EQ(read.wrong_key, "");
  EXPECT_EQ(read.record.sequence, 3U);
  EXPECT_EQ(read.record.written_ms, 1700000000123U);
  EXPECT_EQ(read.record.price, 97.705);
  EXPECT_EQ(read.record.quantity, 1e6);
  EXPECT_EQ(read.record.settlement, "20231116");
  EXPECT_EQ(read.record.where, "book");
}

TEST(TapeRecord, KeepsADateWithLeadingZeros) {
  EXPECT_EQ(read_tape(parse_object(altered(tape_line, "20231116", "00010101")).value()).record.settlement, "00010101");
}

TEST(TapeRecord, NamesTheKeyThatIsWrong) {
  EXPECT_EQ(wrong_tape_key(altered(tape_line, "97.705000", "97x")), "price");
  EXPECT_EQ(wrong_tape_key(altered(tape_line, ",\"where\":\"book\"", "")), "keys");
}

TEST(TruthMark, IsALabelAndANumberAndNothingElse) {
  const auto mark = read_mark(parse_object(R"({"mark":"phase two","seq":12})").value());
  ASSERT_TRUE(mark);
  EXPECT_EQ(mark->label, "phase two");
  EXPECT_EQ(mark->sequence, 12U);
  EXPECT_FALSE(read_mark(parse_object(R"({"mark":"x","seq":12,"more":1})").value()));
  EXPECT_FALSE(read_mark(parse_object(cancel_line).value()));
}

TEST(TradeNumber, IsReadOnlyFromATradeId) {
  EXPECT_EQ(trade_number("0000001"), 1U);
  EXPECT_EQ(trade_number("12345678"), 12345678U);
  for (const auto* const text : {"", "1", "000001", "00000001", "000000x", "-000001", "99999999999999999999999"}) {
    EXPECT_EQ(trade_number(text), 0U) << text;
  }
}

}  // namespace
}  // namespace vorbelctl
