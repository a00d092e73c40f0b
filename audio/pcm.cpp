#include "audio/pcm.h"

#include <cmath>

namespace tonara {

float DbToGain(float fDb) {
  return static_cast<float>(std::pow(10.0, static_cast<double>(fDb) / 20.0));
}

float GainToDb(float fGain) {
  return static_cast<float>(10.0 * std::log(static_cast<double>(fGain)));
}

float SeuilDb(int iBits) {
  switch (iBits) {
    case 8:
      return -60.0F;
    case 16:
      return -110.0F;
    case 24:
      return -160.0F;
    default:
      return -1000.0F;
  }
}

double MsToEch(const PCMWAVEFORMAT& format, double dMs) {
  return format.nSamplesPerSec * dMs / 1000.0;
}

double MsToOctets(const PCMWAVEFORMAT& format, double dMs) {
  return format.nSamplesPerSec * dMs * format.nBlockAlign / 1000.0;
}

double OctetsToMs(const PCMWAVEFORMAT& format, double dOctets) {
  const double dParSeconde = static_cast<double>(format.nBlockAlign) * format.nSamplesPerSec;
  return dParSeconde > 0.0 ? dOctets / dParSeconde * 1000.0 : 0.0;
}

uint32_t TailleBloc(const PCMWAVEFORMAT& format, uint32_t dwMs) {
  const double dOctets = MsToOctets(format, dwMs);
  if (format.nBlockAlign == 0 || dOctets >= 4294967296.0) return 0;
  const auto dwOctets = static_cast<uint32_t>(dOctets);
  return dwOctets - dwOctets % format.nBlockAlign;
}

float LireEch(const uint8_t* pOctets, int iBits) {
  switch (iBits) {
    case 8:
      return static_cast<float>(pOctets[0] - 128) / 128.0F;
    case 16:
      return static_cast<float>(static_cast<int16_t>(pOctets[0] | pOctets[1] << 8)) / 32768.0F;
    case 24: {
      const int32_t nVal = pOctets[0] | pOctets[1] << 8 | static_cast<int8_t>(pOctets[2]) * 65536;
      return static_cast<float>(nVal) / 8388608.0F;
    }
    default:
      return 0.0F;
  }
}

void EcrireEch(float fValeur, int iBits, uint8_t* pOctets) {
  if (iBits < 8 || iBits > 32) return;
  // Double, not float: a faint value above 0 gives 0, where s - 1 in float would round to -1.
  const double dEchelle = std::ldexp(static_cast<double>(fValeur), iBits - 1);
  auto nVal = static_cast<int64_t>(fValeur < 0.0F ? dEchelle : dEchelle - 1.0);
  if (iBits == 8) nVal += 128;
  for (int n = 0; n < iBits / 8; ++n) pOctets[n] = static_cast<uint8_t>(nVal >> (8 * n));
}

}  // namespace tonara
