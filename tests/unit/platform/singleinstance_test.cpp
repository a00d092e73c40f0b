#include "platform/singleinstance.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "tests/support/tempdir.h"

namespace tonara {
namespace {

TEST(SingleInstance, HoldsUntilTheProcessDies) {
  const test::CTempDir dir;
  setenv("XDG_RUNTIME_DIR", dir.Dir().c_str(), 1);
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t pid = fork();
  if (pid == 0) {
    CSingleInstance first;
    const char c = first.Acquire("tonara_MUTEX") ? '1' : '0';
    if (write(ready[1], &c, 1) != 1) _exit(1);
    for (;;) pause();
  }
  char c = 0;
  ASSERT_EQ(read(ready[0], &c, 1), 1);
  EXPECT_EQ(c, '1');
  CSingleInstance second;
  EXPECT_FALSE(second.Acquire("tonara_MUTEX"));
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
  EXPECT_TRUE(second.Acquire("tonara_MUTEX"));
  EXPECT_TRUE(second.Acquire("tonara_MUTEX")) << "asked again by its holder";
  close(ready[0]);
  close(ready[1]);
}

TEST(SingleInstance, PassesOverFoldersOfOthers) {
  const test::CTempDir dir;
  chmod(dir.Dir().c_str(), 0777);
  setenv("XDG_RUNTIME_DIR", dir.Dir().c_str(), 1);
  const std::string name = "tonara_test_" + std::to_string(getpid());
  CSingleInstance first;
  CSingleInstance second;
  EXPECT_TRUE(first.Acquire(name));
  EXPECT_FALSE(second.Acquire(name)) << "held in the next folder";
  EXPECT_FALSE(dir.Exists(name + ".lock"));
  const std::string uid = std::to_string(geteuid());
  unlink(("/run/user/" + uid + "/" + name + ".lock").c_str());
  unlink(("/tmp/tonara-" + uid + "/" + name + ".lock").c_str());
}

}  // namespace
}  // namespace tonara
