#include "vorbelctl/audit/slices.h"

#include <algorithm>

namespace vorbelctl {
namespace {

// `reached`: the offset of the first line that was not used.
void copy_run(LineReader& file, std::uint64_t reached, bool to_the_end, std::ostream& out) {
  const std::uint64_t end = to_the_end ? std::max(reached, file.run.end) : reached;
  constexpr std::uint64_t block = 1 << 16;
  for (std::uint64_t at = file.run.at; at < end; at += block) {
    out << read_bytes(file, at, static_cast<std::size_t>(std::min(block, end - at)));
  }
}

}  // namespace

void copy_truth(Truth& truth, bool to_the_end, std::ostream& out) {
  copy_run(truth.file, reached_at(truth), to_the_end, out);
}

void copy_tape(Tape& tape, bool to_the_end, std::ostream& out) {
  const std::uint64_t reached = tape.there || tape.ended ? tape.line_at : tape.file.next_at;
  copy_run(tape.file, reached, to_the_end, out);
}

}  // namespace vorbelctl
