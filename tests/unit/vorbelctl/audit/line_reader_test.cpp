// Lines of a file that is still being written, lines by their place, and the latest of several runs in one file.
#include "vorbelctl/audit/line_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "tests/unit/common/scratch.h"

namespace vorbelctl {
namespace {

struct Growing {
  vorbeld::ScratchFolder folder;
  std::string path = folder.path / "lines";
  std::ofstream out{path, std::ios::binary};

  void add(const std::string& text) { out << text << std::flush; }
};

// The next line, or "-".
std::string next_text(LineReader& file) {
  const auto line = next_line(file, false);
  return line ? std::string(line->text) : "-";
}

TEST(Lines, ComeWhenTheyAreWhole) {
  Growing growing;
  LineReader file = open_reader(growing.path);
  EXPECT_EQ(next_text(file), "-");
  growing.add("one\ntw");
  EXPECT_EQ(next_text(file), "one");
  EXPECT_EQ(next_text(file), "-");
  growing.add("o\n\n");
  EXPECT_EQ(next_text(file), "two");
  EXPECT_EQ(next_text(file), "");
  EXPECT_EQ(next_text(file), "-");
}

TEST(Lines, KnowTheirPlaceAndNumber) {
  Growing growing;
  growing.add("one\ntwo\n");
  LineReader file = open_reader(growing.path);
  ASSERT_TRUE(next_line(file, false));
  const auto second = next_line(file, false);
  EXPECT_EQ(second->at, 4U);
  EXPECT_EQ(second->number, 2U);
  EXPECT_EQ(line_at(file, 0), "one");
  EXPECT_EQ(line_at(file, 4), "two");
  EXPECT_EQ(line_at(file, 8), std::nullopt);
}

TEST(Lines, MayLackTheirEndWhenNothingMoreComes) {
  Growing growing;
  growing.add("one\ntwo");
  LineReader file = open_reader(growing.path);
  EXPECT_EQ(next_text(file), "one");
  EXPECT_EQ(next_text(file), "-");
  const auto last = next_line(file, true);
  EXPECT_EQ(last->text, "two");
  EXPECT_EQ(last->number, 2U);
  EXPECT_EQ(next_line(file, true), std::nullopt);
}

TEST(Lines, ThatAreTooLongComeEmptyAndTheNextIsFound) {
  Growing growing;
  growing.add(std::string(longest_line + 70000, 'x') + "\nnext\n");
  LineReader file = open_reader(growing.path);
  EXPECT_EQ(next_text(file), "");
  const auto next = next_line(file, false);
  EXPECT_EQ(next->text, "next");
  EXPECT_EQ(next->number, 2U);
  EXPECT_EQ(next->at, longest_line + 70001);
}

TEST(Lines, KeepNoMoreThanABlockOfAFile) {
  Growing growing;
  for (int i = 0; i < 20000; ++i) growing.add("a line of some thirty characters\n");
  LineReader file = open_reader(growing.path);
  std::size_t most_kept = 0;
  int lines = 0;
  for (; next_line(file, false); ++lines) most_kept = std::max(most_kept, file.block.size());
  EXPECT_EQ(lines, 20000);
  EXPECT_LT(most_kept, std::size_t{1} << 17);
}

TEST(Lines, AreReadAgainWhileOthersFollow) {
  Growing growing;
  growing.add("one\ntwo\nthree\n");
  LineReader file = open_reader(growing.path);
  EXPECT_EQ(next_text(file), "one");
  EXPECT_EQ(line_at(file, 8), "three");
  EXPECT_EQ(next_text(file), "two");
  EXPECT_EQ(line_at(file, 0), "one");
  EXPECT_EQ(next_text(file), "three");
}

TEST(Lines, AreReadAgainHoweverLong) {
  Growing growing;
  const std::string longer(5000, 'x');
  growing.add(longer + "\n" + longer);
  LineReader file = open_reader(growing.path);
  EXPECT_EQ(line_at(file, 0), longer);
  EXPECT_EQ(line_at(file, longer.size() + 1), std::nullopt) << "it has no end";
}

TEST(Lines, OfWhatCannotBeReadAreRefusedByName) {
  const vorbeld::ScratchFolder folder;
  EXPECT_THROW(open_reader(folder.path / "none"), std::invalid_argument);
  EXPECT_THROW(open_reader(folder.path), std::invalid_argument);
}

TEST(LastRun, BeginsWithTheLatestFirstLine) {
  Growing growing;
  growing.add(
      "{\"seq\":1,start}\n{\"seq\":2}\n{\"seq\":1,start}\n{\"seq\":2}\n{\"seq\":3}\n{\"mark\":\"m\",\"seq\":3}\n{\"se");
  const RunExtent run = find_last_run(growing.path, "start");
  EXPECT_EQ(run.number, 3U);
  EXPECT_EQ(run.last, 3U);
  LineReader file = open_reader(growing.path);
  go_to_run(file, run);
  EXPECT_EQ(next_text(file), "{\"seq\":1,start}");
}

TEST(LastRun, OfAnEmptyFileHasNothing) {
  const Growing growing;
  const RunExtent run = find_last_run(growing.path, "start");
  EXPECT_EQ(run.at, 0U);
  EXPECT_EQ(run.last, 0U);
}

TEST(LastRun, IsTheWholeFileWithoutAFirstLine) {
  Growing growing;
  growing.add("{\"seq\":7}\n{\"seq\":8}\n");
  const RunExtent run = find_last_run(growing.path, "start");
  EXPECT_EQ(run.at, 0U);
  EXPECT_EQ(run.number, 1U);
  EXPECT_EQ(run.last, 8U);
}

}  // namespace
}  // namespace vorbelctl
