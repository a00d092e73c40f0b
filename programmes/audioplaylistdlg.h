// "Playlist audio": the folder and how it is played.
#pragma once

#include <string>

#include "programmes/reglagedlg.h"

class QCheckBox;

namespace tonara {

/// The settings of the playlist that the operator edits.
struct ReglagesPlaylist {
  std::string szPath;
  bool bSousRep = false;
  bool bRandom = false;
  bool bFondus = false;

  bool operator==(const ReglagesPlaylist&) const = default;
};

class CAudioPlaylistDlg final : public CReglageDlg {
  Q_OBJECT

 public:
  CAudioPlaylistDlg(const ReglagesPlaylist& reglages, QWidget* pParent);

  /// As the dialog shows them.
  [[nodiscard]] ReglagesPlaylist Reglages() const;

 protected:
  bool Applique() override { return Reglages() != m_reglages; }

 private:
  const ReglagesPlaylist m_reglages;
  CChampChemin* m_pDossier;
  QCheckBox* m_pSousRep;
  QCheckBox* m_pRandom;
  QCheckBox* m_pFondus;
};

}  // namespace tonara
