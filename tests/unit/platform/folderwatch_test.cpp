#include "platform/folderwatch.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include "tests/support/tempdir.h"
#include "tests/support/waitfor.h"

namespace tonara {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

/// Waits until it tells a change.
bool Changed(CFolderWatch& watch) {
  return test::WaitFor([&] { return watch.TakeChanged(); });
}

/// Waits until it has been quiet for a while: a change may come in several pieces.
void Quiet(CFolderWatch& watch) {
  for (int nQuiet = 0; nQuiet < 5; ++nQuiet) {
    if (watch.TakeChanged()) nQuiet = 0;
    std::this_thread::sleep_for(10ms);
  }
}

/// Makes changes to a marker file until the watch tells one, which shows that it is armed; then waits
/// until it has told all of them.
void Settle(CFolderWatch& watch, const test::CTempDir& dir, const std::string& szFolder) {
  for (int i = 0; i < 1000 && !watch.TakeChanged(); ++i) {
    dir.Write(szFolder + "/.marker", std::to_string(i));
    std::this_thread::sleep_for(10ms);
  }
  Quiet(watch);
}

class FolderWatch : public testing::TestWithParam<bool> {
 protected:
  // Both ways of seeing a change, events of the kernel and the slow look, have to tell the same things.
  void SetUp() override {
    CFolderWatch::Tuning tuning;
    tuning.bKernelEvents = GetParam();
    if (!GetParam()) tuning.dwSlowLookMs = 20;
    CFolderWatch::SetTuning(tuning);
    fs::create_directory(m_dir / "w");
  }
  void TearDown() override { CFolderWatch::SetTuning({}); }

