#include "platform/fileio.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <thread>
#include <vector>

#include "tests/support/tempdir.h"

namespace {
std::vector<std::string>* g_pAppels = nullptr;  // calls of the two below, while somebody wants to know
}

// The C library's own are hidden by these: what is on the disk when can't be seen in any other way.
extern "C" int fsync(int fd) {
  struct stat st {};
  if (g_pAppels != nullptr)
    g_pAppels->emplace_back(fstat(fd, &st) == 0 && S_ISDIR(st.st_mode) ? "sync folder" : "sync");
  return static_cast<int>(syscall(SYS_fsync, fd));
}
extern "C" int rename(const char* szFrom, const char* szTo) noexcept {
  if (g_pAppels != nullptr) g_pAppels->emplace_back("rename");
  return renameat(AT_FDCWD, szFrom, AT_FDCWD, szTo);
}

namespace tonara {
namespace {

namespace fs = std::filesystem;

int FilesIn(const std::string& szFolder) {
  return static_cast<int>(std::distance(fs::directory_iterator(szFolder), fs::directory_iterator{}));
}

/// What a child returned that ran under a limit on the size of files, which stands in for the end of the disk.
bool OnFullDisk(rlim_t nLimit, const std::function<bool()>& fnBody) {
  const pid_t pid = fork();
  if (pid == 0) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{nLimit, nLimit};
    setrlimit(RLIMIT_FSIZE, &limit);
    _exit(fnBody() ? 0 : 1);
  }
  int nStatus = 0;
  waitpid(pid, &nStatus, 0);
  return WIFEXITED(nStatus) && WEXITSTATUS(nStatus) == 0;
}

mode_t RightsOf(const std::string& szPath) {
  struct stat st {};
  return stat(szPath.c_str(), &st) == 0 ? st.st_mode & 07777 : 0;
}

TEST(ReadWholeFile, TakesRegularFilesOnly) {
  const test::CTempDir dir;
  const std::string bytes("a\0b\n", 4);
  EXPECT_EQ(ReadWholeFile(dir.Write("a", bytes)), bytes);
  EXPECT_EQ(ReadWholeFile(dir / "a", 4), bytes);
  EXPECT_EQ(ReadWholeFile(dir / "a", 3), std::nullopt);
  ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);  // opening it would wait for a writer
  for (const std::string& path : {dir / "missing", dir.Dir(), std::string("/dev/zero"), dir / "fifo"})
    EXPECT_EQ(ReadWholeFile(path), std::nullopt) << path;
  EXPECT_FALSE(ReadWholeFile("/proc/self/stat").value_or("").empty()) << "files that tell no size";
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
  EXPECT_EQ(RightsOf(path), 0640U);
  EXPECT_EQ(FilesIn(dir / "real"), 1);

  fs::create_symlink("made", dir / "dangling");
  ASSERT_TRUE(WriteFileAtomic(dir / "dangling", "x"));
  EXPECT_EQ(dir.Read("made"), "x");
  EXPECT_EQ(RightsOf(dir / "made"), 0644U);
}

// In another order a power cut could leave the new name over an empty file.
TEST(WriteFileAtomic, IsOnTheDiskBeforeItTakesTheName) {
  const test::CTempDir dir;
  std::vector<std::string> appels;
  g_pAppels = &appels;
  EXPECT_TRUE(WriteFileAtomic(dir / "a.ini", "x"));
  g_pAppels = nullptr;
  EXPECT_EQ(appels, (std::vector<std::string>{"sync", "rename", "sync folder"}));
}

TEST(WriteFileAtomic, FailsWithoutATrace) {
  const test::CTempDir dir;
  fs::create_directories(dir / "folder.ini/x");
  fs::create_symlink("loop", dir / "loop");
  ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);  // what isn't a file is not replaced by one
  dir.Write("a.ini", "old");
  const int nBefore = FilesIn(dir.Dir());
  for (const char* szName : {"folder.ini", "missing/a.ini", "fifo", "loop"}) {
    std::string error;
    EXPECT_FALSE(WriteFileAtomic(dir / szName, "x", &error)) << szName;
    EXPECT_FALSE(error.empty()) << szName;
  }
  EXPECT_TRUE(OnFullDisk(4096, [&] { return !WriteFileAtomic(dir / "a.ini", std::string(10000, 'x')); }));
  EXPECT_EQ(dir.Read("a.ini"), "old");
  EXPECT_EQ(FilesIn(dir.Dir()), nBefore);
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
  EXPECT_EQ(dir.Read("a.txt"), "torn by a power cut\none\n");

  ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);
  EXPECT_FALSE(file.Open(dir / "fifo"));

  dir.Write("full.txt", "begun\n");
  EXPECT_TRUE(OnFullDisk(20, [&] {
    CAppendFile full;
    return full.Open(dir / "full.txt") && !full.Append("a line that doesn't fit\n") && full.Append("short\n");
  }));
  EXPECT_EQ(dir.Read("full.txt"), "begun\nshort\n") << "nothing of the lost line stays";
}

}  // namespace
}  // namespace tonara
