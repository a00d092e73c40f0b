#include "tests/support/mediafiles.h"

#include <cmath>
#include <cstdlib>
#include <numbers>

#include "tests/support/tempdir.h"

namespace tonara::test {
namespace {

std::string Le(uint64_t value, int nOctets) {
  std::string out;
  for (int i = 0; i < nOctets; ++i) out.push_back(static_cast<char>(value >> (8 * i) & 0xFF));
  return out;
}

std::string Be32(uint32_t value) {
  std::string out = Le(value, 4);
  return {out.rbegin(), out.rend()};
}

/// Numerical Recipes' generator: the same noise on every machine.
class CNoise {
 public:
  explicit CNoise(uint32_t dwSeed) : m_dwState(dwSeed) {}
  uint32_t Bits(int nBits) {
    m_dwState = m_dwState * 1664525U + 1013904223U;
    return m_dwState >> (32 - nBits);
  }

 private:
  uint32_t m_dwState;
};

class CBitWriter {
 public:
  void Put(uint32_t dwValue, int nBits) {
    for (int i = nBits - 1; i >= 0; --i) {
      if (m_nBits % 8 == 0) m_bytes.push_back('\0');
      if ((dwValue >> i & 1) != 0) m_bytes.back() = static_cast<char>(m_bytes.back() | 0x80 >> (m_nBits % 8));
      ++m_nBits;
    }
  }
  [[nodiscard]] size_t Bits() const { return m_nBits; }
  std::string Take() { return std::move(m_bytes); }

