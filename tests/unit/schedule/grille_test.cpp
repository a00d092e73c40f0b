// The rules' file: loading what the world has, saving whole, failing with everything kept. That any rules come back as
// they were is the fuzz target's.
#include "schedule/grille.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "tests/support/tempdir.h"

namespace tonara::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

std::vector<Rule> Charge(const CTempDir& dir) {
  CGrille grille;
  grille.Load(dir.Dir());
  return grille.Copie();
}

TEST(Grille, TheFileAsItIsWritten) {
  CTempDir dir;
  dir.Write("Regles.ini", "; à la main\n[Calendrier]\nJoursFeries=101,1225\n");
  CGrille grille;
  grille.Load(dir.Dir());
  EXPECT_THAT(grille.Copie(), IsEmpty()) << "no demonstration over a file that is there";
  Rule rule;
  rule.Path = "/Messages/Été";
  rule.Folder = true;
  rule.DirSelectMode = 1;
  rule.TimeFrequency = 4294967295U;
  rule.TimeBegin = 2599;
  rule.ValidityEnd = 20261231;
  rule.Description = " \"soldes\" ";
  grille.Remplace({rule});
  ASSERT_TRUE(grille.Save());
  std::string compact = dir.Read("Regles.ini");
  compact.erase(std::unique(compact.begin(), compact.end(), [](char a, char b) { return a == '\n' && b == '\n'; }),
                compact.end());
  EXPECT_EQ(compact,
            "[General]\nVersion=100\n"
            "[Rule_1]\nPath=/Messages/Été\nFolder=1\nDirSelectMode=1\nEnabled=1\nTimeMode=0\nTimeFrequency=4294967295\n"
            "TimeUnit=0\nTimeBegin=2599\nTimeEnd=2359\nTimeDaysMask=127\nValidityMode=0\nValidityBegin=0\n"
            "ValidityEnd=20261231\nDescription=\" \"soldes\" \"\n");
  EXPECT_THAT(Charge(dir), ElementsAre(rule));
}

TEST(Grille, LoadingAsTheWorldWritesIt) {
  CTempDir dir;
  // Windows-1252 and CR LF, keys missing, in another case, a value that is no number, a gap behind rule 2.
  dir.Write("REGLES.INI",
            "[rule_1]\r\npath = C:\\Messages\\\xC9t\xE9.mp3 \r\nENABLED=yes\r\nTimeBegin=830h\r\n"
            "[Rule_2]\r\nPath=x\r\nFolder=2\r\nDirSelectMode=2\r\nTimeFrequency=-1\r\n"
            "[Rule_4]\r\nPath=y\r\n");
  CGrille grille;
  grille.Load(dir.Dir());
  const std::vector<Rule> rules = grille.Copie();
  ASSERT_THAT(rules, SizeIs(2));
  EXPECT_EQ(rules[0].Path, "C:\\Messages\\Été.mp3");
  EXPECT_FALSE(rules[0].Enabled);
  EXPECT_EQ(rules[0].TimeBegin, 830U);
  EXPECT_EQ(rules[0].TimeEnd, 2359U);
  EXPECT_EQ(rules[0].TimeFrequency, 15U);
  EXPECT_TRUE(rules[1].Folder);
  EXPECT_EQ(rules[1].DirSelectMode, 1);
  ASSERT_TRUE(grille.Save());
  EXPECT_FALSE(dir.Exists("Regles.ini")) << "the file keeps the name it has";
  EXPECT_THAT(dir.Read("REGLES.INI"), HasSubstr("[Rule_1]\r\nPath=C:\\Messages\\Été.mp3\r\n"));
  EXPECT_THAT(dir.Read("REGLES.INI"), Not(HasSubstr("Rule_4")));
  EXPECT_EQ(Charge(dir), rules);
}

TEST(Grille, NothingReadable) {
  CTempDir dossier;
  std::filesystem::create_directory(dossier / "Regles.ini");
  CGrille grille;
  grille.Load(dossier.Dir());
  EXPECT_THAT(grille.Copie(), IsEmpty());
  grille.Remplace({Rule{.Path = "a", .Description = {}}});
  EXPECT_FALSE(grille.Save());
  EXPECT_THAT(grille.Copie(), SizeIs(1)) << "what can't be saved stays in force";
  EXPECT_TRUE(std::filesystem::is_directory(dossier / "Regles.ini"));

  CTempDir tuyau;
  ASSERT_EQ(mkfifo((tuyau / "Regles.ini").c_str(), 0644), 0);
  EXPECT_THAT(Charge(tuyau), IsEmpty());
}

// Too large to be rules: kept beside when the operator's new rules take its place.
TEST(Grille, AnUnreadableFileIsKeptBeside) {
  CTempDir dir;
  dir.Write("Regles.ini", "x");
  std::filesystem::resize_file(dir / "Regles.ini", uintmax_t{300} << 20);
  CGrille grille;
  grille.Load(dir.Dir());
  EXPECT_THAT(grille.Copie(), IsEmpty());
  grille.Remplace({Rule{.Path = "a", .Description = {}}});
  ASSERT_TRUE(grille.Save());
  EXPECT_EQ(std::filesystem::file_size(dir / "Regles.ini.bad"), uintmax_t{300} << 20);
  EXPECT_THAT(Charge(dir), SizeIs(1));
}

}  // namespace
}  // namespace tonara::test
