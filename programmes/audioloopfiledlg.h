// "PAD audio": the file that is played in a loop, with a test.
#pragma once

#include <string>

#include "programmes/reglagedlg.h"

namespace tonara {

class CBoutonEssai;

class CAudioLoopFileDlg final : public CReglageDlg {
  Q_OBJECT

 public:
  CAudioLoopFileDlg(const std::string& szPath, QWidget* pParent);

  [[nodiscard]] const std::string& Chemin() const { return m_pChemin->Chemin(); }
  /// Every way out comes through here.
  void done(int nResultat) override;

 protected:
  bool Applique() override { return Chemin() != m_szPath; }

 private:
  const std::string m_szPath;
  CChampChemin* m_pChemin;
  CBoutonEssai* m_pTester;
};

}  // namespace tonara
