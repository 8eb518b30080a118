// Trade reports as text: checks a report line before it is sent, and makes report lines of CSV rows. A bench takes a
// number that does not read as the end of its life, so nothing unchecked may leave.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vorbelctl {

// What is wrong with a report line ("the price \"x\" is no number"), or "" when a bench can take it: at least ten
// fields separated by "|", the first "T", a CUSIP, finite numbers for price and quantity, an execution time in
// milliseconds before the year 10000, and a settlement date that is empty or YYYYMMDD.
std::string check_report(std::string_view line);

// The columns of a CSV file, in the order of the fields of a report line.
enum Column : std::size_t { cusip, symbol, price, quantity, party, venue, exec_ms, settle, where, column_count };

// Where each column stands in the rows of a file; empty: the file does not have it.
using CsvHeader = std::array<std::optional<std::size_t>, column_count>;

// A report line, or a CSV row made one.
struct ReportLine {
  std::string text;   // without a line end
  std::string wrong;  // why there is no such line; empty: there is
};

// What the lines of a file are; decided by its first line.
struct ReportFormat {
  bool decided = false;
  bool unknown = false;          // the first line is neither: nothing behind it can be read
  std::optional<CsvHeader> csv;  // empty: report lines as they are
};

// Takes the next line of a file, in order. Empty lines and the CSV header give neither text nor error. Lines may end in
// a carriage return, which is not part of them, nor is a byte order mark before the first. A header names its columns
// in any case. `now_ms` (wall clock) fills an execution time that a CSV row leaves out.
ReportLine read_report(ReportFormat& format, std::string_view line, std::uint64_t now_ms);

}  // namespace vorbelctl
