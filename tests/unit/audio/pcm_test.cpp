#include "audio/pcm.h"

#include <gtest/gtest.h>

#include <array>

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
      {1.0F, 16, 32767}, {-1.0F, 16, -32768}, {0.0F, 16, -1},      {-0.5F, 16, -16384},  {1.9F / 32768, 16, 0},
      {1.0F, 8, 255},    {-1.0F, 8, 0},       {1.0F, 24, 8388607}, {0.25F, 24, 2097151},
  };
  for (const auto& cas : kTable)
    EXPECT_EQ(Ecrit(cas.fValeur, cas.iBits), cas.nAttendu) << cas.fValeur << " " << cas.iBits;
}

TEST(Pcm, SamplesIn) {
  const std::array<uint8_t, 3> octets = {0x00, 0x01, 0x80};
  EXPECT_EQ(LireEch(octets.data(), 8), -1.0F);
  EXPECT_EQ(LireEch(octets.data(), 16), 256.0F / 32768.0F);
  EXPECT_EQ(LireEch(octets.data(), 24), -1.0F + 256.0F / 8388608.0F);
}

}  // namespace
}  // namespace tonara
