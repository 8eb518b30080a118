// Report lines before they are sent: nothing that ends a bench may pass.
#include "vorbelctl/commands/report_lines.h"

#include <gtest/gtest.h>

#include <vector>

namespace vorbelctl {
namespace {

constexpr std::uint64_t now_ms = 1700000000123;

std::string with(std::size_t field, const std::string& value) {
  std::vector<std::string> fields{"T", "037833DT4", "AAPL",          "98.5",     "250000",
                                  "B", "ATS1",      "1700000000000", "20231116", "book"};
  fields.at(field) = value;
  std::string line;
  for (const auto& text : fields) line += (line.empty() ? "" : "|") + text;
  return line;
}

std::vector<ReportLine> read_all(const std::vector<std::string>& lines) {
  ReportFormat format;
  std::vector<ReportLine> read;
  for (const auto& line : lines) read.push_back(read_report(format, line, now_ms));
  return read;
}

TEST(Report, PassesWhenABenchCanTakeIt) {
  EXPECT_EQ(check_report(with(0, "T")), "");
  EXPECT_EQ(check_report(with(9, "away") + "|more"), "");
  for (const char* number : {"0", "-1.5", "1e3", ".5", "98.125000001"}) EXPECT_EQ(check_report(with(3, number)), "");
  for (const char* party : {"", "D", "B", "\x80"}) EXPECT_EQ(check_report(with(5, party)), "");
  EXPECT_EQ(check_report(with(8, "")), "");
  EXPECT_EQ(check_report(with(7, "0")), "");
}

TEST(Report, IsHeldBackWithItsReason) {
  EXPECT_EQ(check_report(""), "there are 1 fields separated by |; a report has 10");
  EXPECT_EQ(check_report("T|a|b|1|2|B|v|3|"), "there are 9 fields separated by |; a report has 10");
  EXPECT_EQ(check_report(with(0, "t")), "the record type \"t\" is not \"T\"");
  EXPECT_EQ(check_report(with(1, "")), "the CUSIP is empty");
  EXPECT_EQ(check_report(with(8, "2023111")), "the settlement date \"2023111\" is neither empty nor YYYYMMDD");
  EXPECT_EQ(check_report(with(8, "2023-1-1")), "the settlement date \"2023-1-1\" is neither empty nor YYYYMMDD");
}

TEST(Report, IsHeldBackForEveryNumberThatDoesNotRead) {
  for (const char* number : {"", "x", "98.5x", " 98.5", "1e999", "-1e999", "1e-320", "nan", "inf", "1,5"}) {
    EXPECT_EQ(check_report(with(3, number)), "the price \"" + std::string(number) + "\" is no number");
    EXPECT_EQ(check_report(with(4, number)), "the quantity \"" + std::string(number) + "\" is no number");
  }
  for (const char* time : {"", "x", "1.5", "-1", " 1", "18446744073709551616", "253402300800000"}) {
    EXPECT_EQ(check_report(with(7, time)),
              "the execution time \"" + std::string(time) + "\" is no number of milliseconds before the year 10000");
  }
}

TEST(Lines, OfReportsGoAsTheyAre) {
  const auto lines = read_all({with(0, "T"), "", with(3, "99") + "\r", "T|x"});
  EXPECT_EQ(lines[0].text, with(0, "T"));
  EXPECT_EQ(lines[1].text + lines[1].wrong, "");
  EXPECT_EQ(lines[2].text, with(3, "99"));
  EXPECT_EQ(lines[3].wrong, "there are 2 fields separated by |; a report has 10");
}

TEST(Rows, BecomeReportLines) {
  const auto lines = read_all({"", "price,cusip,quantity,party,settle\r", "98.5,037833DT4,1000,B,20231116\r"});
  EXPECT_EQ(lines[1].text + lines[1].wrong, "");
  EXPECT_EQ(lines[2].text, "T|037833DT4||98.5|1000|B||1700000000123|20231116|");
  EXPECT_EQ(lines[2].wrong, "");
}

TEST(Rows, TakeAllColumnsAndQuotes) {
  const auto lines = read_all({"cusip,symbol,price,quantity,party,venue,exec_ms,settle,where",
                               R"(037833DT4,"A ""B"", C",98.5,1000,D,ATS1,1700000000000,,book)"});
  EXPECT_EQ(lines[1].text, "T|037833DT4|A \"B\", C|98.5|1000|D|ATS1|1700000000000||book");
}

TEST(Rows, SayWhatIsWrong) {
  const auto lines = read_all({"cusip,price,quantity", "a,1", "a,\"1,2", "a|b,1,2", "a,x,2"});
  EXPECT_EQ(lines[1].wrong, "the row ends before its column \"quantity\"");
  EXPECT_EQ(lines[2].wrong, "a quote is not closed");
  EXPECT_EQ(lines[3].wrong, "the value \"a|b\" holds a |");
  EXPECT_EQ(lines[4].wrong, "the price \"x\" is no number");
}

TEST(Rows, HaveNoMoreCellsThanTheHeader) {
  const auto lines = read_all({"cusip,price,quantity", "037833DT4,1,234.5,250000", "037833DT4,1,2,", "a,\"1\",2"});
  EXPECT_EQ(lines[1].wrong, "the row has 4 cells, the header 3");
  EXPECT_EQ(lines[1].text, "");
  EXPECT_EQ(lines[2].wrong, "the row has 4 cells, the header 3");
  EXPECT_EQ(lines[3].wrong, "");
}

const std::string columns = "the columns are cusip, symbol, price, quantity, party, venue, exec_ms, settle, where";

TEST(Reasons, ShowOnlyTheBeginningOfAValue) {
  const std::string begin(40, 'x');
  EXPECT_EQ(read_all({begin})[0].wrong,
            "this is neither a report line nor a CSV header: \"" + begin + "\" is no column; " + columns);
  EXPECT_EQ(check_report(with(3, begin + "y")), "the price \"" + begin + "...\" is no number");
}

TEST(Header, NamesEachColumnOnce) {
  EXPECT_EQ(read_all({"cusip,price,quantity,price"})[0].wrong, "the CSV header names the column \"price\" twice");
}

TEST(Header, DecidesWhetherAnythingCanBeRead) {
  ReportFormat format;
  EXPECT_EQ(read_report(format, "", now_ms).wrong, "");
  EXPECT_FALSE(format.unknown);
  EXPECT_NE(read_report(format, "hello", now_ms).wrong, "");
  EXPECT_TRUE(format.unknown);
  format = {};
  EXPECT_EQ(read_report(format, "cusip,price,quantity", now_ms).wrong, "");
  EXPECT_NE(read_report(format, "a,b,c", now_ms).wrong, "");
  EXPECT_FALSE(format.unknown);
}

TEST(Header, MustNameTheColumns) {
  EXPECT_EQ(read_all({"hello"})[0].wrong,
            "this is neither a report line nor a CSV header: \"hello\" is no column; " + columns);
  EXPECT_EQ(read_all({"cusip,price"})[0].wrong, "the CSV header has no column \"quantity\"");
}

}  // namespace
}  // namespace vorbelctl
