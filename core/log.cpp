#include "core/log.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <utility>
#include <vector>

#include "core/formats.h"
#include "platform/clock.h"
#include "platform/fileio.h"
#include "platform/lock.h"

namespace tonara {
namespace {

constexpr size_t kMaxEarlyLines = 64;
constexpr size_t kMaxKeys = 256;

CLock g_csLog;
CAppendFile g_Log GUARDED_BY(g_csLog);
std::string g_szLogPath GUARDED_BY(g_csLog);
std::vector<std::string> g_vEarlyLines GUARDED_BY(g_csLog);
bool g_bEarly GUARDED_BY(g_csLog) = true;  // LogSetFile hasn't been called yet
// On, or not known yet. Asked outside the lock, so that Trace costs nothing while the log is off.
std::atomic<bool> g_bLogActif{true};
std::atomic<CClock*> g_pClock{nullptr};

struct RepeatedFailure {
  std::string szKey;
  uint64_t llCount = 0;
  uint64_t llNext = 0;  ///< the count to be traced next
  uint64_t llLast = 0;  ///< order of last occurrence
};
CLock g_csRepeated;
std::vector<RepeatedFailure> g_vRepeated GUARDED_BY(g_csRepeated);
uint64_t g_llOccurrences GUARDED_BY(g_csRepeated) = 0;

std::string Stamp() {
  CClock* pClock = g_pClock.load();
  const CCivilTime t = (pClock != nullptr ? *pClock : SystemClock()).LocalTime();
  return FormatTexte("%02u/%02u/%02u-%02u:%02u:%02u : ", t.wMonth, t.wDay, t.wYear % 100U, t.wHour, t.wMinute,
                     t.wSecond);
}

void WriteLocked(const std::string& szText) REQUIRES(g_csLog) {
  if (g_bEarly) {
    if (g_vEarlyLines.size() < kMaxEarlyLines) g_vEarlyLines.push_back(szText);
    return;
  }
  if (!g_Log.IsOpen()) return;
  if (g_Log.IsDeleted() && !g_Log.Open(g_szLogPath)) return;
  g_Log.Append(szText);
}

}  // namespace

void LogSetFile(const std::string& szDir, const std::string& szName, bool bActif) {
  const CGuard guard(g_csLog);
  g_szLogPath = szDir + szName;
  g_bEarly = false;
  if (!bActif) g_vEarlyLines.clear();
  g_bLogActif = bActif;
}

bool LogOpen() {
  if (!g_bLogActif) return false;
  const CGuard guard(g_csLog);
  if (g_bEarly || g_Log.IsOpen()) return false;
  const std::vector<std::string> early = std::exchange(g_vEarlyLines, {});
  if (!g_Log.Open(g_szLogPath)) return false;
  WriteLocked("\n");
  WriteLocked(Stamp() + "*************** Nouvelle session *******************\n");
  for (const std::string& line : early) WriteLocked(line);
  return true;
}

void LogClose() {
  if (!g_bLogActif) return;
  const CGuard guard(g_csLog);
  if (!g_Log.IsOpen()) return;
  WriteLocked(Stamp() + "*************** Fin session *******************\n");
  WriteLocked("\n");
  g_Log.Close();
}

void LogSetClock(CClock& clock) {
  g_pClock = &clock;
}

void Trace(int bStamp, const char* szFormat, ...) {
  if (!g_bLogActif) return;
  va_list args;
  va_start(args, szFormat);
  const std::string szText = FormatTexteV(szFormat, args);
  va_end(args);
  // The stamp is taken under the lock, so that the lines of all threads stand in the order of their times.
  const CGuard guard(g_csLog);
  if (!g_bEarly && !g_Log.IsOpen()) return;
  WriteLocked((bStamp & 1) != 0 ? Stamp() + szText : szText);
}

void TraceOnce(const std::string& szKey, const std::string& szText) {
  uint64_t llCount = 0;
  {
    const CGuard guard(g_csRepeated);
    auto it = std::find_if(g_vRepeated.begin(), g_vRepeated.end(),
                           [&](const RepeatedFailure& failure) { return failure.szKey == szKey; });
    if (it == g_vRepeated.end()) {
      if (g_vRepeated.size() < kMaxKeys) {
        it = g_vRepeated.emplace(g_vRepeated.end());
      } else {
        it = std::min_element(g_vRepeated.begin(), g_vRepeated.end(),
                              [](const auto& a, const auto& b) { return a.llLast < b.llLast; });
      }
      *it = RepeatedFailure{szKey, 0, 1, 0};
    }
    it->llLast = ++g_llOccurrences;
    if (++it->llCount < it->llNext) return;
    it->llNext *= 10;
    llCount = it->llCount;
  }
  if (llCount == 1) {
    Trace(1, "%s\n", szText.c_str());
  } else {
    Trace(1, "%s (%llu fois)\n", szText.c_str(), static_cast<unsigned long long>(llCount));
  }
}

void TraceOnceClear(const std::string& szKey) {
  const CGuard guard(g_csRepeated);
  std::erase_if(g_vRepeated, [&](const RepeatedFailure& failure) { return failure.szKey == szKey; });
}

}  // namespace tonara
