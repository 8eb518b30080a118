#include "vorbelctl/commands/report_lines.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <system_error>
#include <vector>

#include "common/text.h"

namespace vorbelctl {
namespace {

constexpr std::array<std::string_view, column_count> column_names{"cusip", "symbol",  "price",  "quantity", "party",
                                                                  "venue", "exec_ms", "settle", "where"};
constexpr std::array required{Column::cusip, Column::price, Column::quantity};

// Numbers as the bench's own conversion takes them, and nothing behind: a result too small for a double ends the bench
// just as one too large does.
bool is_number(std::string_view text) {
  const std::string whole(text);
  char* end = nullptr;
  errno = 0;
  const double value = std::strtod(whole.c_str(), &end);
  return !whole.empty() && end == whole.c_str() + whole.size() && errno == 0 && std::isfinite(value) &&
         whole.front() != ' ';
}

bool is_execution_time(std::string_view text) {
  constexpr std::uint64_t year_10000_ms = 253402300800000;
  std::uint64_t value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  return result.ec == std::errc() && result.ptr == text.data() + text.size() && value < year_10000_ms;
}

bool is_date(std::string_view text) {
  return text.size() == 8 && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// Whatever stands in a file that holds something else, its beginning tells enough.
std::string in_quotes(std::string_view text) {
  constexpr std::size_t most_shown = 40;
  const bool cut = text.size() > most_shown;
  return fmt::format("\"{}{}\"", text.substr(0, most_shown), cut ? "..." : "");
}

// Splits a CSV row: fields may stand in double quotes, doubled inside them. Nothing when a quote is not closed.
std::optional<std::vector<std::string>> split_csv(std::string_view row) {
  std::vector<std::string> fields(1);
  bool in_quotes = false;
  for (std::size_t i = 0; i < row.size(); ++i) {
    const char c = row[i];
    if (c == '"' && in_quotes && i + 1 < row.size() && row[i + 1] == '"') {
      fields.back() += '"';
      ++i;
    } else if (c == '"') {
      in_quotes = !in_quotes;
    } else if (c == ',' && !in_quotes) {
      fields.emplace_back();
    } else {
      fields.back() += c;
    }
  }
  if (in_quotes) return {};
  return fields;
}

// As spreadsheets write it: in any case, with blanks around it.
std::string column_name(std::string_view cell) {
  cell = cell.substr(0, cell.find_last_not_of(" \t") + 1);
  std::string name(cell.substr(std::min(cell.size(), cell.find_first_not_of(" \t"))));
  for (char& c : name) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return name;
}

// Reads the header row; returns what is wrong with it.
std::string read_header(std::string_view row, CsvHeader& header) {
  const auto names = split_csv(row);
  if (!names) return "a quote is not closed";
  for (std::size_t i = 0; i < names->size(); ++i) {
    const auto* const found = std::find(column_names.begin(), column_names.end(), column_name((*names)[i]));
    if (found == column_names.end()) {
      return fmt::format("this is neither a report line nor a CSV header: {} is no column; the columns are {}",
                         in_quotes((*names)[i]), fmt::join(column_names, ", "));
    }
    auto& column = header.at(static_cast<std::size_t>(found - column_names.begin()));
    if (column) return fmt::format("the CSV header names the column {} twice", in_quotes(*found));
    column = i;
  }
  for (const Column column : required) {
    if (!header.at(column)) return fmt::format("the CSV header has no column {}", in_quotes(column_names.at(column)));
  }
  return "";
}

ReportLine report_of_row(const CsvHeader& header, std::string_view row, std::uint64_t now_ms) {
  const auto fields = split_csv(row);
  if (!fields) return {"", "a quote is not closed"};
  // A number with a comma in it makes two cells: what stands in which column is not known any more.
  const auto columns = static_cast<std::size_t>(
      std::count_if(header.begin(), header.end(), [](const auto& column) { return column.has_value(); }));
  if (fields->size() > columns) {
    return {"", fmt::format("the row has {} cells, the header {}", fields->size(), columns)};
  }
  std::string line = "T";
  for (std::size_t column = 0; column < column_count; ++column) {
    std::string value;
    if (const auto at = header.at(column)) {
      if (*at >= fields->size())
        return {"", fmt::format("the row ends before its column {}", in_quotes(column_names.at(column)))};
      value = (*fields)[*at];
    }
    if (column == Column::exec_ms && value.empty()) value = fmt::format("{}", now_ms);
    if (value.find('|') != std::string::npos) return {"", fmt::format("the value {} holds a |", in_quotes(value))};
    line += "|" + value;
  }
  return {line, check_report(line)};
}

// The first line tells what a file holds: every report line has a "|", no CSV header has one.
std::string decide(ReportFormat& format, std::string_view line) {
  if (line.find('|') == std::string_view::npos) {
    CsvHeader header;
    if (std::string wrong = read_header(line, header); !wrong.empty()) return wrong;
    format.csv = header;
  }
  format.decided = true;
  return "";
}

}  // namespace

std::string check_report(std::string_view line) {
  constexpr std::size_t least_fields = 10;
  std::vector<std::string_view> fields;
  vorbeld::split(line, '|', fields);
  if (fields.size() < least_fields) {
    return fmt::format("there are {} fields separated by |; a report has {}", fields.size(), least_fields);
  }
  if (fields[0] != "T") return fmt::format("the record type {} is not \"T\"", in_quotes(fields[0]));
  const auto field = [&](Column column) { return fields[1 + column]; };
  if (field(Column::cusip).empty()) return "the CUSIP is empty";
  if (!is_number(field(Column::price)))
    return fmt::format("the price {} is no number", in_quotes(field(Column::price)));
  if (!is_number(field(Column::quantity)))
    return fmt::format("the quantity {} is no number", in_quotes(field(Column::quantity)));
  if (!is_execution_time(field(Column::exec_ms))) {
    return fmt::format("the execution time {} is no number of milliseconds before the year 10000",
                       in_quotes(field(Column::exec_ms)));
  }
  if (!field(Column::settle).empty() && !is_date(field(Column::settle))) {
    return fmt::format("the settlement date {} is neither empty nor YYYYMMDD", in_quotes(field(Column::settle)));
  }
  return "";
}

ReportLine read_report(ReportFormat& format, std::string_view line, std::uint64_t now_ms) {
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  constexpr std::string_view byte_order_mark = "\xef\xbb\xbf";  // some programs begin a text with it
  if (!format.decided && line.starts_with(byte_order_mark)) line.remove_prefix(byte_order_mark.size());
  if (line.empty()) return {};
  if (!format.decided) {
    const std::string wrong = decide(format, line);
    format.unknown = !wrong.empty();
    if (format.unknown || format.csv) return {"", wrong};
  }
  if (format.csv) return report_of_row(*format.csv, line, now_ms);
  return {std::string(line), check_report(line)};
}

}  // namespace vorbelctl
