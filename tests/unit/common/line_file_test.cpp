// Files of whole lines: what a follower sees, and silence on failure.
#include "common/line_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <string>

#include "tests/unit/common/console.h"
#include "tests/unit/common/loopback.h"
#include "tests/unit/common/scratch.h"

namespace vorbeld {
namespace {

bool is_open(int descriptor) {
  return fcntl(descriptor, F_GETFD) >= 0;
}

TEST(LineFile, TakesNoLinesBeforeItIsOpened) {
  LineFile file;
  EXPECT_FALSE(takes_lines(file));
  write_line(file, "lost\n");
  EXPECT_FALSE(takes_lines(file));
}

TEST(LineFile, CreatesTheFileEmpty) {
  const ScratchFolder folder;
  LineFile file;
  open_lines(file, folder.path / "truth");
  EXPECT_TRUE(takes_lines(file));
  EXPECT_TRUE(std::filesystem::exists(folder.path / "truth"));
  EXPECT_EQ(file_text(folder.path / "truth"), "");
}

TEST(LineFile, HasEachLineInTheFileAtOnce) {
  const ScratchFolder folder;
  LineFile file;
  open_lines(file, folder.path / "truth");
  write_line(file, "one\n");
  EXPECT_EQ(file_text(folder.path / "truth"), "one\n");
  write_line(file, "two\n");
  EXPECT_EQ(file_text(folder.path / "truth"), "one\ntwo\n");
}

TEST(LineFile, AppendsToWhatIsThere) {
  const ScratchFolder folder;
  write_file(folder.path / "truth", "of an earlier run\n");
  LineFile file;
  open_lines(file, folder.path / "truth");
  write_line(file, "of this run\n");
  EXPECT_EQ(file_text(folder.path / "truth"), "of an earlier run\nof this run\n");
}

TEST(LineFile, AppendsBehindLinesThatOthersAddMeanwhile) {
  const ScratchFolder folder;
  LineFile ours;
  LineFile theirs;
  open_lines(ours, folder.path / "truth");
  open_lines(theirs, folder.path / "truth");
  write_line(ours, "a\n");
  write_line(theirs, "b\n");
  write_line(ours, "c\n");
  EXPECT_EQ(file_text(folder.path / "truth"), "a\nb\nc\n");
}

TEST(LineFile, WritesALineWhole) {
  std::array<int, 2> ends{};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends.data()), 0);  // keeps writes apart
  const Descriptor reader(ends[1]);
  LineFile file;
  file.descriptor = ends[0];
  const std::string line = std::string(5000, 'x') + "\n";
  write_line(file, line);
  std::string read(10000, '\0');
  const ssize_t length = recv(reader.value, read.data(), read.size(), 0);
  ASSERT_EQ(length, 5001);
  EXPECT_EQ(read.substr(0, 5001), line);
}

TEST(LineFile, StaysFailedAndSilentWhereItCannotBeOpened) {
  const ScratchFolder folder;
  LineFile file;
  EXPECT_EQ(console_of([&] {
              open_lines(file, folder.path / "absent" / "truth");
              write_line(file, "lost\n");
            }),
            "");
  EXPECT_FALSE(takes_lines(file));
  EXPECT_FALSE(std::filesystem::exists(folder.path / "absent"));
}

TEST(LineFile, TakesNoMoreLinesAfterAFailedWrite) {
  LineFile file;
  open_lines(file, "/dev/full");
  ASSERT_TRUE(takes_lines(file));
  const int descriptor = file.descriptor;
  EXPECT_EQ(console_of([&] { write_line(file, "no room\n"); }), "");
  EXPECT_FALSE(takes_lines(file));
  EXPECT_FALSE(is_open(descriptor));
}

TEST(LineFile, ClosesItsDescriptorAtItsEnd) {
  const ScratchFolder folder;
  int descriptor = -1;
  {
    LineFile file;
    open_lines(file, folder.path / "truth");
    descriptor = file.descriptor;
    ASSERT_TRUE(is_open(descriptor));
  }
  EXPECT_FALSE(is_open(descriptor));
}

TEST(LineFile, IsReadableByAllLessTheUmask) {
  const ScratchFolder folder;
  const mode_t previous = umask(022);
  LineFile file;
  open_lines(file, folder.path / "truth");
  umask(previous);
  struct stat status {};
  ASSERT_EQ(stat((folder.path / "truth").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0644U);
}

}  // namespace
}  // namespace vorbeld
