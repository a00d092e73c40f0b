#include "ui/mixergui.h"

#include "ui/niveauxdlg.h"

namespace tonara {

CMixerGUI g_MixerGUI;

bool CMixerGUI::Open(QWidget* pParent, CMixout* pMixout) {
  if (pMixout == nullptr || IsOpen()) return false;
  m_hDlgNiveaux = new CNiveauxDlg(pParent, *pMixout);
  m_hDlgNiveaux->show();
  return true;
}

void CMixerGUI::Close() {
  if (!m_hDlgNiveaux) return;
  m_hDlgNiveaux->reject();
  delete m_hDlgNiveaux;
}

bool CMixerGUI::IsOpen() const {
  return m_hDlgNiveaux && m_hDlgNiveaux->isVisible();
}

int CMixerGUI::GetValeur(int nIndex) const {
  return m_hDlgNiveaux ? m_hDlgNiveaux->GetValeur(nIndex) : 0;
}

void CMixerGUI::SetValeur(int nIndex, int nDb) {
  if (m_hDlgNiveaux) m_hDlgNiveaux->SetValeur(nIndex, nDb);
}

}  // namespace tonara
