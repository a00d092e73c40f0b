#include "core/formats.h"

#include <gtest/gtest.h>

#include "core/mediatype.h"

namespace tonara {
namespace {

TEST(Formats, DurationsAndPositions) {
  EXPECT_EQ(FormatDuree(0), "");
  EXPECT_EQ(FormatDuree(60), "1 mn ");
  EXPECT_EQ(FormatDuree(3661), "1 h 1 mn 1 s");
  EXPECT_EQ(FormatDuree(UINT32_MAX), "1193046 h 28 mn 15 s");
  EXPECT_EQ(FormatTemps(3723456, 0), "01:02:03");
  EXPECT_EQ(FormatTemps(UINT32_MAX, 1), "1193:02:47.2");
}

TEST(MediaType, ByExtension) {
  const struct {
    const char* path;
    int nKind;
  } cases[] = {
      {"/a/b.MP3", 1}, {"x.jpg.wmv", 2}, {"C:\\a.jpeg", 3}, {"a.Png", 3}, {"a.ogg", 0}, {"a.mp3/b", 0},
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
