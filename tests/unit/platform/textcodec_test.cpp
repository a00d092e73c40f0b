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
      {"", true},
      {"Évènement €", true},
      {"\xF0\x9F\x8E\xB5", true},
      {"\xC0\xAF", false},          // overlong '/'
      {"\xE0\x80\xAF", false},      // the same in three bytes
      {"\xED\xA0\x80", false},      // surrogate
      {"\xF4\x90\x80\x80", false},  // past U+10FFFF
      {"\xE9t\xE9", false},         // Windows-1252
      {"abc\xC3", false},           // cut
      {"\x80", false},
      {"a\0b"s, true},
  };
  for (const auto& c : cases) EXPECT_EQ(IsUtf8(c.bytes), c.bValid) << testing::PrintToString(c.bytes);
}

TEST(TextCodec, DecodesWhatOlderMachinesWrote) {
  EXPECT_EQ(DecodeText("\xEF\xBB\xBFété"), "été");
  EXPECT_EQ(DecodeText("\xE9t\xE9 \x80 \x9C\x81"), "été € œ\xC2\x81");
  EXPECT_EQ(DecodeText("\xFF\xFE\xE9\x00\x3D\xD8\xB5\xDF\x00\xDC\x41"s), "é\xF0\x9F\x9E\xB5\xEF\xBF\xBD");
  EXPECT_EQ(DecodeText("\xFE\xFF\x00\xE9"s), "é");
  EXPECT_EQ(ToUtf8("\xFF\xFE"), "ÿþ");
}

TEST(TextCodec, CutsOnCharacters) {
  EXPECT_EQ(CutUtf8("été", 10), "été");
  EXPECT_EQ(CutUtf8("été", 4), "ét");
  EXPECT_EQ(CutUtf8("é", 1), "");
  EXPECT_EQ(CutUtf8("a\xF0\x9F\x8E\xB5", 4), "a");
  EXPECT_EQ(CutUtf8("\x80\x80\x80\x80\x80\x80", 5), "\x80\x80\x80\x80\x80");  // no text at all: as it is
}

TEST(TextCodec, ComparesWithoutCase) {
  EXPECT_TRUE(EqualNoCase("Demo.MP3", "dEMO.mp3"));
  EXPECT_FALSE(EqualNoCase("é", "É"));  // ASCII only
  EXPECT_FALSE(EqualNoCase("a", "ab"));
  EXPECT_EQ(ToLowerAscii("Rule_1 É"), "rule_1 É");
}

}  // namespace
}  // namespace tonara
