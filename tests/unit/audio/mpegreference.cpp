#include "tests/unit/audio/mpegreference.h"

#include <mpg123.h>

#include <cstdint>
#include <memory>

#include "audio/mpgdecoder.h"

namespace tonara::test {
namespace {

struct CFerme {
  void operator()(mpg123_handle* p) const { mpg123_delete(p); }
};
using Mpg = std::unique_ptr<mpg123_handle, CFerme>;

Mpg OpenFeed(const std::string& stream, bool bInfoFrame) {
  CMPGDecoder::InitDecoder();
  Mpg mpg(mpg123_new(nullptr, nullptr));  // the fastest one, as ours: decoders differ by a bit or so
  mpg123_param2(mpg.get(), MPG123_REMOVE_FLAGS, MPG123_GAPLESS | MPG123_AUTO_RESAMPLE, 0.0);
  mpg123_param2(mpg.get(), MPG123_ADD_FLAGS, MPG123_QUIET | (bInfoFrame ? MPG123_IGNORE_INFOFRAME : 0), 0.0);
  const long* pRates = nullptr;
  size_t nRates = 0;
  mpg123_rates(&pRates, &nRates);
  mpg123_format_none(mpg.get());
  for (size_t i = 0; i < nRates; ++i) mpg123_format(mpg.get(), pRates[i], MPG123_STEREO, MPG123_ENC_SIGNED_16);
  mpg123_open_feed(mpg.get());
  mpg123_feed(mpg.get(), reinterpret_cast<const unsigned char*>(stream.data()), stream.size());
  return mpg;
}

std::string Head(unsigned long dwHeader) {
  std::string head;
  for (int iShift = 24; iShift >= 0; iShift -= 8) head.push_back(static_cast<char>(dwHeader >> iShift & 0xFF));
  return head;
}

}  // namespace

std::vector<std::string> SplitFrames(const std::string& stream) {
  std::vector<std::string> frames;
  const Mpg mpg = OpenFeed(stream, true);
  for (;;) {
    const int iState = mpg123_framebyframe_next(mpg.get());
    if (iState != MPG123_OK && iState != MPG123_NEW_FORMAT) return frames;
    unsigned long dwHeader = 0;
    unsigned char* pBody = nullptr;
    size_t nBody = 0;
    if (mpg123_framedata(mpg.get(), &dwHeader, &pBody, &nBody) != MPG123_OK) return frames;
    frames.push_back(Head(dwHeader) + std::string(reinterpret_cast<const char*>(pBody), nBody));
  }
}

std::string ReferencePcm(const std::string& stream, bool bInfoFrame) {
  std::string pcm;
  const Mpg mpg = OpenFeed(stream, bInfoFrame);
  for (;;) {
    off_t llNumber = 0;
    unsigned char* pAudio = nullptr;
    size_t nBytes = 0;
    const int iState = mpg123_decode_frame(mpg.get(), &llNumber, &pAudio, &nBytes);
    if (pAudio != nullptr) pcm.append(reinterpret_cast<const char*>(pAudio), nBytes);
    if (iState != MPG123_OK && iState != MPG123_NEW_FORMAT) return pcm;
  }
}

}  // namespace tonara::test
