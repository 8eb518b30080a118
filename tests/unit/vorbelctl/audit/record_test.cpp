// Records of the truth file, marks and lines of the tape: every key in its place, or the name of the one that is not.
#include "vorbelctl/audit/record.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "sample_run.h"

namespace vorbelctl {
namespace {

using sample::altered;

const std::string control_text = R"({"seq":1,"cat":"C","type":"I","event":"control"})";
const std::string trade_text =
    R"({"seq":3,"cat":"T","type":"M","event":"trade","cusip":"037833DT4","symbol":"AAPL 3.85 43","trade_id":"0000001",)"
    R"("qty":250000.00,"capped":false,"qty_ind":"A","price":98.500000,"yield":3.908629,"side":"B","as_of":"R",)"
    R"("special":"Y","sale3":"Z","sale4":"W","exec":"20261120192018","settle":"20261123","remuneration":"M","rpt":"T",)"
    R"("contra":"C","ats":" ","change":"7","summary":{"traded":true,"high":98.500000,"low":97.250000,"last":98.000000,)"
    R"("prints":12}})";
const std::string correction_text =
    R"({"seq":6,"cat":"T","type":"O","event":"correction","cusip":"037833DT4","symbol":"AAPL 3.85 43",)"
    R"("trade_id":"0000004","qty":5000000.00,"capped":true,"qty_ind":"E","price":98.948000,"yield":null,"side":"S",)"
    R"("as_of":" ","special":" ","sale3":" ","sale4":" ","exec":"20261120192020","settle":"20261123",)"
    R"("remuneration":"M","rpt":"D","contra":"C","ats":"Y","orig_trade_id":"0000003","function":"N","change":"5",)"
    R"("summary":{"traded":false,"high":0.000000,"low":0.000000,"last":0.000000,"prints":0}})";
const std::string cancel_text =
    R"({"seq":9,"cat":"T","type":"N","event":"cancel","orig_trade_id":"0000004","function":"C","change":"7"})";
const std::string halt_text =
    R"({"seq":8,"cat":"A","type":"H","event":"halt","cusip":"037833DT4","symbol":"AAPL 3.85 43","action":"H",)"
    R"("reason":"LUDP","at":"20261120192023"})";
const std::string summary_text =
    R"({"seq":15,"cat":"A","type":"E","event":"summary","cusip":"037833DT4","symbol":"AAPL 3.85 43","high":98.500000,)"
    R"("low":-98.000000,"close":98.250000})";
const std::string tape_text =
    R"({"seq":3,"ts_ms":1700000000123,"cusip":"345370CS9","symbol":"F 4.35 26","price":97.705000,"quantity":1000000,)"
    R"("cap":"1","side":"S","reporting_party":"D","contra_party":"A","exec_ts_ms":1700000000000,"report_lag_ms":45,)"
    R"("settle":20231116,"trade_id":"0000001","venue":"ATS1","where":"book"})";

const std::string all_texts[] = {control_text, trade_text, correction_text, cancel_text, halt_text, summary_text};

std::string wrong_truth_key(const std::string& line) {
  TruthRecord record;
  return std::string(read_truth(line, record));
}

std::string wrong_tape_key(const std::string& line) {
  TapeLine into;
  return std::string(read_tape(line, into));
}

// What a record says under a name: its text, "-" for nothing said; or the key that does not read.
std::string said(const std::string& line, RecordId name) {
  TruthRecord record;
  const std::string_view wrong = read_truth(line, record);
  if (!wrong.empty()) return "wrong " + std::string(wrong);
  return cell(record, name).said ? std::string(cell(record, name).text) : "-";
}

double number_said(const std::string& line, RecordId name) {
  TruthRecord record;
  EXPECT_EQ(read_truth(line, record), "") << line;
  return cell(record, name).number;
}

TEST(TruthRecord, TakesWhatEveryRecordBeginsWith) {
  TruthRecord record;
  EXPECT_EQ(read_truth(cancel_text, record), "");
  EXPECT_EQ(record.sequence, 9U);
  EXPECT_EQ(record.category, 'T');
  EXPECT_EQ(record.type, 'N');
  EXPECT_EQ(record.event, "cancel");
  EXPECT_EQ(record.row->kind, Kind::cancel);
}

TEST(TruthRecord, IsKnownByItsKeys) {
  const Kind kinds[] = {Kind::control, Kind::trade, Kind::correction, Kind::cancel, Kind::halt, Kind::summary};
  for (std::size_t i = 0; i < std::size(kinds); ++i) {
    TruthRecord record;
    EXPECT_EQ(read_truth(all_texts[i], record), "");
    EXPECT_EQ(record.row->kind, kinds[i]) << all_texts[i];
  }
}

TEST(TruthRecord, IsKnownByItsKeysWhateverElseItSays) {
  const std::string line =
      altered(cancel_text, R"("cat":"T","type":"N","event":"cancel")", R"("cat":"C","type":"?","event":"halt")");
  TruthRecord record;
  EXPECT_EQ(read_truth(line, record), "");
  EXPECT_EQ(record.row->kind, Kind::cancel);
  EXPECT_EQ(record.category, 'C');
  EXPECT_EQ(record.type, '?');
  EXPECT_EQ(record.event, "halt");
}

TEST(TruthRecord, TakesEveryKeyOfATrade) {
  struct Row {
    RecordId name;
    const char* text;
  };
  for (const Row& row : {Row{"cusip", "037833DT4"},
                         Row{"symbol", "AAPL 3.85 43"},
                         Row{"trade_id", "0000001"},
                         Row{"quantity", "250000.00"},
                         Row{"capped", "false"},
                         Row{"quantity_indicator", "A"},
                         Row{"price", "98.500000"},
                         Row{"yield", "3.908629"},
                         Row{"side", "B"},
                         Row{"as_of", "R"},
                         Row{"special", "Y"},
                         Row{"sale_condition_3", "Z"},
                         Row{"sale_condition_4", "W"},
                         Row{"executed_at", "20261120192018"},
                         Row{"settlement", "20261123"},
                         Row{"remuneration", "M"},
                         Row{"reporting_party", "T"},
                         Row{"contra_party", "C"},
                         Row{"ats", " "},
                         Row{"change", "7"},
                         Row{"traded", "true"},
                         Row{"day_high", "98.500000"},
                         Row{"day_low", "97.250000"},
                         Row{"day_last", "98.000000"},
                         Row{"prints", "12"},
                         Row{"original_id", "-"},
                         Row{"function", "-"},
                         Row{"action", "-"}}) {
    EXPECT_EQ(said(trade_text, row.name), row.text);
  }
  EXPECT_EQ(number_said(trade_text, "quantity"), 250000);
  EXPECT_EQ(number_said(trade_text, "price"), 98.5);
  EXPECT_EQ(number_said(trade_text, "yield"), 3.908629);
  EXPECT_EQ(number_said(trade_text, "day_low"), 97.25);
  EXPECT_EQ(number_said(trade_text, "prints"), 12);
}

TEST(TruthRecord, TakesTheKeysOfACorrection) {
  EXPECT_EQ(said(correction_text, "trade_id"), "0000004");
  EXPECT_EQ(said(correction_text, "capped"), "true");
  EXPECT_EQ(said(correction_text, "yield"), "-") << "null";
  EXPECT_EQ(said(correction_text, "ats"), "Y");
  EXPECT_EQ(said(correction_text, "original_id"), "0000003");
  EXPECT_EQ(said(correction_text, "function"), "N");
  EXPECT_EQ(said(correction_text, "change"), "5");
  EXPECT_EQ(said(correction_text, "traded"), "false");
  EXPECT_EQ(said(correction_text, "prints"), "0");
}

TEST(TruthRecord, TakesTheKeysOfTheOtherKinds) {
  EXPECT_EQ(said(cancel_text, "original_id"), "0000004");
  EXPECT_EQ(said(cancel_text, "function"), "C");
  EXPECT_EQ(said(cancel_text, "change"), "7");
  EXPECT_EQ(said(halt_text, "cusip"), "037833DT4");
  EXPECT_EQ(said(halt_text, "symbol"), "AAPL 3.85 43");
  EXPECT_EQ(said(halt_text, "action"), "H");
  EXPECT_EQ(said(halt_text, "reason"), "LUDP");
  EXPECT_EQ(said(halt_text, "action_at"), "20261120192023");
  EXPECT_EQ(said(summary_text, "day_high"), "98.500000");
  EXPECT_EQ(number_said(summary_text, "day_low"), -98);
  EXPECT_EQ(said(summary_text, "day_last"), "98.250000");
  EXPECT_EQ(said(control_text, "cusip"), "-");
}

// The line with the value of one key replaced.
struct WrongValue {
  const std::string& line;
  const char* from;
  const char* to;
  const char* key;
};

TEST(TruthRecord, NamesTheKeyWhoseValueDoesNotRead) {
  const WrongValue cases[] = {
      {cancel_text, "\"seq\":9", "\"seq\":\"9\"", "seq"},
      {cancel_text, "\"seq\":9", "\"seq\":-9", "seq"},
      {cancel_text, "\"seq\":9", "\"seq\":18446744073709551615", "seq"},
      {cancel_text, "\"seq\":9", "\"seq\":18446744073709551616", "seq"},
      {cancel_text, "\"cat\":\"T\"", "\"cat\":\"\"", "cat"},
      {cancel_text, "\"cat\":\"T\"", "\"cat\":\"TT\"", "cat"},
      {cancel_text, "\"type\":\"N\"", "\"type\":\"NN\"", "type"},
      {cancel_text, "\"7\"", "\"77\"", "change"},
      {cancel_text, "\"7\"", "\"\"", "change"},
      {cancel_text, "\"C\"", "\"CC\"", "function"},
      {cancel_text, "0000004", "000\"004", "keys"},
      {trade_text, "0000001", "000\"001", "keys"},
      {trade_text, "20261120192018", "\"", "keys"},
      {trade_text, "\"20261123\"", "\"20261123", "keys"},
      {trade_text, "\"qty\":250000.00", "\"qty\":", "qty"},
      {trade_text, "\"qty\":250000.00", "\"qty\":250,000.00", "keys"},
      {trade_text, "\"capped\":false", "\"capped\":0", "capped"},
      {trade_text, "\"qty_ind\":\"A\"", "\"qty_ind\":\"AE\"", "qty_ind"},
      {trade_text, "98.500000,\"yield\"", "9x.500000,\"yield\"", "price"},
      {trade_text, "\"yield\":3.908629", "\"yield\":nul", "yield"},
      {trade_text, "\"side\":\"B\"", "\"side\":\"\"", "side"},
      {trade_text, "\"as_of\":\"R\"", "\"as_of\":\"RR\"", "as_of"},
      {trade_text, "\"special\":\"Y\"", "\"special\":\"YY\"", "special"},
      {trade_text, "\"sale3\":\"Z\"", "\"sale3\":\"\"", "sale3"},
      {trade_text, "\"sale4\":\"W\"", "\"sale4\":\"\"", "sale4"},
      {trade_text, "\"remuneration\":\"M\"", "\"remuneration\":\"\"", "remuneration"},
      {trade_text, "\"rpt\":\"T\"", "\"rpt\":\"\"", "rpt"},
      {trade_text, "\"contra\":\"C\"", "\"contra\":\"\"", "contra"},
      {trade_text, "\"ats\":\" \"", "\"ats\":\"\"", "ats"},
      {trade_text, "\"traded\":true", "\"traded\":1", "summary.traded"},
      {trade_text, "\"high\":98.500000", "\"high\":null", "summary.high"},
      {trade_text, "\"low\":97.250000", "\"low\":\"97\"", "summary.low"},
      {trade_text, "\"last\":98.000000", "\"last\":98.0.0", "summary.last"},
      {trade_text, "\"prints\":12", "\"prints\":-1", "summary.prints"},
      {trade_text, "\"prints\":12", "\"prints\":1.5", "summary.prints"},
      {halt_text, "\"action\":\"H\"", "\"action\":\"\"", "action"},
      {summary_text, "\"close\":98.250000", "\"close\":x", "close"},
  };
  for (const WrongValue& each : cases) {
    const std::string line = altered(each.line, each.from, each.to);
    EXPECT_EQ(wrong_truth_key(line), each.key) << line;
  }
}

// True where a raw text stands before the key's end, which might as well hold the key a first time.
bool may_belong_to_raw_text(const std::string& key) {
  return key.find("\"cusip\"") != std::string::npos || key.find("\"symbol\"") != std::string::npos ||
         key.find("\"reason\"") != std::string::npos || key.find("\"at\"") != std::string::npos;
}

// Every key in turn is left out, spelled otherwise or put twice.
TEST(TruthRecord, HasNeitherMoreNorFewerKeysNorOthers) {
  for (const std::string& line : all_texts) {
    for (std::size_t at = line.find(",\""); at != std::string::npos; at = line.find(",\"", at + 1)) {
      const std::size_t end = std::min(line.find(",\"", at + 1), line.find('}', at));
      const std::string key = line.substr(at, end - at);
      EXPECT_NE(wrong_truth_key(line.substr(0, at) + line.substr(end)), "") << key;
      EXPECT_NE(wrong_truth_key(line.substr(0, at + 2) + "x" + line.substr(at + 2)), "") << key;
      const bool reads = wrong_truth_key(line.substr(0, end) + line.substr(at)).empty();
      EXPECT_EQ(reads, may_belong_to_raw_text(key)) << key;
    }
  }
  EXPECT_EQ(wrong_truth_key(altered(cancel_text, ",\"change\":\"7\"", "")), "keys");
  EXPECT_EQ(wrong_truth_key(altered(cancel_text, "\"7\"", "\"7\",\"more\":1")), "keys");
  EXPECT_EQ(wrong_truth_key(altered(cancel_text, R"("function":"C","change":"7")", R"("change":"7","function":"C")")),
            "keys");
}

TEST(TruthRecord, IsALineOfItsOwn) {
  for (const char* const line : {"", "x", "{", "{\"seq\":", "{\"mark\":\"x\",\"seq\":3}", "{\"SEQ\":1}"}) {
    EXPECT_EQ(wrong_truth_key(line), "line") << line;
  }
  for (const std::string& line : all_texts) {
    for (std::size_t length = 0; length < line.size(); ++length) {
      EXPECT_NE(wrong_truth_key(line.substr(0, length)), "") << length << " of " << line;
    }
    EXPECT_NE(wrong_truth_key(line + "}"), "") << line;
    EXPECT_NE(wrong_truth_key(line + " "), "") << line;
    EXPECT_NE(wrong_truth_key(" " + line), "") << line;
  }
}

TEST(TruthRecord, TakesARawTextAsItIs) {
  for (const char* const cusip :
       {"", "\"", "\\", "a\"b", "\\\"", R"(x","symbol":"y)", R"(x","symbol":"y","trade_id":"z)", "\x01\xff", ","}) {
    EXPECT_EQ(said(altered(trade_text, "037833DT4", cusip), "cusip"), cusip);
    EXPECT_EQ(said(altered(trade_text, "037833DT4", cusip), "symbol"), "AAPL 3.85 43") << cusip;
    EXPECT_EQ(said(altered(halt_text, "LUDP", cusip), "reason"), cusip);
    EXPECT_EQ(said(altered(halt_text, "LUDP", cusip), "action_at"), "20261120192023") << cusip;
  }
}

TEST(TruthRecord, TakesARawTextThatLooksLikeItsOwnEnd) {
  EXPECT_EQ(said(altered(halt_text, "LUDP", R"(x","at":"20200101000000"})"), "reason"), R"(x","at":"20200101000000"})");
  EXPECT_EQ(said(altered(halt_text, "LUDP", R"(","at":")"), "reason"), R"(","at":")");
}

TEST(TruthRecord, TakesASymbolAsItIsEscaped) {
  const std::string symbol = R"(\"\\\",\"trade_id\":\"9)";
  EXPECT_EQ(said(altered(trade_text, "AAPL 3.85 43", symbol), "symbol"), symbol);
  EXPECT_EQ(said(altered(trade_text, "AAPL 3.85 43", symbol), "trade_id"), "0000001");
  EXPECT_EQ(said(altered(trade_text, "AAPL 3.85 43", ""), "symbol"), "");
  EXPECT_EQ(said(altered(trade_text, "AAPL 3.85 43", "\x01\xff\t"), "symbol"), "\x01\xff\t");
  EXPECT_NE(wrong_truth_key(altered(trade_text, "AAPL 3.85 43", "\\")), "") << "the quote behind it is escaped";
}

TEST(TruthRecord, TakesAnyByteAsACode) {
  for (const char* const side : {"\"", "\\", "}", ",", "\xff"}) {
    EXPECT_EQ(said(altered(trade_text, "\"side\":\"B\"", std::string("\"side\":\"") + side + "\""), "side"), side);
  }
}

TEST(TruthRecord, TakesTheNumbersThatABenchWrites) {
  const auto price = [](const std::string& text) {
    return number_said(altered(trade_text, "\"price\":98.500000", "\"price\":" + text), "price");
  };
  EXPECT_TRUE(std::isnan(price("nan")));
  EXPECT_TRUE(std::isnan(price("-nan")));
  EXPECT_EQ(price("inf"), std::numeric_limits<double>::infinity());
  EXPECT_EQ(price("-inf"), -std::numeric_limits<double>::infinity());
  EXPECT_EQ(price("-98.500000"), -98.5);
  EXPECT_EQ(price("-0.000000"), 0);
  EXPECT_EQ(price("0.000001"), 1e-6);
  EXPECT_EQ(price("1000000000.123456"), 1000000000.123456);
}

TEST(TruthRecord, TakesNumbersThatWereCutAt31Characters) {
  const auto price = [](const std::string& text) {
    EXPECT_EQ(text.size(), 31U);
    return number_said(altered(trade_text, "\"price\":98.500000", "\"price\":" + text), "price");
  };
  EXPECT_EQ(price("1234567890123456789012345678901"), 1234567890123456789012345678901.0);
  EXPECT_EQ(price("123456789012345678901234567890."), 123456789012345678901234567890.0);
  EXPECT_EQ(price("12345678901234567890123456789.1"), 12345678901234567890123456789.1);
  EXPECT_EQ(price("-123456789012345678901234567890"), -123456789012345678901234567890.0);
}

TEST(TapeLine, HasEveryKey) {
  TapeLine line;
  EXPECT_EQ(read_tape(tape_text, line), "");
  EXPECT_EQ(line.sequence, 3U);
  EXPECT_EQ(line.written_ms, 1700000000123U);
  EXPECT_EQ(line.cusip, "345370CS9");
  EXPECT_EQ(line.symbol, "F 4.35 26");
  EXPECT_EQ(line.price.number, 97.705);
  EXPECT_EQ(line.quantity.number, 1e6);
  EXPECT_EQ(line.quantity.text, "1000000");
  EXPECT_EQ(line.cap, '1');
  EXPECT_EQ(line.side, 'S');
  EXPECT_EQ(line.reporting_party, 'D');
  EXPECT_EQ(line.contra_party, 'A');
  EXPECT_EQ(line.executed_ms, 1700000000000U);
  EXPECT_EQ(line.report_lag_ms, 45U);
  EXPECT_EQ(line.settlement, "20231116");
  EXPECT_EQ(line.trade_id, "0000001");
  EXPECT_EQ(line.venue, "ATS1");
  EXPECT_EQ(line.where, "book");
}

TEST(TapeLine, KeepsADateWithLeadingZeros) {
  TapeLine line;
  const std::string text = altered(tape_text, "20231116", "00010101");
  EXPECT_EQ(read_tape(text, line), "");
  EXPECT_EQ(line.settlement, "00010101");
}

TEST(TapeLine, TakesTextsAsTheyAreEscaped) {
  TapeLine line;
  const std::string text =
      altered(altered(altered(tape_text, "F 4.35 26", R"(\",\"price\":1)"), "ATS1", R"(\\)"), "\"book", R"("\")");
  EXPECT_EQ(read_tape(text, line), "");
  EXPECT_EQ(line.symbol, R"(\",\"price\":1)");
  EXPECT_EQ(line.venue, R"(\\)");
  EXPECT_EQ(line.where, R"(\")");
}

TEST(TapeLine, TakesARawCusip) {
  for (const char* const cusip : {"", "a\"b\\", "a\",\"symbol", "\",\"symbol\":\"x", "\xff"}) {
    TapeLine line;
    const std::string text = altered(tape_text, "345370CS9", cusip);
    EXPECT_EQ(read_tape(text, line), "") << cusip;
    EXPECT_EQ(line.cusip, cusip);
  }
}

TEST(TapeLine, NamesTheKeyThatIsWrong) {
  const WrongValue cases[] = {
      {tape_text, "\"seq\":3", "\"seq\":x", "seq"},
      {tape_text, "1700000000123", "-1", "ts_ms"},
      {tape_text, "\"cusip\"", "\"CUSIP\"", "keys"},
      {tape_text, "\"symbol\"", "\"SYMBOL\"", "cusip"},
      {tape_text, "97.705000", "97x", "price"},
      {tape_text, "\"quantity\":1000000", "\"quantity\":", "quantity"},
      {tape_text, "\"cap\":\"1\"", "\"cap\":\"11\"", "side"},
      {tape_text, "\"side\":\"S\"", "\"side\":\"SS\"", "reporting_party"},
      {tape_text, "\"reporting_party\":\"D\"", "\"reporting_party\":D", "reporting_party"},
      {tape_text, "\"contra_party\"", "\"contra\"", "contra_party"},
      {tape_text, "1700000000000", "17e11", "exec_ts_ms"},
      {tape_text, "\"report_lag_ms\":45", "\"report_lag_ms\":-45", "report_lag_ms"},
      {tape_text, "\"settle\"", "\"settlement\"", "settle"},
      {tape_text, "\"trade_id\"", "\"id\"", "trade_id"},
      {tape_text, "\"venue\"", "\"Venue\"", "venue"},
      {tape_text, ",\"where\":\"book\"", "", "where"},
      {tape_text, "\"book\"", "\"book\",\"more\":1", "keys"},
  };
  for (const WrongValue& each : cases) {
    const std::string line = altered(each.line, each.from, each.to);
    EXPECT_EQ(wrong_tape_key(line), each.key) << line;
  }
  EXPECT_EQ(wrong_tape_key(""), "line");
  EXPECT_EQ(wrong_tape_key(tape_text + " "), "keys");
  for (std::size_t length = 0; length < tape_text.size(); ++length) {
    EXPECT_NE(wrong_tape_key(tape_text.substr(0, length)), "") << length;
  }
}

TEST(TruthMark, IsALabelAndANumberAndNothingElse) {
  Mark mark;
  ASSERT_TRUE(read_mark(R"({"mark":"phase two","seq":12})", mark));
  EXPECT_EQ(mark.label, "phase two");
  EXPECT_EQ(mark.sequence, 12U);
  ASSERT_TRUE(read_mark(R"({"mark":"a \"b\" \\","seq":2})", mark));
  EXPECT_EQ(mark.label, R"(a \"b\" \\)");
  ASSERT_TRUE(read_mark(R"({"mark":"","seq":2})", mark));
  for (const char* const line : {R"({"mark":"x","seq":12,"more":1})", R"({"mark":"x"})", R"({"mark":"x","seq":x})",
                                 R"({"mark":"x","seq":1)", R"({"mark":x,"seq":1})", R"({"seq":1,"mark":"x"})", ""}) {
    EXPECT_FALSE(read_mark(line, mark)) << line;
  }
}

TEST(Unescaped, IsTheTextWithoutItsBackslashes) {
  EXPECT_EQ(unescaped("AAPL 3.85 43"), "AAPL 3.85 43");
  EXPECT_EQ(unescaped(R"(\"\\)"), R"("\)");
  EXPECT_EQ(unescaped(R"(\\\\n)"), R"(\\n)");
  EXPECT_EQ(unescaped(""), "");
}

TEST(TradeNumber, IsReadOnlyFromATradeId) {
  EXPECT_EQ(trade_number("0000001"), 1U);
  EXPECT_EQ(trade_number("12345678"), 12345678U);
  for (const auto* const text : {"", "1", "000001", "00000001", "000000x", "-000001", "99999999999999999999999"}) {
    EXPECT_EQ(trade_number(text), 0U) << text;
  }
}

TEST(LeadingSequence, IsThatOfARecordAndOfNothingElse) {
  EXPECT_EQ(leading_sequence("{\"seq\":41,\"cat\":\"T\"}"), 41U);
  EXPECT_EQ(leading_sequence("{\"mark\":\"x\",\"seq\":41}"), 0U);
  EXPECT_EQ(leading_sequence("{\"seq\":"), 0U);
  EXPECT_EQ(leading_sequence("{\"seq\":x"), 0U);
  EXPECT_EQ(leading_sequence(""), 0U);
}

}  // namespace
}  // namespace vorbelctl
