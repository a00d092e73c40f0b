#include "platform/wavedevice.h"

#include <atomic>
#include <cstdlib>
#include <mutex>

#include "platform/wavedevice_backends.h"

namespace tonara {
namespace {

constexpr size_t kNameBytes = 31;

std::atomic<WaveNotice> g_fnNotice{nullptr};
std::atomic<CWaveBackend*> g_pReplaced{nullptr};

CWaveBackend& EnvironmentBackend() {
  static const std::unique_ptr<CWaveBackend> pBackend = [] {
    const char* szChoice = std::getenv("TONARA_AUDIO");
    return MakeWaveBackend(szChoice == nullptr ? "" : szChoice);
  }();
  return *pBackend;
}

}  // namespace

void SetWaveNotice(WaveNotice fnNotice) {
  g_fnNotice.store(fnNotice, std::memory_order_release);
}

void NotifyWave(const std::string& szText) {
  const WaveNotice fnNotice = g_fnNotice.load(std::memory_order_acquire);
  if (fnNotice != nullptr) fnNotice(szText.c_str());
}

std::string CutDeviceName(std::string_view szName) {
  if (szName.size() > kNameBytes) {
    size_t nEnd = kNameBytes;
    while (nEnd > 0 && (static_cast<unsigned char>(szName[nEnd]) & 0xC0u) == 0x80u) --nEnd;
    szName = szName.substr(0, nEnd);
  }
  return std::string(szName);
}

std::unique_ptr<CWaveBackend> MakeWaveBackend(const std::string& szChoice) {
  constexpr std::string_view kFile = "file:";
  if (szChoice.starts_with(kFile)) return MakeFileBackend(szChoice.substr(kFile.size()));
  return MakeNullBackend();
}

CWaveBackend& WaveBackend() {
  CWaveBackend* pReplaced = g_pReplaced.load(std::memory_order_acquire);
  return pReplaced != nullptr ? *pReplaced : EnvironmentBackend();
}

void SetWaveBackend(CWaveBackend* pBackend) {
  g_pReplaced.store(pBackend, std::memory_order_release);
}

}  // namespace tonara
