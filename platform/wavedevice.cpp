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

int32_t CWaveBackend::FindOut(const std::string& szName) {
  const uint32_t nCount = OutCount();
  for (uint32_t n = 0; n < nCount; ++n) {
    std::string szListed;
    if (OutName(n, &szListed) && szListed == szName) return static_cast<int32_t>(n);
  }
  return -1;
}

int32_t CWaveBackend::FindIn(const std::string& szName) {
  const uint32_t nCount = InCount();
  for (uint32_t n = 0; n < nCount; ++n) {
    std::string szListed;
    if (InName(n, &szListed) && szListed == szName) return static_cast<int32_t>(n);
  }
  return -1;
}

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
  if (szChoice == "null") return MakeNullBackend();
  if (szChoice == "pulse") return MakePulseBackend();
  if (szChoice == "alsa") return MakeAlsaBackend();
  return MakeAutoBackend();
}

CWaveBackend& WaveBackend() {
  CWaveBackend* pReplaced = g_pReplaced.load(std::memory_order_acquire);
  return pReplaced != nullptr ? *pReplaced : EnvironmentBackend();
}

void SetWaveBackend(CWaveBackend* pBackend) {
  g_pReplaced.store(pBackend, std::memory_order_release);
}

}  // namespace tonara
