// Files in every form in which they may come, and what cannot be read.
#include "vorbelctl/handler/input.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <zlib.h>

#include <filesystem>
#include <stdexcept>
#include <thread>

#include "tests/unit/common/scratch.h"

namespace vorbelctl {
namespace {

using vorbeld::ScratchFolder;

std::string write_packed(const ScratchFolder& folder, const std::string& content) {
  std::string path = folder.path / "packed";
  const gzFile file = gzopen(path.c_str(), "wb");
  gzwrite(file, content.data(), static_cast<unsigned>(content.size()));
  gzclose(file);
  return path;
}

// Why the path cannot be opened; empty: it can.
std::string refusal(const std::string& path) {
  try {
    open_input(path);
  } catch (const std::invalid_argument& wrong) {
    return wrong.what();
  }
  return "";
}

// Does not shrink when packed.
std::string noise(std::size_t length) {
  std::string bytes;
  for (std::uint32_t state = 1; bytes.size() < length; state = state * 1664525 + 1013904223) {
    bytes += static_cast<char>(state >> 24U);
  }
  return bytes;
}

TEST(Input, IsTheFileItselfWhereItCanBe) {
  const ScratchFolder folder;
  const std::string path = folder.path / "plain";
  for (const char* const content : {"", "\x1f", "plain\n"}) {
    vorbeld::write_file(path, content);
    const Input input = open_input(path);
    EXPECT_EQ(input.path, path);
    EXPECT_EQ(input.name, path);
    EXPECT_TRUE(input.grows);
    EXPECT_FALSE(input.is_cut);
  }
}

TEST(Input, ThatIsPackedIsUnpacked) {
  const ScratchFolder folder;
  const std::string content = noise(300000);
  const std::string path = write_packed(folder, content);
  const Input input = open_input(path);
  EXPECT_EQ(input.name, path);
  EXPECT_NE(input.path, path);
  EXPECT_FALSE(input.grows);
  EXPECT_FALSE(input.is_cut);
  EXPECT_EQ(vorbeld::file_text(input.path), content);
  EXPECT_EQ(vorbeld::file_text(input.path), content) << "it may be opened again";
}

TEST(Input, ThatIsCutHoldsWhatThereIs) {
  const ScratchFolder folder;
  const std::string content = noise(300000);
  const std::string path = write_packed(folder, content);
  std::filesystem::resize_file(path, 200000);
  const Input input = open_input(path);
  EXPECT_TRUE(input.is_cut);
  const std::string unpacked = vorbeld::file_text(input.path);
  EXPECT_GT(unpacked.size(), 100000U);
  EXPECT_EQ(unpacked, content.substr(0, unpacked.size()));
}

TEST(Input, ThatIsDamagedIsRefused) {
  const ScratchFolder folder;
  const std::string path = write_packed(folder, noise(300000));
  std::string bytes = vorbeld::file_text(path);
  bytes[bytes.size() - 8] = static_cast<char>(bytes[bytes.size() - 8] ^ 1);  // the check value
  vorbeld::write_file(path, bytes);
  EXPECT_EQ(refusal(path).find("cannot read " + path + ": it is damaged ("), 0U) << refusal(path);
}

TEST(Input, MayComeThroughAPipe) {
  const ScratchFolder folder;
  const std::string path = folder.path / "pipe";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  std::thread writer([&] { vorbeld::write_file(path, "through the pipe\n"); });
  const Input input = open_input(path);
  writer.join();
  EXPECT_FALSE(input.grows);
  EXPECT_EQ(vorbeld::file_text(input.path), "through the pipe\n");
}

TEST(Input, ThatIsNotThereOrAFolderIsRefused) {
  const ScratchFolder folder;
  EXPECT_EQ(refusal("/nonexistent"), "cannot read /nonexistent: No such file or directory");
  EXPECT_EQ(refusal(folder.path), "cannot read " + folder.path.string() + ": Is a directory");
}

TEST(Input, LeavesNoFileBehind) {
  const ScratchFolder folder;
  const std::string path = write_packed(folder, "gone\n");
  std::string unpacked;
  {
    const Input input = open_input(path);
    unpacked = input.path;
    EXPECT_TRUE(std::filesystem::exists(unpacked));
  }
  EXPECT_FALSE(std::filesystem::exists(unpacked));
}

TEST(Input, HasAName) {
  EXPECT_EQ(input_name("-"), "standard input");
  EXPECT_EQ(input_name("heard.jsonl"), "heard.jsonl");
  EXPECT_EQ(cut_note("heard.jsonl"), "heard.jsonl is cut off: it is judged as far as it goes");
}

}  // namespace
}  // namespace vorbelctl