 private:
  std::string m_bytes;
  size_t m_nBits = 0;
};

std::string Sample(double dValue, uint16_t wBits) {
  if (wBits == 8) return Le(static_cast<uint64_t>(std::lround(dValue * 127.0) + 128), 1);
  return Le(static_cast<uint64_t>(std::llround(dValue * (std::pow(2.0, wBits - 1) - 1.0))), wBits / 8);
}

std::string Encode(const std::string& szCommand, uint32_t dwFreq, std::string_view pcm) {
  CTempDir dir;
  CWavShape shape;
  shape.dwFreq = dwFreq;
  dir.Write("in.wav", MakeWav(shape, pcm));
  const std::string line = "cd '" + dir.Dir() + "' && " + szCommand + " >/dev/null 2>&1 </dev/null";
  return std::system(line.c_str()) == 0 ? dir.Read("out") : std::string();
}

}  // namespace

std::string MakeChunk(std::string_view szId, std::string_view contents) {
  std::string chunk = std::string(szId) + Le(contents.size(), 4) + std::string(contents);
  if (contents.size() % 2 != 0) chunk.push_back('\0');
  return chunk;
}

std::string MakeWav(const CWavShape& shape, std::string_view pcm) {
  const int iBlockAlign = shape.iBlockAlign >= 0 ? shape.iBlockAlign : shape.wBits / 8 * shape.wChannels;
  const std::string fmt = Le(shape.wTag, 2) + Le(shape.wChannels, 2) + Le(shape.dwFreq, 4) +
                          Le(uint64_t{shape.dwFreq} * static_cast<uint64_t>(iBlockAlign), 4) +
                          Le(static_cast<uint64_t>(iBlockAlign), 2) + Le(shape.wBits, 2) + shape.fmtExtra;
  std::string data = MakeChunk("data", pcm);
  if (shape.llDataSize >= 0) data.replace(4, 4, Le(static_cast<uint64_t>(shape.llDataSize), 4));
  const std::string body = "WAVE" + shape.avantFmt + MakeChunk("fmt ", fmt) + shape.avantData + data + shape.apresData;
  const uint64_t llRiff = shape.llRiffSize >= 0 ? static_cast<uint64_t>(shape.llRiffSize) : body.size();
  return "RIFF" + Le(llRiff, 4) + body;
}

std::string MakeNoise(uint32_t dwFreq, uint16_t wChannels, uint16_t wBits, uint32_t dwMs, uint32_t dwSeed) {
  CNoise noise(dwSeed);
  const uint64_t nSamples = uint64_t{dwFreq} * dwMs / 1000 * wChannels;
  std::string pcm;
  for (uint64_t i = 0; i < nSamples; ++i) pcm += Sample(noise.Bits(16) / 65536.0 - 0.5, wBits);
  return pcm;
}

std::string MakeTone(uint32_t dwFreq, uint16_t wChannels, uint16_t wBits, uint32_t dwMs, double dHz) {
  const uint64_t nFrames = uint64_t{dwFreq} * dwMs / 1000;
  std::string pcm;
  for (uint64_t i = 0; i < nFrames; ++i) {
    const double dAngle = 2.0 * std::numbers::pi * dHz * static_cast<double>(i) / dwFreq;
    const std::string sample = Sample(0.5 * std::sin(dAngle), wBits);
    for (uint16_t c = 0; c < wChannels; ++c) pcm += sample;
  }
  return pcm;
}

std::string EncodeLame(const std::string& szOptions, uint32_t dwFreq, std::string_view pcm) {
  return Encode("lame --quiet " + szOptions + " in.wav out", dwFreq, pcm);
}

std::string EncodeMp2(const std::string& szOptions, uint32_t dwFreq, std::string_view pcm) {
  return Encode("ffmpeg -v error -i in.wav -c:a mp2 " + szOptions + " -f mp2 out", dwFreq, pcm);
}

std::string MakeLayer1(uint32_t dwHeader, int nFrames, uint32_t dwSeed) {
  // ISO/IEC 11172-3, 2.4.1.5: allocation of 4 bits for each of 32 subbands and channel, a scale factor
  // of 6 bits where it isn't 0, then 12 samples of each, interleaved by subband and channel. Eight
  // subbands of 5 bits (allocation 4) fit in every frame that is long enough for stereo at 32 kHz.
  constexpr int kSubbands = 32;
  constexpr int kActive = 8;
  constexpr uint32_t kAllocation = 4;
  constexpr int kRates[4] = {44100, 48000, 32000, 0};
  constexpr int kBitrates[2][16] = {
      {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448, 0},
      {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256, 0},
  };
  const bool bMpeg1 = (dwHeader >> 19 & 3) == 3;
  const bool bMpeg25 = (dwHeader >> 20 & 1) == 0;
  const int iRate = kRates[dwHeader >> 10 & 3] / (bMpeg25 ? 4 : bMpeg1 ? 1 : 2);
  const int iBitrate = kBitrates[bMpeg1 ? 0 : 1][dwHeader >> 12 & 15];
  const auto iPadding = static_cast<int>(dwHeader >> 9 & 1);
  const auto nFrame = static_cast<size_t>(iBitrate * 12000 / iRate + iPadding) * 4;
  const int iChannels = (dwHeader >> 6 & 3) == 3 ? 1 : 2;
  CNoise noise(dwSeed);
  std::string stream;
  for (int f = 0; f < nFrames; ++f) {
    CBitWriter bits;
    bits.Put(dwHeader, 32);
    if ((dwHeader >> 16 & 1) == 0) bits.Put(0, 16);
    for (int sb = 0; sb < kSubbands; ++sb) {
      for (int c = 0; c < iChannels; ++c) bits.Put(sb < kActive ? kAllocation : 0, 4);
    }
    for (int i = 0; i < kActive * iChannels; ++i) bits.Put(6 + noise.Bits(4), 6);
    for (int s = 0; s < 12 * kActive * iChannels; ++s) bits.Put(noise.Bits(5) % 31, 5);
    if (bits.Bits() > nFrame * 8) return {};
    std::string frame = bits.Take();
    frame.resize(nFrame, '\0');
    stream += frame;
  }
  return stream;
}

std::string MakeId3v2(size_t nPicture) {
  CNoise noise(7);
  std::string apic = std::string("\0image/jpeg\0\x03\0", 14) + "\xFF\xD8\xFF\xE0";
  for (size_t i = 0; i < nPicture; ++i) {
    apic.push_back(static_cast<char>(noise.Bits(8)));
    if (apic.back() == '\xFF') apic.push_back('\0');  // as in a JPEG's coded data
  }
  const std::string title = std::string("\0Essai", 6);
  const std::string frames = "TIT2" + Be32(static_cast<uint32_t>(title.size())) + std::string(2, '\0') + title +
                             "APIC" + Be32(static_cast<uint32_t>(apic.size())) + std::string(2, '\0') + apic +
                             std::string(256, '\0');
  std::string tag("ID3\x03\0\0", 6);
  for (int i = 3; i >= 0; --i) tag.push_back(static_cast<char>(frames.size() >> (7 * i) & 0x7F));
  return tag + frames;
}

std::string MakeId3v1() {
  std::string tag = "TAGEssai";
  tag.resize(128, '\0');
  return tag;
}

std::string MakeApeTag(size_t nValue) {
  const std::string item = Le(nValue, 4) + Le(0, 4) + "Title" + std::string(1, '\0') + std::string(nValue, 'x');
  const auto preamble = [&item](uint32_t dwFlags) {
    return "APETAGEX" + Le(2000, 4) + Le(item.size() + 32, 4) + Le(1, 4) + Le(dwFlags, 4) + Le(0, 8);
  };
  return preamble(0xA0000000U) + item + preamble(0x80000000U);
}

}  // namespace tonara::test
