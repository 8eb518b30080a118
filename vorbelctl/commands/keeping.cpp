#include "vorbelctl/commands/keeping.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <system_error>

#include "vorbelctl/audit/slices.h"
#include "vorbelctl/page/page.h"

namespace vorbelctl {
namespace {

namespace fs = std::filesystem;

void add_failed(std::string& failed, const fs::path& path) {
  failed += (failed.empty() ? "" : ", ") + path.string();
}

// Adds the path to those that could not be written, unless it was.
void write_kept(std::string& failed, const fs::path& path, const std::function<void(std::ostream&)>& write) {
  std::ofstream file(path, std::ios::binary);
  write(file);
  file.close();
  if (!file.good()) add_failed(failed, path);
}

}  // namespace

void prepare_folder(const std::string& folder) {
  std::error_code problem;
  fs::create_directories(folder, problem);
  if (problem) throw std::invalid_argument("cannot make the folder " + folder + ": " + problem.message());
  const bool is_empty = fs::is_empty(folder, problem);
  if (problem) throw std::invalid_argument("cannot read the folder " + folder + ": " + problem.message());
  if (!is_empty) throw std::invalid_argument("the folder " + folder + " is not empty; name another one for --keep");
}

std::string kept_capture(const std::string& folder) {
  return (fs::path(folder) / "feed.pcap").string();
}

std::string keep_audit(const std::string& folder, Outcome& outcome, bool has_verdict, const std::string& json,
                       const std::string& text) {
  const fs::path at = folder;
  std::string failed;
  write_kept(failed, at / "verdict.json", [&](std::ostream& file) { file << json; });
  write_kept(failed, at / "verdict.txt", [&](std::ostream& file) { file << text; });
  if (has_verdict) {
    write_kept(failed, at / "page.html", [&](std::ostream& file) { file << outcome_page(outcome); });
  }
  // What a live audit did not come to is no part of it; of a recording it tells how much is missing.
  const bool to_the_end = outcome.origin != Origin::feed;
  Reconciliation& all = outcome.audit.reconciliation;
  if (all.truth.file.file.number >= 0) {
    write_kept(failed, at / "truth.jsonl", [&](std::ostream& file) { copy_truth(all.truth, to_the_end, file); });
  }
  if (all.tape.file.file.number >= 0) {
    write_kept(failed, at / "tape.jsonl", [&](std::ostream& file) { copy_tape(all.tape, to_the_end, file); });
  }
  if (!outcome.recording.path.empty()) {
    std::error_code problem;
    fs::copy_file(outcome.recording.path, at / "recording.jsonl", problem);
    if (problem) add_failed(failed, at / "recording.jsonl");
  }
  return failed.empty() ? "" : "could not be written whole: " + failed;
}

}  // namespace vorbelctl
