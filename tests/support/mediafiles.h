// Sound files for tests, made on the spot: WAV of any shape, right or wrong, and MPEG audio by the
// encoders `lame` and `ffmpeg`.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tonara::test {

/// Shape of a WAV file. What is left at -1 is as it should be.
struct CWavShape {
  uint32_t dwFreq = 44100;
  uint16_t wChannels = 2;
  uint16_t wBits = 16;
  uint16_t wTag = 1;
  int iBlockAlign = -1;
  std::string fmtExtra{};   ///< behind the 16 bytes of "fmt "
  std::string avantFmt{};   ///< whole chunks in front of "fmt "
  std::string avantData{};  ///< whole chunks between "fmt " and "data"
  std::string apresData{};  ///< behind the data
  int64_t llRiffSize = -1;
  int64_t llDataSize = -1;
};

/// One RIFF chunk with its padding.
std::string MakeChunk(std::string_view szId, std::string_view contents);
std::string MakeWav(const CWavShape& shape, std::string_view pcm);
/// Pseudo-random PCM, the same for the same seed: whole frames of that many ms.
std::string MakeNoise(uint32_t dwFreq, uint16_t wChannels, uint16_t wBits, uint32_t dwMs, uint32_t dwSeed = 1);
/// A sine on every channel, at half scale.
std::string MakeTone(uint32_t dwFreq, uint16_t wChannels, uint16_t wBits, uint32_t dwMs, double dHz = 440.0);

/// MPEG-1, 2 or 2.5 Layer III of 16-bit stereo PCM, by `lame` with these options ("-b 128 -m j"). Empty
/// on failure.
std::string EncodeLame(const std::string& szOptions, uint32_t dwFreq, std::string_view pcm);
/// MPEG-1 or 2 Layer II, by `ffmpeg` with these options ("-b:a 192k -ac 1 -ar 22050").
std::string EncodeMp2(const std::string& szOptions, uint32_t dwFreq, std::string_view pcm);
/// Tags as players write them.
std::string MakeId3v2(size_t nPicture);
std::string MakeId3v1();
std::string MakeApeTag(size_t nValue = 64);

}  // namespace tonara::test