  test::CTempDir m_dir;
};

TEST_P(FolderWatch, TellsEachKindOfChangeOnce) {
  m_dir.Write("w/old.mp3", "x");
  CFolderWatch watch;
  watch.Open(m_dir / "w", false);
  Settle(watch, m_dir, "w");

  const timespec times[2] = {{1000000000, 0}, {1000000000, 0}};
  const std::pair<const char*, std::function<void()>> changes[] = {
      {"create", [&] { m_dir.Write("w/new.mp3", "x"); }},
      {"grow", [&] { std::ofstream(m_dir / "w/new.mp3", std::ios::app) << "more"; }},
      {"touch", [&] { EXPECT_EQ(utimensat(AT_FDCWD, (m_dir / "w/new.mp3").c_str(), times, 0), 0); }},
      {"rename", [&] { fs::rename(m_dir / "w/new.mp3", m_dir / "w/other.mp3"); }},
      {"move in", [&] { fs::rename(m_dir.Write("outside", "x"), m_dir / "w/in.mp3"); }},
      {"move out", [&] { fs::rename(m_dir / "w/in.mp3", m_dir / "outside"); }},
      {"delete", [&] { fs::remove(m_dir / "w/other.mp3"); }},
      {"sub-folder", [&] { fs::create_directory(m_dir / "w/sub"); }},
  };
  for (const auto& [name, change] : changes) {
    change();
    EXPECT_TRUE(Changed(watch)) << name;
    Quiet(watch);
  }
  watch.Close();
  m_dir.Write("w/late.mp3", "x");
  EXPECT_FALSE(watch.TakeChanged());
}

TEST_P(FolderWatch, ArmsAFolderThatComesLaterOrComesBack) {
  CFolderWatch watch;
  watch.Open(m_dir / "later/", false);
  m_dir.Write("later/a.mp3", "x");
  EXPECT_TRUE(Changed(watch));
  Settle(watch, m_dir, "later");
  fs::remove_all(m_dir / "later");
  EXPECT_TRUE(Changed(watch));
  m_dir.Write("later/b.mp3", "x");
  EXPECT_TRUE(Changed(watch));
  Settle(watch, m_dir, "later");
  // Deleted and made again before anybody looks.
  fs::rename(m_dir / "later", m_dir / "away");
  fs::create_directory(m_dir / "later");
  EXPECT_TRUE(Changed(watch));
  Settle(watch, m_dir, "later");
  m_dir.Write("later/d.mp3", "x");
  EXPECT_TRUE(Changed(watch));
}

TEST_P(FolderWatch, FollowsSubFoldersIfWanted) {
  fs::create_directories(m_dir / "w/one/two");
  fs::create_directory_symlink(m_dir / "w", m_dir / "w/one/loop");
  CFolderWatch deep;
  CFolderWatch flat;
  deep.Open(m_dir / "w", true);
  flat.Open(m_dir / "w", false);
  Settle(deep, m_dir, "w");
  Settle(flat, m_dir, "w");

  fs::create_directories(m_dir / "w/one/made/at/once");
  Settle(deep, m_dir, "w/one/made/at/once");
  m_dir.Write("w/one/made/at/once/b.mp3", "x");
  EXPECT_TRUE(Changed(deep)) << "a new sub-folder is watched too";
  Settle(deep, m_dir, "w/one/two");
  EXPECT_FALSE(flat.TakeChanged()) << "all of this was further down";

  fs::rename(m_dir / "w/one/made", m_dir / "gone");
  EXPECT_TRUE(Changed(deep));
  Settle(deep, m_dir, "w/one");
  m_dir.Write("gone/at/once/c.mp3", "x");
  std::this_thread::sleep_for(100ms);
  EXPECT_FALSE(deep.TakeChanged()) << "what has moved out is none of ours";
  fs::rename(m_dir / "gone", m_dir / "w/back");
  EXPECT_TRUE(Changed(deep));
  Settle(deep, m_dir, "w/one");
  m_dir.Write("w/back/at/once/d.mp3", "x");
  EXPECT_TRUE(Changed(deep)) << "what has moved in is";
}

INSTANTIATE_TEST_SUITE_P(EventsAndSlowLook, FolderWatch, testing::Bool(),
                         [](const auto& way) { return way.param ? "Events" : "SlowLook"; });

TEST(FolderWatchOpen, ToldOnlyWhatCameAfterOpening) {
  const test::CTempDir dir;
  dir.Write("w/a.mp3", "x");
  std::this_thread::sleep_for(50ms);  // past the grain of file times
  CFolderWatch quiet;
  quiet.Open(dir / "w", true);
  // A second watch on the same thread, opened later, shows when the first has been looked at.
  CFolderWatch later;
  later.Open(dir / "x", false);
  fs::create_directory(dir / "x");
  EXPECT_TRUE(Changed(later));
  EXPECT_FALSE(quiet.TakeChanged());
  // A change right behind the opening is told, whether the thread was there in time or not.
  for (int i = 0; i < 20; ++i) {
    quiet.Open(dir / "w", true);
    dir.Write("w/b.mp3", std::to_string(i));
    EXPECT_TRUE(Changed(quiet));
  }
}

TEST(FolderWatchOpen, LivesWithTheLimit) {
  const test::CTempDir dir;
  dir.Write("w/sub/a.mp3", "x");
  CFolderWatch::SetTuning({.dwSlowLookMs = 20, .bKernelEvents = true, .dwMaxFolders = 1});
  CFolderWatch watch;
  watch.Open(dir / "w", true);
  CFolderWatch::SetTuning({});
  Settle(watch, dir, "w");
  dir.Write("w/sub/b.mp3", "x");
  EXPECT_TRUE(Changed(watch)) << "the sub-folder is beyond the limit of watches: seen by the slow look";
}

TEST(FolderWatchOpen, ManyWatchesOpenedAndClosedAtOnce) {
  const test::CTempDir dir;
  for (int round = 0; round < 8; ++round) {
    CFolderWatch watches[10];
    for (int i = 0; i < 10; ++i) watches[i].Open(dir.Dir(), i % 2 == 0);
    dir.Write("a", std::to_string(round));
    for (CFolderWatch& watch : watches) EXPECT_TRUE(Changed(watch));
  }
  // Closed ones give their descriptors back.
  CFolderWatch last;
  last.Open(dir.Dir(), false);
  Settle(last, dir, ".");
  EXPECT_LT(std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator{}), 40);
}

}  // namespace
}  // namespace tonara
