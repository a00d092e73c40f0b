#include "platform/paths.h"

#include <gtest/gtest.h>

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

  const struct {
    const char* asked;
    const char* found;
  } cases[] = {
      {"Demo\\TONARA.MP3", "Demo/tonara.mp3"},
      {"DEMO/Only Here.wav", "demo/only here.wav"},  // both folders are searched
      {"two/a.mp3", "Two/A.mp3"},                    // first in byte order
      {"Two/a.MP3", "Two/a.MP3"},                    // the exact spelling first
      {"odd\\name.mp3", "odd\\name.mp3"},            // a backslash may be part of a name
      {"Demo\\missing.mp3", "Demo\\missing.mp3"},
  };
  for (const auto& c : cases) EXPECT_EQ(ResolvePath(d + c.asked), d + c.found);
  EXPECT_TRUE(PathExists(d + "demo\\tonara.mp3"));
  EXPECT_FALSE(PathExists(d + "demo\\tonara.mp3\\x"));
  EXPECT_FALSE(PathExists(""));
  EXPECT_TRUE(IsFolder(d + "TWO\\"));
}

TEST(Paths, FindNamesThatAreNotUtf8) {
  const test::CTempDir dir;
  dir.Write("\xC9t\xE9.mp3", "x");
  EXPECT_EQ(ResolvePath(dir / "\xC9t\xE9.mp3"), dir / "\xC9t\xE9.mp3");
  EXPECT_EQ(ResolvePath(dir / "Été.MP3"), dir / "\xC9t\xE9.mp3") << "as the profile's text gives it";
}

TEST(Paths, Parts) {
  const struct {
    const char* path;
    const char* name;
    const char* title;
    const char* extension;
  } cases[] = {
      {"C:\\a\\c.tar.gz", "c.tar.gz", "c.tar", ".gz"},
      {"a.b/c", "c", "c", ""},
      {".mp3", ".mp3", "", ".mp3"},
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
