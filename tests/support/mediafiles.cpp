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
