// Settings and rules are saved in a loop by a process that is killed at random instants: each time the
// files have to be whole, the old ones or the new ones, and what a save has reported done has to be there.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "core/appcfg.h"
#include "platform/profile.h"
#include "schedule/grille.h"
#include "tests/support/fakewave.h"
#include "tests/support/tempdir.h"

namespace tonara {
namespace {

constexpr int kKills = 250;
constexpr int kMaxMicroseconds = 25000;

/// Number of the last save that came back, in memory that outlives the process that is killed.
struct Progress {
  std::atomic<uint32_t> dwSettings{0};
  std::atomic<uint32_t> dwRules{0};
};

std::vector<Rule> RulesOf(uint32_t n) {
  // The length of the file goes up and down, so that a mixture of two would show.
  std::vector<Rule> rules(n % 2 == 0 ? 3 : 60);
  for (Rule& rule : rules) {
    rule.Path = "/Messages/promo.mp3";
    rule.Description = std::to_string(n);
  }
  return rules;
}

void SaveSettings(CAppcfg& cfg, uint32_t n) {
  cfg.NbBuffers = static_cast<int>(n);
  cfg.DureeMsgImage = n;
  cfg.Synthe.PctAlpha = static_cast<int>(n);
  cfg.Save();
}

[[noreturn]] void SaveForEver(CAppcfg& cfg, CGrille& rules, uint32_t n, Progress& progress) {
  for (;; ++n) {
    SaveSettings(cfg, n);
    progress.dwSettings = n;
    rules.Remplace(RulesOf(n));
    if (!rules.Save()) _exit(1);
    progress.dwRules = n;
  }
}

TEST(Durability, KilledWhileSaving) {
  const test::CTempDir dir;
  const test::CFakeWave wave;
  const std::string base = "; of the shop\n[General]\nActiverTraces=1\nUnknown = kept\n[Film]\nPath=/a.avi\n";
  dir.Write("tonara.ini", base);
  CAppcfg cfg;
  cfg.Load(dir.Dir());
  CGrille rules;
  rules.Load(dir.Dir());
  SaveSettings(cfg, 1);
  rules.Remplace(RulesOf(1));
  ASSERT_TRUE(rules.Save());
  const std::string first = dir.Read("tonara.ini");
  ASSERT_TRUE(first.starts_with(base.substr(0, base.find("[Film]"))));

  void* pShared = mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(pShared, MAP_FAILED);
  Progress& progress = *new (pShared) Progress;
  std::mt19937 random(2026);
  std::uniform_int_distribution<useconds_t> instants(0, kMaxMicroseconds);
  uint32_t n = 1;
  progress.dwSettings = n;
  progress.dwRules = n;
  for (int i = 0; i < kKills && !testing::Test::HasFailure(); ++i) {
    const pid_t pid = fork();
    if (pid == 0) SaveForEver(cfg, rules, n + 1, progress);
    ASSERT_GT(pid, 0);
    usleep(instants(random));
    kill(pid, SIGKILL);
    int nStatus = 0;
    waitpid(pid, &nStatus, 0);
    ASSERT_TRUE(WIFSIGNALED(nStatus)) << "it ended by itself";

    const auto nSettings = static_cast<uint32_t>(ReadProfileInt(dir / "tonara.ini", "Mix", "NbBuffers", 0));
    EXPECT_TRUE(nSettings == progress.dwSettings || nSettings == progress.dwSettings + 1) << nSettings;
    CProfile expected;
    expected.Parse(first);
    expected.SetInt("Mix", "NbBuffers", nSettings);
    expected.SetInt("Video", "DureeMsgImage", nSettings);
    expected.SetInt("Synthe", "PctAlpha", nSettings);
    EXPECT_EQ(dir.Read("tonara.ini"), expected.Bytes());

    CGrille read;
    read.Load(dir.Dir());
    const std::vector<Rule> found = read.Copie();
    ASSERT_FALSE(found.empty());
    const auto nRules = static_cast<uint32_t>(std::stoul(found[0].Description));
    EXPECT_TRUE(nRules == progress.dwRules || nRules == nSettings) << nRules;
    EXPECT_EQ(found, RulesOf(nRules));
    n = nSettings;
    progress.dwSettings = nSettings;
    progress.dwRules = nRules;
  }
  munmap(pShared, sizeof(Progress));
  EXPECT_GT(n, 100U) << "the kills came before there was anything to disturb";
  RecordProperty("saves", static_cast<int>(n));

  // What the kills left behind is taken up by the next save, not piled up.
  SaveSettings(cfg, n + 1);
  rules.Remplace(RulesOf(n + 1));
  EXPECT_TRUE(rules.Save());
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.Dir()), std::filesystem::directory_iterator{}), 2);
}

}  // namespace
}  // namespace tonara
