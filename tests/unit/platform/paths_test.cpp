#include "platform/paths.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "tests/support/tempdir.h"

namespace tonara {
namespace {

TEST(Paths, FindTheSpellingOfTheDisk) {
  const test::CTempDir dir;
  dir.Write("Demo/tonara.mp3", "x");
  dir.Write("demo/only here.wav", "x");
  dir.Write("Two/A.mp3", "x");
  dir.Write("Two/a.MP3", "x");
  dir.Write("odd\\name.mp3", "x");
  const std::string& d = dir.Dir();

  EXPECT_EQ(ResolvePath(d + "Demo/tonara.mp3"), d + "Demo/tonara.mp3");
  EXPECT_EQ(ResolvePath(d + "Demo\\TONARA.MP3"), d + "Demo/tonara.mp3");
  EXPECT_EQ(ResolvePath(d + "DEMO/Only Here.wav"), d + "demo/only here.wav") << "both folders are searched";
  EXPECT_EQ(ResolvePath(d + "Demo/only here.wav"), d + "demo/only here.wav") << "the exact folder lacks it";
  EXPECT_EQ(ResolvePath(d + "two/a.mp3"), d + "Two/A.mp3") << "first in byte order";
  EXPECT_EQ(ResolvePath(d + "Two/a.MP3"), d + "Two/a.MP3") << "the exact spelling first";
  EXPECT_EQ(ResolvePath(d + "odd\\name.mp3"), d + "odd\\name.mp3") << "a backslash may be part of a name";
  EXPECT_EQ(ResolvePath(d + "DEMO\\"), d + "Demo/");
  EXPECT_EQ(ResolvePath(d + "Demo\\missing.mp3"), d + "Demo\\missing.mp3");
  EXPECT_EQ(ResolvePath(""), "");

  EXPECT_TRUE(PathExists(d + "demo\\tonara.mp3"));
  EXPECT_FALSE(PathExists(d + "demo\\tonara.mp3\\x"));
  EXPECT_TRUE(IsFolder(d + "TWO\\"));
  EXPECT_FALSE(IsFolder(d + "Demo/tonara.mp3"));
  EXPECT_FALSE(PathExists(""));
}

TEST(Paths, FindNamesThatAreNotUtf8) {
  const test::CTempDir dir;
  dir.Write("\xC9t\xE9.mp3", "x");
  EXPECT_EQ(ResolvePath(dir / "\xC9t\xE9.mp3"), dir / "\xC9t\xE9.mp3");
  EXPECT_EQ(ResolvePath(dir / "Été.MP3"), dir / "\xC9t\xE9.mp3") << "as the profile's text gives it";
}

TEST(Paths, RelativeOnesFollowTheCurrentFolder) {
  const test::CTempDir dir;
  dir.Write("Demo/x.png", "x");
  const std::filesystem::path old = std::filesystem::current_path();
  std::filesystem::current_path(dir.Dir());
  EXPECT_EQ(ResolvePath("demo\\X.PNG"), "Demo/x.png");
  EXPECT_EQ(CurrentDirWithSlash(), std::filesystem::canonical(dir.Dir()).string() + "/");
  std::filesystem::remove_all(dir.Dir());
  EXPECT_EQ(CurrentDirWithSlash(), "./") << "the folder has been removed under us";
  std::filesystem::current_path(old);
}

TEST(Paths, Parts) {
  const struct {
    const char* path;
    const char* name;
    const char* title;
    const char* extension;
  } cases[] = {
      {"/a/b/c.mp3", "c.mp3", "c", ".mp3"},
      {"C:\\a\\c.tar.gz", "c.tar.gz", "c.tar", ".gz"},
      {"a.b/c", "c", "c", ""},
      {".mp3", ".mp3", "", ".mp3"},
      {"/a/b.", "b.", "b", "."},
      {"", "", "", ""},
      {"/a.b\\", "", "", ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(FileNameOf(c.path), c.name) << c.path;
    EXPECT_EQ(TitleOf(c.path), c.title) << c.path;
    EXPECT_EQ(ExtensionOf(c.path), c.extension) << c.path;
  }
}

}  // namespace
}  // namespace tonara
