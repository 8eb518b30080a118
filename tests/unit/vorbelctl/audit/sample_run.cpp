#include "sample_run.h"

#include <gtest/gtest.h>

#include "tests/unit/vorbelctl/handler/sample_messages.h"

namespace vorbelctl::sample {
namespace {

std::string header(const std::string& category_and_type, const std::string& trade_id, const std::string& time) {
  return category_and_type + trade_id + "O" + "20240701" + time;
}

const std::string no_id = "       ";

// The day of a bond with one print.
std::string day_of_one(const std::string& price, const std::string& yield, const std::string& change) {
  return price + yield + price + yield + price + yield + change;
}

std::vector<std::string> run_messages() {
  return {
      header("CI", no_id, "120000"),
      header("TM", "0000001", "120000") + bond() + "        " + terms() + "7",
      header("TM", "0000002", "120001") + bond() + "        " + capped_terms() + "4",
      header("TN", no_id, "120002") + bond() + "20240701" + "0000001" + "C" + terms() +
          day_of_one("0101.500000", "-000000.125000", "3"),
      header("TO", "0000003", "120003") + bond() + "20240701" + "0000002" + "N" + capped_terms() + terms() +
          day_of_one("0098.250000", " 000003.918575", "7"),
      header("AH", no_id, "120003") + bond() + "AAPL 3.85 05/04/43            " + "H" + "20240701120003" + "T.1 ",
      header("AE", no_id, "120004") + bond() + " " + day_of_one("0098.250000", " 000003.918575", ""),
      header("CC", no_id, "120005"),
  };
}

const std::string bond_keys = R"("cusip":"037833DT4","symbol":"AAPL 3.85 43")";
const std::string terms_keys =
    R"("qty":100000.00,"capped":false,"qty_ind":"A","price":98.250000,"yield":3.918575,"side":"S","as_of":" ",)"
    R"("special":" ","sale3":" ","sale4":" ","exec":"20240701115959","settle":"20240702","remuneration":"M","rpt":"D",)"
    R"("contra":"C","ats":" ")";
const std::string capped_keys =
    R"("qty":5000000.00,"capped":true,"qty_ind":"E","price":101.500000,"yield":-0.125000,"side":"B","as_of":" ",)"
    R"("special":" ","sale3":"Z","sale4":" ","exec":"20240701105959","settle":"20240702","remuneration":" ","rpt":"T",)"
    R"("contra":"D","ats":"Y")";

std::vector<std::string> run_truth() {
  return {
      R"({"seq":1,"cat":"C","type":"I","event":"control"})",
      R"({"seq":2,"cat":"T","type":"M","event":"trade",)" + bond_keys + R"(,"trade_id":"0000001",)" + terms_keys +
          R"(,"change":"7","summary":{"traded":true,"high":98.250000,"low":98.250000,"last":98.250000,"prints":1}})",
      R"({"seq":3,"cat":"T","type":"M","event":"trade",)" + bond_keys + R"(,"trade_id":"0000002",)" + capped_keys +
          R"(,"change":"4","summary":{"traded":true,"high":101.500000,"low":98.250000,"last":98.250000,"prints":2}})",
      R"({"seq":4,"cat":"T","type":"N","event":"cancel","orig_trade_id":"0000001","function":"C","change":"3"})",
      R"({"seq":5,"cat":"T","type":"O","event":"correction",)" + bond_keys + R"(,"trade_id":"0000003",)" + terms_keys +
          R"(,"orig_trade_id":"0000002","function":"N","change":"7","summary":{"traded":true,"high":98.250000,)"
          R"("low":98.250000,"last":98.250000,"prints":1}})",
      R"({"seq":6,"cat":"A","type":"H","event":"halt",)" + bond_keys +
          R"(,"action":"H","reason":"T.1","at":"20240701120003"})",
      R"({"seq":7,"cat":"A","type":"E","event":"summary",)" + bond_keys +
          R"(,"high":98.250000,"low":98.250000,"close":98.250000})",
      R"({"seq":8,"cat":"C","type":"C","event":"control"})",
  };
}

std::vector<std::string> run_tape() {
  return {
      R"({"seq":2,"ts_ms":1719849600123,)" + bond_keys +
          R"(,"price":98.250000,"quantity":100000,"cap":"0","side":"S","reporting_party":"D","contra_party":"C",)"
          R"("exec_ts_ms":1719849599000,"report_lag_ms":1000,"settle":20240702,"trade_id":"0000001","venue":"SYN",)"
          R"("where":"away"})",
      R"({"seq":3,"ts_ms":1719849601200,)" + bond_keys +
          R"(,"price":101.500000,"quantity":5000000,"cap":"5","side":"B","reporting_party":"T","contra_party":"D",)"
          R"("exec_ts_ms":1719845999500,"report_lag_ms":3601500,"settle":20240702,"trade_id":"0000002","venue":"ATS1",)"
          R"("where":"book"})",
  };
}

}  // namespace

SampleRun run() {
  return {run_messages(), run_truth(), run_tape()};
}

std::string altered(std::string text, const std::string& from, const std::string& to) {
  const auto at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from << " does not stand in " << text;
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

std::string overwritten(std::string message, std::size_t offset, const std::string& bytes) {
  return message.replace(offset, bytes.size(), bytes);
}

std::string joined(const std::vector<std::string>& lines) {
  std::string content;
  for (const std::string& line : lines) content += line + "\n";
  return content;
}

Files::Files(const SampleRun& run) {
  vorbeld::write_file(truth, joined(run.truth));
  vorbeld::write_file(tape, joined(run.tape));
}

std::string discrepancy_line(const Discrepancy& discrepancy) {
  std::string line = "#" + std::to_string(discrepancy.sequence) + " " + discrepancy.field + ": " +
                     std::string(source_name(discrepancy.source)) + " " + discrepancy.expected + ", " +
                     std::string(source_name(discrepancy.place)) + " " + discrepancy.received;
  if (discrepancy.follow_ups != 0) line += " (" + std::to_string(discrepancy.follow_ups) + " follow)";
  return line;
}

// The rules of a whole day are sentences; what a rule says of one field is a word.
bool is_of_the_days_rules(const Discrepancy& discrepancy) {
  return discrepancy.source == Source::rule && discrepancy.expected.find(' ') != std::string::npos;
}

std::vector<std::string> discrepancy_lines(const Discrepancies& discrepancies) {
  std::vector<std::string> lines;
  for (const Discrepancy& each : discrepancies.listed) {
    if (!is_of_the_days_rules(each)) lines.push_back(discrepancy_line(each));
  }
  return lines;
}

std::uint64_t follow_ups_of_the_days_rules(const Discrepancies& discrepancies) {
  std::uint64_t count = 0;
  for (const Discrepancy& each : discrepancies.listed) {
    if (is_of_the_days_rules(each)) count += each.follow_ups;
  }
  return count;
}

std::optional<Reconciled> reconcile_bytes(Reconciliation& reconciliation, std::uint64_t sequence,
                                          const std::string& bytes, bool no_more) {
  if (bytes.empty()) return reconcile(reconciliation, sequence, nullptr, no_more);
  const Decoded decoded = decode_message(bytes);
  EXPECT_EQ(decoded.malformed, "");
  Received received;
  received.row = decoded.message.row;
  received.message = &decoded.message;
  return reconcile(reconciliation, sequence, &received, no_more);
}

std::unique_ptr<Reconciliation> reconciled(const SampleRun& run) {
  const Files files(run);
  auto reconciliation = std::make_unique<Reconciliation>();
  open_files(*reconciliation, files.truth, run.tape.empty() ? "" : files.tape);
  for (std::size_t i = 0; i < run.messages.size(); ++i) reconcile_bytes(*reconciliation, i + 1, run.messages[i]);
  reconcile_rest(*reconciliation, run.messages.size());
  return reconciliation;
}

std::vector<std::string> wrong_in(const SampleRun& run) {
  return discrepancy_lines(reconciled(run)->discrepancies);
}

}  // namespace vorbelctl::sample
