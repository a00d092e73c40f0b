// The MPEG front end and the library behind it on arbitrary bytes: every frame found gives all of its
// PCM, the figures add up, and the file's duration can be asked at any time.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "audio/mpegfile.h"
#include "fuzz/memfile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
  using namespace tonara;
  static const fuzz::CMemFile file;
  if (nSize < 2 || !file.Set(pData + 2, nSize - 2)) return 0;
  const uint32_t dwBloc = 4 + pData[0] * (pData[1] % 4 == 0 ? 331U : 4U);
  CMpegFile media;
  PCMWAVEFORMAT format;
  // Twice: a loop goes on with the same decoder.
  for (int i = 0; i < 2; ++i) {
    if (!media.Open(file.Path(), 0, 0, &format) || format.nBlockAlign != 4) std::abort();
    std::vector<uint8_t> block(dwBloc);
    uint32_t dwGiven = 0;
    while (media.Read(block.data(), dwBloc, &dwGiven)) {
      if (dwGiven == 0 || dwGiven > dwBloc || dwGiven % 4 != 0) std::abort();
      uint32_t dwMs = 0;
      if (!media.GetDuree(&dwMs, &format)) std::abort();
    }
    media.Close();
  }
  const CMPGDecoder& decoder = media.Decoder();
  if (decoder.m_iSommeOctets > decoder.m_iLus || decoder.m_iLus > 2 * static_cast<int64_t>(nSize)) std::abort();
  return 0;
}
