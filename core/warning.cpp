#include "core/warning.h"

#include <utility>

#include "platform/textcodec.h"

namespace tonara {
namespace {

constexpr size_t kMaxTexte = 1023;

}  // namespace

CWarning* g_pWarning = nullptr;

void CWarning::SetButton(WarningUi ui) {
  m_ui = std::move(ui);
}

void CWarning::SetText(const std::string& szTexte) {
  std::string szCut = CutUtf8(szTexte, kMaxTexte);
  const CGuard guard(m_cs);
  m_szTexte = std::move(szCut);
  ++m_dwSerie;
}

bool CWarning::Poll() {
  {
    const CGuard guard(m_cs);
    if (m_szTexte.empty()) return false;
  }
  if (m_ui.fnShowButton) m_ui.fnShowButton(true);
  return true;
}

void CWarning::Show() {
  std::string szTexte;
  uint32_t dwSerie = 0;
  {
    const CGuard guard(m_cs);
    szTexte = m_szTexte;
    dwSerie = m_dwSerie;
  }
  if (szTexte.empty()) return;
  // Without the lock: a thread that warns must not wait for the operator.
  if (m_ui.fnBox) m_ui.fnBox(szTexte, "ATTENTION");
  if (m_ui.fnShowButton) m_ui.fnShowButton(false);
  const CGuard guard(m_cs);
  if (m_dwSerie == dwSerie) m_szTexte.clear();
}

}  // namespace tonara
