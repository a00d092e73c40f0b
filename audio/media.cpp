#include "audio/media.h"

#include <cstring>
#include <string_view>

#include "audio/mpegfile.h"
#include "audio/ramaudio.h"
#include "audio/wavefile.h"
#include "audio/waveram.h"
#include "platform/paths.h"

namespace tonara {
namespace {

constexpr std::string_view kRamPrefix("@\0\0\0", 4);

bool EqualsNoCase(std::string_view a, std::string_view szLower) {
  if (a.size() != szLower.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    const char c = a[i] >= 'A' && a[i] <= 'Z' ? static_cast<char>(a[i] - 'A' + 'a') : a[i];
    if (c != szLower[i]) return false;
  }
  return true;
}

}  // namespace

std::string MakeRamPath(CRAMAudio* pRam) {
  const auto address = reinterpret_cast<uintptr_t>(pRam);
  std::string path(kRamPrefix);
  path.append(reinterpret_cast<const char*>(&address), sizeof address);
  return path;
}

CRAMAudio* RamFromPath(const std::string& szPath) {
  uintptr_t address = 0;
  if (szPath.size() != kRamPrefix.size() + sizeof address || !szPath.starts_with(kRamPrefix)) return nullptr;
  std::memcpy(&address, szPath.data() + kRamPrefix.size(), sizeof address);
  return reinterpret_cast<CRAMAudio*>(address);
}

int GetTypeMedia(const std::string& szPath) {
  if (!szPath.empty() && szPath.front() == '@') return kMediaRam;
  if (EqualsNoCase(ExtensionOf(szPath), ".wav")) return kMediaWave;
  return kMediaMpeg;
}

std::unique_ptr<CMedia> CreeMedia(int iType) {
  std::unique_ptr<CMedia> pMedia;
  switch (iType) {
    case kMediaWave:
      pMedia = std::make_unique<CWaveFile>();
      break;
    case kMediaMpeg:
      pMedia = std::make_unique<CMpegFile>();
      break;
    case kMediaRam:
      pMedia = std::make_unique<CWaveRAM>();
      break;
    default:
      return nullptr;
  }
  pMedia->m_iType = iType;
  return pMedia;
}

}  // namespace tonara
