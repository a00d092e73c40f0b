#include "platform/fileio.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <thread>
#include <vector>

#include "tests/support/tempdir.h"

namespace tonara {
namespace {

namespace fs = std::filesystem;

int FilesIn(const std::string& szFolder) {
  return static_cast<int>(std::distance(fs::directory_iterator(szFolder), fs::directory_iterator{}));
}

/// Runs the body in a child; true if it returned true there.
bool InChild(const std::function<bool()>& fnBody) {
  const pid_t pid = fork();
  if (pid == 0) _exit(fnBody() ? 0 : 1);
  int nStatus = 0;
  waitpid(pid, &nStatus, 0);
  return WIFEXITED(nStatus) && WEXITSTATUS(nStatus) == 0;
}

TEST(ReadWholeFile, TakesRegularFilesOnly) {
  const test::CTempDir dir;
  const std::string bytes("a\0b\n", 4);
  EXPECT_EQ(ReadWholeFile(dir.Write("a", bytes)), bytes);
  EXPECT_EQ(ReadWholeFile(dir.Write("empty", "")), "");
  EXPECT_EQ(ReadWholeFile(dir / "a", 4), bytes);
  EXPECT_EQ(ReadWholeFile(dir / "a", 3), std::nullopt);
  EXPECT_EQ(ReadWholeFile(dir / "missing"), std::nullopt);
  EXPECT_EQ(ReadWholeFile(dir.Dir()), std::nullopt);
  EXPECT_EQ(ReadWholeFile("/dev/zero"), std::nullopt);
  ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);
  EXPECT_EQ(ReadWholeFile(dir / "fifo"), std::nullopt) << "and without waiting for a writer";
  EXPECT_EQ(ReadWholeFile("/proc/self/stat").value_or("").substr(0, 1).empty(), false) << "files that tell no size";
}

TEST(WriteFileAtomic, KeepsRightsAndFollowsLinks) {
  const test::CTempDir dir;
  const std::string path = dir.Write("real/a.ini", "old");
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  fs::create_symlink("real/a.ini", dir / "link1");
  fs::create_symlink(dir / "link1", dir / "link2");
  ASSERT_TRUE(WriteFileAtomic(dir / "link2", "new"));
  EXPECT_EQ(dir.Read("real/a.ini"), "new");
  EXPECT_TRUE(fs::is_symlink(dir / "link2"));
  struct stat st {};
  ASSERT_EQ(stat(path.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0640U);
  EXPECT_EQ(FilesIn(dir / "real"), 1);

  ASSERT_TRUE(WriteFileAtomic(dir / "made", "x"));
  ASSERT_EQ(stat((dir / "made").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0644U);

  fs::create_symlink("target", dir / "dangling");
  ASSERT_TRUE(WriteFileAtomic(dir / "dangling", "x"));
  EXPECT_EQ(dir.Read("target"), "x");
  fs::create_symlink("loop", dir / "loop");
  EXPECT_FALSE(WriteFileAtomic(dir / "loop", "x"));
}

TEST(WriteFileAtomic, FailsWithoutATrace) {
  const test::CTempDir dir;
  fs::create_directories(dir / "folder.ini/x");
  ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);
  const int nBefore = FilesIn(dir.Dir());
  std::string error;
  EXPECT_FALSE(WriteFileAtomic(dir / "folder.ini", "x", &error));
  EXPECT_FALSE(error.empty());
  EXPECT_FALSE(WriteFileAtomic(dir / "missing/a.ini", "x", &error));
  EXPECT_FALSE(WriteFileAtomic(dir / "fifo", "x", &error)) << "what isn't a file is not replaced by one";
  EXPECT_EQ(FilesIn(dir.Dir()), nBefore);
}

TEST(WriteFileAtomic, FullDiskLeavesTheOldFile) {
  const test::CTempDir dir;
  const std::string path = dir.Write("a.ini", "old");
  std::string error;
  // A limit on the size of files stands in for the end of the disk.
  EXPECT_TRUE(InChild([&] {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{4096, 4096};
    setrlimit(RLIMIT_FSIZE, &limit);
    return !WriteFileAtomic(path, std::string(10000, 'x'), &error) && !error.empty();
  }));
  EXPECT_EQ(dir.Read("a.ini"), "old");
  EXPECT_EQ(FilesIn(dir.Dir()), 1);

  // And the real thing, where this user may mount.
  fs::create_directory(dir / "disk");
  if (mount("tmpfs", (dir / "disk").c_str(), "tmpfs", 0, "size=64k") == 0) {
    dir.Write("disk/a.ini", "old");
    EXPECT_FALSE(WriteFileAtomic(dir / "disk/a.ini", std::string(100000, 'x'), &error));
    EXPECT_EQ(dir.Read("disk/a.ini"), "old");
    EXPECT_EQ(FilesIn(dir / "disk"), 1);
    EXPECT_TRUE(WriteFileAtomic(dir / "disk/a.ini", std::string(20000, 'x')));
    umount((dir / "disk").c_str());
  }
}

TEST(WriteFileAtomic, RespectsWriteProtection) {
  const test::CTempDir dir;
  const std::string path = dir.Write("ro/a.ini", "old");
  const std::string file = dir.Write("b.ini", "old");
  chmod(file.c_str(), 0444);
  chmod((dir / "ro").c_str(), 0555);
  chmod(dir.Dir().c_str(), 0777);
  EXPECT_TRUE(InChild([&] {
    // Permissions don't bind root.
    if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) return false;
    return !WriteFileAtomic(path, "new") && !WriteFileAtomic(file, "new");
  }));
  chmod((dir / "ro").c_str(), 0755);
  EXPECT_EQ(dir.Read("ro/a.ini"), "old");
  EXPECT_EQ(dir.Read("b.ini"), "old");
}

TEST(WriteFileAtomic, TakesUpWhatAKillLeftBehind) {
  const test::CTempDir dir;
  dir.Write("a.ini", "old");
  dir.Write(".a.ini.tmp", std::string(1000, 'z'));
  ASSERT_TRUE(WriteFileAtomic(dir / "a.ini", "new"));
  EXPECT_EQ(dir.Read("a.ini"), "new");
  EXPECT_EQ(FilesIn(dir.Dir()), 1);
  // Something else of that name is let be.
  fs::create_directory(dir / ".a.ini.tmp");
  ASSERT_TRUE(WriteFileAtomic(dir / "a.ini", "newer"));
  EXPECT_EQ(dir.Read("a.ini"), "newer");
  EXPECT_EQ(FilesIn(dir.Dir()), 2);
}

TEST(WriteFileAtomic, WritersAtOnceLeaveOneWholeFile) {
  const test::CTempDir dir;
  std::vector<std::thread> writers;
  writers.reserve(4);
  for (int i = 0; i < 4; ++i) {
    writers.emplace_back([&dir, i] {
      const std::string bytes(static_cast<size_t>(10000 + i * 5000), static_cast<char>('a' + i));
      for (int n = 0; n < 25; ++n) EXPECT_TRUE(WriteFileAtomic(dir / "a.ini", bytes));
    });
  }
  for (std::thread& writer : writers) writer.join();
  const std::string bytes = dir.Read("a.ini");
  ASSERT_FALSE(bytes.empty());
  EXPECT_EQ(bytes, std::string(static_cast<size_t>(10000 + (bytes[0] - 'a') * 5000), bytes[0]));
  EXPECT_EQ(FilesIn(dir.Dir()), 1);
}

TEST(AppendFile, KeepsLinesWhole) {
  const test::CTempDir dir;
  dir.Write("a.txt", "torn by a power cut");
  CAppendFile file;
  ASSERT_TRUE(file.Open(dir / "a.txt"));
  EXPECT_TRUE(file.Append("one\n"));
  EXPECT_TRUE(file.Append("two\n"));
  EXPECT_EQ(dir.Read("a.txt"), "torn by a power cut\none\ntwo\n");
  EXPECT_FALSE(file.IsDeleted());
  fs::remove(dir / "a.txt");
  EXPECT_TRUE(file.IsDeleted());

  ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);
  EXPECT_FALSE(file.Open(dir / "fifo"));
  EXPECT_FALSE(file.Open(dir.Dir()));
  EXPECT_FALSE(file.Append("x"));

  dir.Write("full.txt", "begun\n");
  EXPECT_TRUE(InChild([&] {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{20, 20};
    setrlimit(RLIMIT_FSIZE, &limit);
    CAppendFile full;
    return full.Open(dir / "full.txt") && !full.Append("a line that doesn't fit\n") && full.Append("short\n");
  }));
  EXPECT_EQ(dir.Read("full.txt"), "begun\nshort\n") << "nothing of the lost line stays";
}

}  // namespace
}  // namespace tonara
