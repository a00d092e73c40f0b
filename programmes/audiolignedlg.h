// "Source externe": the input of the line programme, with a test and its level.
#pragma once

#include <QTimer>
#include <memory>
#include <string>
#include <vector>

#include "core/appcfg.h"
#include "platform/worker.h"
#include "programmes/reglagedlg.h"

class QComboBox;

namespace tonara {

class CBoutonEssai;
class CLineSource;
class CZoneVuMetres;

class CAudioLigneDlg final : public CReglageDlg {
  Q_OBJECT

 public:
  /// szDevice is the input of the settings. The list is asked for off the main thread: a sound server that
  /// doesn't answer takes a second for it.
  CAudioLigneDlg(const std::string& szDevice, QWidget* pParent);
  ~CAudioLigneDlg() override;

  /// The input that is selected; empty while there is none.
  [[nodiscard]] std::string Choix() const;
  /// Every way out comes through here.
  void done(int nResultat) override;

 protected:
  bool Applique() override;

 private:
  struct Liste {
    std::vector<DeviceInfo> vEntrees;
    int nActuelle = -1;  ///< the one that the settings mean
  };
  void Lit();
  void Remplit(const Liste& liste);
  void Niveaux();
  void Repos();

  const std::string m_szDevice;
  int m_nActuelle = -1;
  QComboBox* m_pEntrees;
  CZoneVuMetres* m_pMetres;
  CLineSource* m_pLigne;
  CBoutonEssai* m_pTester;
  QTimer m_timer;  // 1
  CWorker m_lecture;
};

}  // namespace tonara
