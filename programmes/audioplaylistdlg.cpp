#include "programmes/audioplaylistdlg.h"

#include <QCheckBox>
#include <QVBoxLayout>
#include <memory>

#include "programmes/audioplaylistprogram.h"
#include "ui/look/groupe.h"
#include "ui/look/look.h"
#include "ui/look/shareddialogs.h"

namespace tonara {
namespace {

constexpr int kCadreGroupe = 3;  // what the style keeps clear inside a group's frame

}  // namespace

CAudioPlaylistDlg::CAudioPlaylistDlg(const ReglagesPlaylist& reglages, QWidget* pParent)
    : CReglageDlg(QStringLiteral("Playlist audio"), pParent), m_reglages(reglages) {
  auto* pGroupe = new CGroupe(QStringLiteral("Répertoire"), this);
  m_pDossier = new CChampChemin(
      QStringLiteral("Répertoire"), QStringLiteral("Choisir le répertoire"), reglages.szPath,
      [this](std::string* pOut) {
        return ChoisirDossier(this, {}, QStringLiteral("Répertoire des fichiers son"), pOut);
      },
      pGroupe);
  const auto coche = [](const char* szTexte, bool bCochee, QWidget* pDans) {
    auto* pCoche = new QCheckBox(QString::fromUtf8(szTexte), pDans);
    pCoche->setChecked(bCochee);
    return pCoche;
  };
  m_pSousRep = coche("&Inclure sous-répertoires", reglages.bSousRep, pGroupe);
  auto* pDansGroupe = new QVBoxLayout(pGroupe);
  pDansGroupe->setContentsMargins(kMarge, kEspace, kMarge, kMarge);
  pDansGroupe->setSpacing(kEspace);
  pDansGroupe->addWidget(m_pDossier);
  pDansGroupe->addWidget(m_pSousRep);
  m_pRandom = coche("&Aléatoire", reglages.bRandom, this);
  m_pFondus = coche("&Fondus enchainés", reglages.bFondus, this);

  auto* pLecture = new QVBoxLayout;
  // In line with what stands in the group above.
  pLecture->setContentsMargins(kMarge + kCadreGroupe, 0, kMarge, 0);
  pLecture->setSpacing(kEspace);
  pLecture->addWidget(m_pRandom);
  pLecture->addWidget(m_pFondus);
  auto* pFenetre = new QVBoxLayout(this);
  pFenetre->setContentsMargins(kMarge, kMarge, kMarge, kMarge);
  pFenetre->setSpacing(kEspaceGroupe);
  pFenetre->addWidget(pGroupe);
  pFenetre->addLayout(pLecture);
  pFenetre->setSizeConstraint(QLayout::SetFixedSize);
  m_pDossier->setFocus();
}

ReglagesPlaylist CAudioPlaylistDlg::Reglages() const {
  return {m_pDossier->Chemin(), m_pSousRep->isChecked(), m_pRandom->isChecked(), m_pFondus->isChecked()};
}

bool CAudioPlaylistProgram::Configure(QWidget* pParent, bool /*bActif*/) {
  const ReglagesPlaylist reglages{m_szPath, m_bSousRep, m_bRandom, m_bFondus};
  const CDialogueTemp dialogue(std::make_unique<CAudioPlaylistDlg>(reglages, pParent));
  const bool bChange = dialogue->exec() != 0 && dialogue;
  if (bChange) {
    const ReglagesPlaylist choix = dialogue->Reglages();
    m_szPath = choix.szPath;
    m_bSousRep = choix.bSousRep;
    m_bRandom = choix.bRandom;
    m_bFondus = choix.bFondus;
  }
  Save(m_szIni);
  return bChange;
}

}  // namespace tonara
