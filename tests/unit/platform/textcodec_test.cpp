#include "platform/textcodec.h"

#include <gtest/gtest.h>

#include <string>

namespace tonara {
namespace {

using namespace std::string_literals;

TEST(TextCodec, TellsUtf8) {
  const struct {
    std::string bytes;
    bool bValid;
  } cases[] = {
      {"Évènement €", true},       {"\xC0\xAF", false},  // overlong '/'
      {"\xE0\x80\xAF", false},                           // the same in three bytes
      {"\xED\xA0\x80", false},                           // surrogate
      {"\xF4\x90\x80\x80", false},                       // past U+10FFFF
      {"\xE9t\xE9", false},                              // Windows-1252
      {"abc\xC3", false},                                // cut
  };
  for (const auto& c : cases) EXPECT_EQ(IsUtf8(c.bytes), c.bValid) << testing::PrintToString(c.bytes);
}

TEST(TextCodec, DecodesWhatOlderMachinesWrote) {
  EXPECT_EQ(DecodeText("\xEF\xBB\xBFété"), "été");
  EXPECT_EQ(DecodeText("\xE9t\xE9 \x80 \x9C\x81"), "été € œ\xC2\x81");
  EXPECT_EQ(DecodeText("\xFF\xFE\xE9\x00\x3D\xD8\xB5\xDF\x00\xDC\x41"s), "é\xF0\x9F\x9E\xB5\xEF\xBF\xBD");
  EXPECT_EQ(DecodeText("\xFE\xFF\x00\xE9"s), "é");
}

TEST(TextCodec, CutsOnCharacters) {
  EXPECT_EQ(CutUtf8("été", 4), "ét");
  EXPECT_EQ(CutUtf8("a\xF0\x9F\x8E\xB5", 4), "a");
  EXPECT_EQ(CutUtf8("\x80\x80\x80\x80\x80\x80", 5), "\x80\x80\x80\x80\x80");  // no text at all: as it is
}

}  // namespace
}  // namespace tonara
