#include "core/historique.h"

#include <cstdarg>

#include "core/formats.h"
#include "platform/clock.h"
#include "platform/fileio.h"
#include "platform/textcodec.h"

namespace tonara {
namespace {

constexpr size_t kMaxTexte = 1023;

}  // namespace

CHistorique g_Historique;

CHistorique::CHistorique() : m_pClock(nullptr) {}

void CHistorique::SetPath(const std::string& szDir) {
  m_szPath = szDir + "Historique.txt";
}

void CHistorique::Enable(bool bActif) {
  m_bActif = bActif;
}

void CHistorique::SetClock(CClock& clock) {
  m_pClock = &clock;
}

void CHistorique::Add(const char* szFormat, ...) {
  if (!m_bActif) return;
  va_list args;
  va_start(args, szFormat);
  std::string szTexte = FormatTexteV(szFormat, args);
  va_end(args);
  if (szTexte.size() > kMaxTexte) {
    const bool bEol = szTexte.ends_with('\n');
    szTexte = CutUtf8(szTexte, bEol ? kMaxTexte - 1 : kMaxTexte);
    if (bEol) szTexte += '\n';
  }

  const CGuard guard(m_cs);
  const CCivilTime t = (m_pClock != nullptr ? *m_pClock : SystemClock()).LocalTime();
  m_szLigne = FormatTexte("%02u/%02u/%02u %02u:%02u:%02u - %s", t.wMonth, t.wDay, t.wYear % 100U, t.wHour, t.wMinute,
                          t.wSecond, szTexte.c_str());
  CAppendFile file;
  if (file.Open(m_szPath)) file.Append(m_szLigne);
}

}  // namespace tonara
