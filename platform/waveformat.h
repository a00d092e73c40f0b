// The 16-byte description of a PCM stream, and the conversions between milliseconds, frames and
// bytes that go with it. All arithmetic in double precision, truncated toward zero.
#pragma once

#include <cstdint>

namespace tonara {

struct PCMWAVEFORMAT {
  uint16_t wFormatTag = 0;
  uint16_t nChannels = 0;
  uint32_t nSamplesPerSec = 0;
  uint32_t nAvgBytesPerSec = 0;
  uint16_t nBlockAlign = 0;
  uint16_t wBitsPerSample = 0;

  bool operator==(const PCMWAVEFORMAT&) const = default;
};
static_assert(sizeof(PCMWAVEFORMAT) == 16);

/// A PCM format (tag 1) with the derived fields filled in.
constexpr PCMWAVEFORMAT MakePcmFormat(uint32_t dwFreq, uint16_t wChannels, uint16_t wBits) {
  PCMWAVEFORMAT f;
  f.wFormatTag = 1;
  f.nChannels = wChannels;
  f.nSamplesPerSec = dwFreq;
  f.wBitsPerSample = wBits;
  f.nBlockAlign = static_cast<uint16_t>(wBits / 8 * wChannels);
  f.nAvgBytesPerSec = f.nBlockAlign * dwFreq;
  return f;
}

}  // namespace tonara
