#include "platform/profile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/tempdir.h"

namespace tonara {
namespace {

using namespace std::string_literals;

CProfile Parsed(std::string_view bytes) {
  CProfile profile;
  profile.Parse(bytes);
  return profile;
}

TEST(Profile, ReadsValues) {
  const CProfile p = Parsed(
      "stray=0\n"
      " [ Mix ] ; of the shop\r\n"
      "; NbBuffers=1\n"
      "# NbBuffers=2\n"
      "  NbBuffers\t=  12ms \r\n"
      "nbbuffers=99\n"
      "DeviceOut = \" Carte son \"\n"
      "Single='x\"'\n"
      "Half=\"x\n"
      "Escape=a\\nb;c#d=e\n"
      "NoEquals\n"
      "Nul=a\0b\n"
      "[Other\n"
      "Key=in Mix still\n"
      "[MIX]\n"
      "Late=1\n"
      "[Last]\n"
      "End=\xE9t\xE9\r"s);
  const struct {
    const char* section;
    const char* key;
    const char* value;
  } cases[] = {
      {"mIX", "NBBUFFERS", "12ms"},
      {"Mix", "DeviceOut", " Carte son "},
      {"Mix", "Single", "x\""},
      {"Mix", "Half", "\"x"},
      {"Mix", "Escape", "a\\nb;c#d=e"},
      {"Mix", "NoEquals", "?"},
      {"Mix", "Nul", "ab"},
      {"Mix", "Key", "in Mix still"},
      {"Mix", "Late", "?"},
      {"Other", "Key", "?"},
      {"", "stray", "?"},
      {"Last", "End", "été"},
  };
  for (const auto& c : cases) EXPECT_EQ(p.GetString(c.section, c.key, "?"), c.value) << c.section << " " << c.key;
}

TEST(Profile, ReadsNumbers) {
  const struct {
    const char* value;
    int32_t n;
    uint32_t u;
  } cases[] = {
      {"-12.5", -12, 0},
      {"+3x", 3, 3},
      {"abc", 0, 0},
      {"4294967295", INT32_MAX, UINT32_MAX},
      {"99999999999999999999999", INT32_MAX, UINT32_MAX},
      {"-99999999999999999999999", INT32_MIN, 0},
      {"\" 42 \"", 42, 42},
  };
  for (const auto& c : cases) {
    const CProfile p = Parsed("[S]\nK="s + c.value);
    EXPECT_EQ(p.GetInt("S", "K", 77), c.n) << c.value;
    EXPECT_EQ(p.GetUInt("S", "K", 77), c.u) << c.value;
  }
  EXPECT_EQ(Parsed("[S]\n").GetInt("S", "K", -77), -77);
}

TEST(Profile, ChangesOnlyTheLineItMust) {
  const struct {
    const char* before;
    const char* section;
    const char* key;
    const char* value;
    const char* after;
  } cases[] = {
      // In place: the key's own spelling and blanks stay, so does the line's end.
      {"[a]\r\n Key =  1\r\nb=2\n", "A", "KEY", "3", "[a]\r\n Key =  3\r\nb=2\n"},
      {"[a]\nk=1\nk=2\n", "a", "k", "3", "[a]\nk=3\nk=2\n"},
      {"[a]\nk=1", "a", "k", "22", "[a]\nk=22"},
      // A line that says it already isn't touched.
      {"[a]\nk = \"1\" \n", "a", "k", "1", "[a]\nk = \"1\" \n"},
      // Behind the last key of the first section of that name.
      {"[a]\nk=1\n\n; of b\n[b]\nx=1\n[A]\n", "a", "n", "2", "[a]\nk=1\nn=2\n\n; of b\n[b]\nx=1\n[A]\n"},
      {"[a]\n; empty\n\n[b]\n", "a", "n", "2", "[a]\n; empty\nn=2\n\n[b]\n"},
      {"[a]\r\nk=1", "a", "n", "2", "[a]\r\nk=1\r\nn=2\r\n"},
      // A new section.
      {"\xEF\xBB\xBF", "a", "k", "1", "\xEF\xBB\xBF[a]\nk=1\n"},
      {"junk\r\n[b]\r\nx=1", "a", "k", "1", "junk\r\n[b]\r\nx=1\r\n\r\n[a]\r\nk=1\r\n"},
      // Values that need quotes, and what can't be in one.
      {"[a]\n", "a", "k", " x ", "[a]\nk=\" x \"\n"},
      {"[a]\n", "a", "k", "\"x\"", "[a]\nk=\"\"x\"\"\n"},
      {"[a]\n", "a", "k", "x\r\n[b]\ny=1", "[a]\nk=x[b]y=1\n"},
      // Names that no line can hold.
      {"[a]\n", "a", "k=x", "1", "[a]\n"},
      {"[a]\n", "a]b", "k", "1", "[a]\n"},
      // Windows-1252: bytes stay while all that is new is ASCII, else the whole file is turned over once.
      {"[a]\nk=\xE9\n", "a", "n", "1", "[a]\nk=\xE9\nn=1\n"},
      {"[a]\nk=\xE9\n", "a", "n", "é", "[a]\nk=é\nn=é\n"},
      // Of a line in Windows-1252 no part is taken for UTF-8, even if it could be.
      {"[a]\n\xE9=\xC3\xA9\n", "a", "n", "é", "[a]\né=Ã©\nn=é\n"},
      {"[a]\n", "a", "k", "\xE9", "[a]\nk=é\n"},
  };
  for (const auto& c : cases) {
    CProfile p = Parsed(c.before);
    EXPECT_EQ(p.Bytes(), c.before);
    p.SetString(c.section, c.key, c.value);
    EXPECT_EQ(p.Bytes(), c.after) << testing::PrintToString(c.before);
  }
}

TEST(Profile, TakesUtf16OverAsUtf8) {
  CProfile p = Parsed("\xFF\xFE[\0a\0]\0\n\0k\0=\0\xE9\0"s);
  EXPECT_EQ(p.GetString("a", "k"), "é");
  EXPECT_EQ(p.Bytes(), "[a]\nk=é");
}

TEST(Profile, Files) {
  const test::CTempDir dir;
  const std::string path = dir / "x.ini";
  bool bPresent = true;
  CProfile p;
  EXPECT_FALSE(p.Load(path, &bPresent));
  EXPECT_FALSE(bPresent);
  EXPECT_FALSE(p.Load(dir.Dir(), &bPresent));
  EXPECT_TRUE(bPresent);

  EXPECT_TRUE(WriteProfileString(path, "Film", "Path", "a.avi"));
  EXPECT_EQ(ReadProfileString(path, "film", "path", "?"), "a.avi");

  // Nothing new, nothing written: the file on the disk stays the same one.
  struct stat before {};
  struct stat after {};
  ASSERT_EQ(stat(path.c_str(), &before), 0);
  EXPECT_TRUE(WriteProfileString(path, "FILM", "path", "a.avi"));
  ASSERT_EQ(stat(path.c_str(), &after), 0);
  EXPECT_EQ(before.st_ino, after.st_ino);

  // What can't be read isn't overwritten either.
  const std::string huge = "[a]\nk=1\n" + std::string(size_t{5} << 20, ';');
  dir.Write("huge.ini", huge);
  std::string error;
  EXPECT_FALSE(WriteProfileString(dir / "huge.ini", "a", "k", "2", &error));
  EXPECT_FALSE(error.empty());
  EXPECT_EQ(dir.Read("huge.ini"), huge);
}

}  // namespace
}  // namespace tonara
