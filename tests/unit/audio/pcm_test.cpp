#include "audio/pcm.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

namespace tonara {
namespace {

int32_t Ecrit(float fValeur, int iBits) {
  std::array<uint8_t, 4> octets{};
  EcrireEch(fValeur, iBits, octets.data());
  if (iBits == 8) return octets[0];
  if (iBits == 16) return static_cast<int16_t>(octets[0] | octets[1] << 8);
  return octets[0] | octets[1] << 8 | static_cast<int8_t>(octets[2]) * 65536;
}

TEST(Pcm, SamplesOutAtEachWidth) {
  constexpr struct {
    float fValeur;
    int iBits;
    int32_t nAttendu;
  } kTable[] = {
      {1.0F, 16, 32767},       {-1.0F, 16, -32768},   {0.0F, 16, -1},   {-0.0F, 16, -1},       {0.5F, 16, 16383},
      {-0.5F, 16, -16384},     {1e-15F, 16, 0},       {1e-30F, 16, -1}, {1.9F / 32768, 16, 0}, {-1e-6F, 16, 0},
      {-1.9F / 32768, 16, -1}, {1.0F, 8, 255},        {-1.0F, 8, 0},    {0.0F, 8, 127},        {0.5F, 8, 191},
      {1.0F, 24, 8388607},     {-1.0F, 24, -8388608}, {0.0F, 24, -1},   {0.25F, 24, 2097151},
  };
  for (const auto& cas : kTable)
    EXPECT_EQ(Ecrit(cas.fValeur, cas.iBits), cas.nAttendu) << cas.fValeur << " " << cas.iBits;
}

TEST(Pcm, SamplesIn) {
  for (int n = -32768; n <= 32767; ++n) {
    const std::array<uint8_t, 2> octets = {static_cast<uint8_t>(n), static_cast<uint8_t>(n >> 8)};
    ASSERT_EQ(LireEch(octets.data(), 16), static_cast<float>(n) / 32768.0F);
  }
  const std::array<uint8_t, 3> bas = {0x00, 0x00, 0x80};
  const std::array<uint8_t, 3> haut = {0xFF, 0xFF, 0x7F};
  EXPECT_EQ(LireEch(bas.data(), 24), -1.0F);
  EXPECT_EQ(LireEch(haut.data(), 24), 8388607.0F / 8388608.0F);
  EXPECT_EQ(LireEch(bas.data(), 8), -1.0F);
  EXPECT_EQ(LireEch(haut.data(), 8), 127.0F / 128.0F);
}

TEST(Pcm, LevelsAndBlocks) {
  EXPECT_FLOAT_EQ(DbToGain(-20.0F), 0.1F);
  EXPECT_FLOAT_EQ(DbToGain(-12.0F), 0.25118864F);
  EXPECT_FLOAT_EQ(GainToDb(std::exp(1.0F)), 10.0F);  // the natural logarithm
  EXPECT_TRUE(std::isinf(GainToDb(0.0F)));
  EXPECT_EQ(SeuilDb(24), -160.0F);
  EXPECT_EQ(TailleBloc(MakePcmFormat(44100, 2, 16), 50), 8820U);
  EXPECT_EQ(TailleBloc(MakePcmFormat(22050, 2, 16), 50), 4408U);  // 1102.5 frames: a block holds whole ones
  EXPECT_EQ(TailleBloc(PCMWAVEFORMAT{}, 50), 0U);
  EXPECT_EQ(OctetsToMs(PCMWAVEFORMAT{}, 100), 0.0);
}

}  // namespace
}  // namespace tonara
