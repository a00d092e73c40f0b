// The WAV reader on arbitrary bytes: opens with points, reads everything in odd blocks, asks for the
// duration. Whatever opens must have a format that the mixer can read.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "audio/wavefile.h"
#include "fuzz/memfile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
  using namespace tonara;
  static const fuzz::CMemFile file;
  if (nSize < 8 || !file.Set(pData + 8, nSize - 8)) return 0;
  // The first bytes choose the points and the block.
  const uint32_t dwIn = pData[0] * (pData[1] % 2 == 0 ? 1U : 1000003U);
  const uint32_t dwOut = pData[2] * (pData[3] % 2 == 0 ? 1U : 16000057U);
  const uint32_t dwBloc = 1 + pData[4] + 256U * pData[5];
  CWaveFile media;
  PCMWAVEFORMAT format;
  PCMWAVEFORMAT read;
  const bool bFormat = media.ReadFormat(file.Path(), &read);
  if (!media.Open(file.Path(), dwIn, dwOut, &format)) return 0;
  if (!bFormat || read != format || format.nBlockAlign != format.nChannels * format.wBitsPerSample / 8) std::abort();
  std::vector<uint8_t> block(dwBloc);
  uint64_t llTotal = 0;
  uint32_t dwGiven = 0;
  while (media.Read(block.data(), dwBloc, &dwGiven) && dwGiven > 0) {
    if (dwGiven > dwBloc || dwGiven % format.nBlockAlign != 0) std::abort();
    llTotal += dwGiven;
  }
  if (llTotal > nSize) std::abort();
  uint32_t dwMs = 0;
  if (!media.GetDuree(&dwMs, nullptr)) std::abort();
  return 0;
}
