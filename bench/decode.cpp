// Reading and decoding by the sources: PCM seconds per second of CPU, and the cost of opening.
#include <benchmark/benchmark.h>
#include <mpg123.h>

#include <filesystem>
#include <string>
#include <vector>

#include "audio/mpegfile.h"
#include "audio/wavefile.h"
#include "tests/support/mediafiles.h"
#include "tests/support/tempdir.h"

namespace {

using namespace tonara;

constexpr uint32_t kMs = 20000;

/// The media of all benchmarks, made once.
struct CFiles {
  test::CTempDir dir;
  std::string pcm = test::MakeNoise(44100, 2, 16, kMs);
  std::string mp3 = test::EncodeLame("-b 192 -t", 44100, pcm);
  std::string szWav = dir.Write("a.wav", test::MakeWav({}, pcm));
  std::string szMp3 = dir.Write("a.mp3", mp3);
  std::string szTag = dir.Write("tag.mp3", test::MakeId3v2(2 << 20) + mp3);
  std::string szJunk = dir.Write("junk.mp3", std::string(2 << 20, 'j') + mp3);
  std::string szZeros = dir.Write("zeros.mp3", "");
  CFiles() { std::filesystem::resize_file(szZeros, 100U << 20); }
};

const CFiles& Files() {
  static const CFiles files;
  return files;
}

template <class MEDIA>
void ReadWhole(benchmark::State& state, const std::string& szPath) {
  std::vector<uint8_t> block(8820);
  for (auto _ : state) {
    MEDIA media;
    media.Open(szPath, 0, 0, nullptr);
    uint32_t dwGiven = 0;
    while (media.Read(block.data(), 8820, &dwGiven) && dwGiven > 0) benchmark::DoNotOptimize(block.data());
  }
  state.counters["x_realtime"] =
      benchmark::Counter(kMs / 1000.0 * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

void BM_ReadWav(benchmark::State& state) {
  ReadWhole<CWaveFile>(state, Files().szWav);
}
BENCHMARK(BM_ReadWav)->Unit(benchmark::kMillisecond);

void BM_ReadMpeg(benchmark::State& state) {
  ReadWhole<CMpegFile>(state, Files().szMp3);
}
BENCHMARK(BM_ReadMpeg)->Unit(benchmark::kMillisecond);

template <class MEDIA>
void OpenOnly(benchmark::State& state, const std::string& szPath) {
  PCMWAVEFORMAT format;
  for (auto _ : state) {
    MEDIA media;
    benchmark::DoNotOptimize(media.Open(szPath, 0, 0, &format));
  }
}

void BM_OpenWav(benchmark::State& state) {
  OpenOnly<CWaveFile>(state, Files().szWav);
}
BENCHMARK(BM_OpenWav)->Unit(benchmark::kMicrosecond);
void BM_OpenMpeg(benchmark::State& state) {
  OpenOnly<CMpegFile>(state, Files().szMp3);
}
BENCHMARK(BM_OpenMpeg)->Unit(benchmark::kMicrosecond);
void BM_OpenMpegBehindTagOf2MB(benchmark::State& state) {
  OpenOnly<CMpegFile>(state, Files().szTag);
}
BENCHMARK(BM_OpenMpegBehindTagOf2MB)->Unit(benchmark::kMicrosecond);
void BM_OpenMpegBehindJunkOf2MB(benchmark::State& state) {
  OpenOnly<CMpegFile>(state, Files().szJunk);
}
BENCHMARK(BM_OpenMpegBehindJunkOf2MB)->Unit(benchmark::kMicrosecond);
void BM_Open100MBOfZeros(benchmark::State& state) {
  OpenOnly<CMpegFile>(state, Files().szZeros);
}
BENCHMARK(BM_Open100MBOfZeros)->Unit(benchmark::kMillisecond);

/// The library alone, by decoder: what the choice of one costs.
void BM_Library(benchmark::State& state, const char* szDecoder) {
  CMPGDecoder::InitDecoder();
  const std::string& mp3 = Files().mp3;
  std::string used;
  for (auto _ : state) {
    mpg123_handle* mpg = mpg123_new(szDecoder, nullptr);
    if (mpg == nullptr) {
      state.SkipWithError("no such decoder");
      return;
    }
    mpg123_param2(mpg, MPG123_ADD_FLAGS, MPG123_QUIET, 0.0);
    mpg123_open_feed(mpg);
    mpg123_feed(mpg, reinterpret_cast<const unsigned char*>(mp3.data()), mp3.size());
    int iState = MPG123_OK;
    while (iState == MPG123_OK || iState == MPG123_NEW_FORMAT) {
      off_t llNumber = 0;
      unsigned char* pAudio = nullptr;
      size_t nBytes = 0;
      iState = mpg123_decode_frame(mpg, &llNumber, &pAudio, &nBytes);
      benchmark::DoNotOptimize(pAudio);
    }
    used = mpg123_current_decoder(mpg);
    mpg123_delete(mpg);
  }
  state.SetLabel(used);
  state.counters["x_realtime"] =
      benchmark::Counter(kMs / 1000.0 * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK_CAPTURE(BM_Library, default_decoder, nullptr)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Library, generic, "generic")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Library, generic_dither, "generic_dither")->Unit(benchmark::kMillisecond);

}  // namespace
