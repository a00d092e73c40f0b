// The backend "null": real time, silence.
#include "platform/wavedevice_backends.h"
#include "platform/wavedevice_paced.h"

namespace tonara {
namespace {

class CNullBackend final : public CSinglePairBackend {
 public:
  CNullBackend() : CSinglePairBackend("Null") {}
  [[nodiscard]] const char* Name() const override { return "null"; }

  std::unique_ptr<CWaveOutDevice> OpenOut(uint32_t nIndex, const PCMWAVEFORMAT& format, bool /*bExtensible*/,
                                          WaveCallback fnDone, std::string* pError) override {
    if (!Accepts(nIndex, format, pError)) return nullptr;
    return std::make_unique<CPacedOut>("null-out", format, fnDone, nullptr);
  }
  std::unique_ptr<CWaveInDevice> OpenIn(uint32_t nIndex, const PCMWAVEFORMAT& format, bool /*bExtensible*/,
                                        WaveCallback fnDone, std::string* pError) override {
    if (!Accepts(nIndex, format, pError)) return nullptr;
    return std::make_unique<CPacedIn>("null-in", format, fnDone, nullptr);
  }
};

}  // namespace

std::unique_ptr<CWaveBackend> MakeNullBackend() {
  return std::make_unique<CNullBackend>();
}

}  // namespace tonara
