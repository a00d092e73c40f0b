#include "core/formats.h"

#include <gtest/gtest.h>

#include "core/mediatype.h"

namespace tonara {
namespace {

TEST(Formats, Durations) {
  EXPECT_EQ(FormatDuree(0), "");
  EXPECT_EQ(FormatDuree(59), "59 s");
  EXPECT_EQ(FormatDuree(60), "1 mn ");
  EXPECT_EQ(FormatDuree(3600), "1 h ");
  EXPECT_EQ(FormatDuree(3661), "1 h 1 mn 1 s");
  EXPECT_EQ(FormatDuree(UINT32_MAX), "1193046 h 28 mn 15 s");
}

TEST(Formats, Positions) {
  EXPECT_EQ(FormatTemps(3723456, 1), "01:02:03.4");
  EXPECT_EQ(FormatTemps(3723456, 0), "01:02:03");
  EXPECT_EQ(FormatTemps(3723456, 2), "01:02:03");
  EXPECT_EQ(FormatTemps(0, 1), "00:00:00.0");
  EXPECT_EQ(FormatTemps(UINT32_MAX, 1), "1193:02:47.2");
}

TEST(MediaType, ByExtension) {
  const struct {
    const char* path;
    int nKind;
  } cases[] = {
      {"/a/b.MP3", 1}, {"a.mp2", 1},      {"a.wav", 1}, {"x.jpg.wmv", 2}, {"a.m2ts", 2}, {"a.3gp", 2},
      {"a.ts", 2},     {"C:\\a.jpeg", 3}, {"a.Png", 3}, {"a.bmp", 3},     {"a.ogg", 0},  {"mp3", 0},
      {"a.mp3/b", 0},  {"a.mp3 ", 0},     {".mp3", 1},  {"", 0},
  };
  for (const auto& c : cases) {
    bool bOut = c.nKind <= 1;  // each must be set, but for the unknown kind
    EXPECT_EQ(GetMediaType(c.path, &bOut), c.nKind) << c.path;
    EXPECT_EQ(bOut, c.nKind == 0 || c.nKind >= 2) << c.path;
    bool bVideo = c.nKind != 2;
    EXPECT_EQ(IsVisualMedia(c.path, &bVideo), c.nKind >= 2) << c.path;
    EXPECT_EQ(bVideo, c.nKind == 2) << c.path;
  }
}

}  // namespace
}  // namespace tonara
