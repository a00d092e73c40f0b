// Session log, broadcast history and the warning.
#include "core/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <set>
#include <sstream>
#include <thread>
#include <vector>

#include "core/historique.h"
#include "core/warning.h"
#include "tests/support/fakeclock.h"
#include "tests/support/tempdir.h"

namespace tonara {
namespace {

namespace fs = std::filesystem;

// Never destroyed: the log keeps a reference, and threads may trace to the end.
test::CFakeClock& Clock() {
  static test::CFakeClock clock(2026, 3, 4, 5, 6, 7);
  return clock;
}

class Log : public testing::Test {
 protected:
  void SetUp() override {
    Clock().SetLocal(2026, 3, 4, 5, 6, 7);
    LogSetClock(Clock());
  }
  void TearDown() override { LogClose(); }
  void Open() {
    LogSetFile(m_dir.Dir(), "tonara.log", true);
    ASSERT_TRUE(LogOpen());
  }
  [[nodiscard]] std::string Text() const { return m_dir.Read("tonara.log"); }
  test::CTempDir m_dir;
};

constexpr const char* kBegin = "\n03/04/26-05:06:07 : *************** Nouvelle session *******************\n";
constexpr const char* kEnd = "03/04/26-05:06:07 : *************** Fin session *******************\n\n";

TEST_F(Log, SessionBetweenBanners) {
  LogSetFile(m_dir.Dir(), "tonara.log", true);
  Trace(1, "before\n");
  EXPECT_FALSE(m_dir.Exists("tonara.log"));
  ASSERT_TRUE(LogOpen());
  EXPECT_FALSE(LogOpen()) << "open already";
  Trace(1, "Déclenche Autofade (à %.1f dB)\n", -12.0);
  Trace(0, "***************************************\n");
  Trace(3, "half a ");
  Trace(2, "line\n");
  Trace(0, "%s\n", std::string(5000, 'x').c_str());
  LogClose();
  Trace(1, "after\n");
  const std::string session = std::string(kBegin) + "03/04/26-05:06:07 : Déclenche Autofade (à -12.0 dB)\n" +
                              "***************************************\n" + "03/04/26-05:06:07 : half a line\n" +
                              std::string(5000, 'x') + "\n" + kEnd;
  EXPECT_EQ(Text(), session);
}

/// True if the log of a process that traces before it knows whether the log is on holds what it should.
bool TraceEarly(bool bActif) {
  const test::CTempDir dir;
  LogSetClock(Clock());
  for (int i = 0; i < 100; ++i) Trace(1, "early %d\n", i);
  Clock().Advance(1000);
  LogSetFile(dir.Dir(), "tonara.log", bActif);
  Trace(1, "between\n");
  const bool bOpen = LogOpen();
  Trace(1, "late\n");
  std::string expected = "\n03/04/26-05:06:08 : *************** Nouvelle session *******************\n";
  for (int i = 0; i < 64; ++i) expected += "03/04/26-05:06:07 : early " + std::to_string(i) + "\n";
  expected += "03/04/26-05:06:08 : late\n";
  return bOpen == bActif && dir.Read("tonara.log") == (bActif ? expected : "");
}

TEST(LogDeathTest, LinesBeforeTheSettingsAreKnownAreKept) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a fresh process
  EXPECT_EXIT(std::exit(TraceEarly(true) ? 0 : 1), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(std::exit(TraceEarly(false) ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST_F(Log, OffOrAFileThatCannotBeOpened) {
  LogSetFile(m_dir.Dir(), "tonara.log", false);
  EXPECT_FALSE(LogOpen());
  Trace(1, "x\n");
  EXPECT_FALSE(m_dir.Exists("tonara.log"));
  LogSetFile(m_dir.Dir(), "tonara.log", true);
  ASSERT_EQ(mkfifo((m_dir / "tonara.log").c_str(), 0600), 0);
  EXPECT_FALSE(LogOpen()) << "and without waiting for a reader";
}

TEST_F(Log, LinesOfManyThreadsStayWhole) {
  Open();
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([i] {
      for (int n = 0; n < 250; ++n) Trace(1, "thread %d line %d %s\n", i, n, std::string(200, 'x').c_str());
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::multiset<std::string> expected;
  for (int i = 0; i < 4 * 250; ++i) {
    expected.insert("03/04/26-05:06:07 : thread " + std::to_string(i / 250) + " line " + std::to_string(i % 250) + " " +
                    std::string(200, 'x'));
  }
  std::istringstream log(Text().substr(std::string(kBegin).size()));
  std::multiset<std::string> found;
  for (std::string line; std::getline(log, line);) found.insert(line);
  EXPECT_TRUE(found == expected);
}

TEST_F(Log, RepeatedFailuresAtGrowingIntervals) {
  Open();
  const size_t nBanner = Text().size();
  for (int i = 0; i < 150; ++i) TraceOnce("disk", "disk full");
  const std::string stamp = "03/04/26-05:06:07 : ";
  const std::string expected =
      stamp + "disk full\n" + stamp + "disk full (10 fois)\n" + stamp + "disk full (100 fois)\n";
  EXPECT_EQ(Text().substr(nBanner), expected);
  TraceOnceClear("disk");
  TraceOnce("disk", "100 %s full");
  EXPECT_EQ(Text().substr(nBanner), expected + stamp + "100 %s full\n");

  // A flood of other keys takes the places of the silent ones, not of the one that goes on.
  for (int i = 0; i < 1000; ++i) {
    TraceOnce("key" + std::to_string(i), "k");
    TraceOnce("disk", "still");
  }
  EXPECT_THAT(Text(), testing::HasSubstr("still (1000 fois)\n"));
}

TEST(Historique, OneLineForEachBroadcast) {
  const test::CTempDir dir;
  CHistorique history;
  history.SetClock(Clock());
  history.SetPath(dir.Dir());
  history.Add("%s (Message audio)\n", "/a.mp3");
  EXPECT_FALSE(dir.Exists("Historique.txt")) << "off at first";
  history.Enable(true);
  history.Add("<----- DEMARRAGE APPLICATION ----->\n");
  history.Add("%s (Message audio)\n", "/Messages/promo 100%s.mp3");
  const std::string stamp = "03/04/26 05:06:07 - ";
  const std::string two =
      stamp + "<----- DEMARRAGE APPLICATION ----->\n" + stamp + "/Messages/promo 100%s.mp3 (Message audio)\n";
  EXPECT_EQ(dir.Read("Historique.txt"), two);

  fs::rename(dir / "Historique.txt", dir / "kept.txt");
  history.Add("x\n");
  EXPECT_EQ(dir.Read("Historique.txt"), stamp + "x\n") << "made anew";

  fs::remove(dir / "Historique.txt");
  history.Add("%s\n", (std::string(1020, 'x') + "éé").c_str());
  EXPECT_EQ(dir.Read("Historique.txt"), stamp + std::string(1020, 'x') + "é\n");
}

TEST(Warning, OneTextAtATime) {
  CWarning warning;
  warning.SetText("a");
  EXPECT_TRUE(warning.Poll()) << "pending before there is a button";
  std::vector<std::string> said;
  std::function<void()> meanwhile = [] {};
  warning.SetButton({[&](bool bShown) { said.emplace_back(bShown ? "show" : "hide"); },
                     [&](const std::string& szText, const std::string& szCaption) {
                       said.push_back(szCaption + ":" + szText);
                       meanwhile();
                     }});
  warning.SetText("b");
  EXPECT_TRUE(warning.Poll());
  warning.Show();
  EXPECT_FALSE(warning.Poll());
  EXPECT_EQ(said, (std::vector<std::string>{"show", "ATTENTION:b", "hide"}));

  said.clear();
  warning.SetText("c");
  meanwhile = [&] { std::thread([&] { warning.SetText("d"); }).join(); };
  warning.Show();
  EXPECT_TRUE(warning.Poll()) << "what came while the box was up is still to be seen";
}

}  // namespace
}  // namespace tonara
