// Decodes one sound file as the mixer would and prints its format, duration, frames and peak. With a
// second argument the PCM is kept there, without a header.
//   playpcm FILE [OUT.pcm]
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include "audio/media.h"
#include "audio/mpegfile.h"
#include "audio/pcm.h"
#include "audio/perfcounter.h"

using namespace tonara;

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: playpcm FILE [OUT.pcm]\n");
    return 2;
  }
  const std::string path = argv[1];
  const int iType = GetTypeMedia(path);
  if (iType == kMediaRam) {
    std::fprintf(stderr, "%s is no file\n", argv[1]);
    return 2;
  }
  CPerfCounter counter;
  counter.Start();
  const std::unique_ptr<CMedia> pMedia = CreeMedia(iType);
  PCMWAVEFORMAT format;
  if (!pMedia->Open(path, 0, 0, &format)) {
    std::printf("%s: can't be opened\n", argv[1]);
    return 1;
  }
  const double dOpen = counter.GetMs();
  uint32_t dwDuree = 0;
  const bool bDuree = pMedia->GetDuree(&dwDuree, &format);
  std::printf("format     %s, %u Hz, %u channels, %u bits\n", iType == kMediaWave ? "WAV" : "MPEG",
              format.nSamplesPerSec, format.nChannels, format.wBitsPerSample);
  std::printf("duration   %s%.3f s at opening\n", bDuree ? "" : "unknown, ", dwDuree / 1000.0);

  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> out(argc > 2 ? std::fopen(argv[2], "wb") : nullptr,
                                                            &std::fclose);
  if (argc > 2 && !out) std::perror(argv[2]);
  const uint32_t dwBloc = TailleBloc(format, 50);
  std::vector<uint8_t> block(dwBloc);
  const int iOctets = format.wBitsPerSample / 8;
  uint64_t llTotal = 0;
  float fPeak = 0.0F;
  uint32_t dwGiven = 0;
  while (pMedia->Read(block.data(), dwBloc, &dwGiven) && dwGiven > 0) {
    for (uint32_t i = 0; i < dwGiven; i += static_cast<uint32_t>(iOctets)) {
      fPeak = std::max(fPeak, std::fabs(LireEch(block.data() + i, format.wBitsPerSample)));
    }
    if (out) std::fwrite(block.data(), 1, dwGiven, out.get());
    llTotal += dwGiven;
  }
  const uint64_t llFrames = llTotal / format.nBlockAlign;
  std::printf("frames     %llu, %.3f s\n", static_cast<unsigned long long>(llFrames),
              static_cast<double>(llFrames) / format.nSamplesPerSec);
  std::printf("peak       %.4f (%.1f dB)\n", static_cast<double>(fPeak), 20.0 * std::log10(static_cast<double>(fPeak)));
  if (const auto* pMpeg = dynamic_cast<const CMpegFile*>(pMedia.get())) {
    const CMPGDecoder& decoder = pMpeg->Decoder();
    std::printf("MPEG       layer %d, %lld frames, last of %d kbit/s, mean %lld bytes, %lld bytes read\n",
                decoder.GetHeader().iLayer, static_cast<long long>(decoder.m_iFrames), decoder.m_iBitrate,
                static_cast<long long>(decoder.m_iFrames > 0 ? decoder.m_iSommeOctets / decoder.m_iFrames : 0),
                static_cast<long long>(decoder.m_iLus));
  }
  std::printf("time       %.1f ms, %.1f of them for opening\n", counter.GetMs(), dOpen);
  return 0;
}
