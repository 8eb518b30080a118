// Files put in place whole, and what is refused before anything is written.
#include "vorbelctl/commands/output_file.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <stdexcept>

#include "tests/unit/common/scratch.h"

namespace vorbelctl {
namespace {

using vorbeld::file_text;
using vorbeld::ScratchFolder;

// Why the path cannot be written; empty: it can.
std::string refusal(const std::string& path, const std::string& input = "") {
  const std::array inputs{input};
  try {
    check_output(path, inputs);
  } catch (const std::invalid_argument& wrong) {
    return wrong.what();
  }
  return "";
}

std::size_t files_in(const ScratchFolder& folder) {
  const std::filesystem::directory_iterator files(folder.path);
  return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

TEST(Output, IsPutInItsPlace) {
  const ScratchFolder folder;
  const std::string path = folder.path / "page";
  EXPECT_EQ(refusal(path), "");
  EXPECT_EQ(write_output(path, "first"), "");
  EXPECT_EQ(write_output(path, std::string(100000, 'x')), "");
  EXPECT_EQ(file_text(path), std::string(100000, 'x'));
  EXPECT_EQ(files_in(folder), 1U);
}

TEST(Output, KeepsTheModeOfTheFileInItsPlace) {
  const ScratchFolder folder;
  const std::filesystem::path path = folder.path / "page";
  vorbeld::write_file(path, "old");
  std::filesystem::permissions(path, std::filesystem::perms(0604));
  EXPECT_EQ(write_output(path, "new"), "");
  EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0604));
}

TEST(Output, GoesWhereLinksLead) {
  const ScratchFolder folder;
  std::filesystem::create_symlink("page", folder.path / "link");
  EXPECT_EQ(write_output(folder.path / "link", "content"), "");
  EXPECT_TRUE(std::filesystem::is_symlink(folder.path / "link"));
  EXPECT_EQ(file_text(folder.path / "page"), "content");
}

TEST(Output, IsNoInputByAnyName) {
  const ScratchFolder folder;
  const std::string input = folder.path / "truth";
  vorbeld::write_file(input, "kept");
  std::filesystem::create_symlink("truth", folder.path / "link");
  std::filesystem::create_hard_link(input, folder.path / "twin");
  for (const char* const name : {"truth", "link", "twin", "./truth"}) {
    const std::string path = folder.path / name;
    EXPECT_EQ(refusal(path, input), "cannot write " + path + ": it is read as " + input);
  }
  EXPECT_EQ(refusal(folder.path / "other", input), "");
}

TEST(Output, ThatCanNeverBeWrittenIsRefused) {
  const ScratchFolder folder;
  EXPECT_EQ(refusal(""), "a file to be written needs a name");
  EXPECT_EQ(refusal(folder.path), "cannot write " + folder.path.string() + ": it is a folder");
  EXPECT_EQ(refusal("/nonexistent/page"), "cannot write /nonexistent/page: there is no folder /nonexistent");
  EXPECT_EQ(refusal("-"), "cannot write -: it would stand between the results; name a file");
}

TEST(Output, SaysWhyItFailed) {
  EXPECT_EQ(write_output("/nonexistent/page", "content"), "No such file or directory");
}

TEST(Output, ThatIsNoRegularFileIsWrittenAsItIs) {
  EXPECT_EQ(refusal("/dev/null"), "");
  EXPECT_EQ(write_output("/dev/null", "content"), "");
}

}  // namespace
}  // namespace vorbelctl
