#include "programmes/programmedlg.h"

#include <QButtonGroup>
#include <QGridLayout>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>
#include <array>
#include <memory>
#include <string>

#include "core/appcfg.h"
#include "programmes/audioprogram.h"
#include "programmes/reglagedlg.h"
#include "ui/look/groupe.h"
#include "ui/look/look.h"
#include "ui/look/textbox.h"

namespace tonara {
namespace {

constexpr int kPeriodeTitreMs = 200;
constexpr int kNbTypes = 5;
constexpr char kRien[] = "-";
constexpr char kTitreUsuel[] = "/Une chanson au titre assez long.mp3";

using Noms = std::array<const char*, kNbTypes>;
// In the order of the values of PgmVideoCourant and MusicSource. Letters with & are alone in the window.
constexpr Noms kVisuels = {"Aucun", "&Image fixe", "&Diaporama", "PAD &vidéo", "&Cocktail"};
constexpr Noms kSonores = {"Aucun", "&Source externe", "&Webradio", "&PAD audio", "P&laylist"};

class CProgrammeDlg final : public CReglageDlg {
 public:
  explicit CProgrammeDlg(QWidget* pParent) : CReglageDlg(QStringLiteral("Programme continu"), pParent) {
    Choix visuel = Groupe(QStringLiteral("Programme Visuel"), kVisuels, g_Appcfg.PgmVideoCourant);
    Choix sonore = Groupe(QStringLiteral("Programme Sonore"), kSonores, g_Appcfg.MusicSource);
    AddToolTip(visuel.pGroupe, QStringLiteral("Le choix est enregistré. Il n'y a pas encore de sortie vidéo."));
    const int nLargeur = std::max(visuel.pGroupe->sizeHint().width(), sonore.pGroupe->sizeHint().width());
    for (CGroupe* pGroupe : {visuel.pGroupe, sonore.pGroupe}) pGroupe->setMinimumWidth(nLargeur);
    QWidget* pVisuel = EnCours(QStringLiteral("Visuel en cours"), &m_pVisuel);
    QWidget* pAudio = EnCours(QStringLiteral("Audio en cours"), &m_pAudio);

    auto* pFenetre = new QGridLayout(this);
    pFenetre->setContentsMargins(kMarge, kMarge, kMarge, kMarge);
    pFenetre->setSpacing(kEspaceGroupe);
    pFenetre->addWidget(visuel.pGroupe, 0, 0);
    pFenetre->addWidget(sonore.pGroupe, 0, 1);
    pFenetre->addWidget(pVisuel, 1, 0, 1, 2);
    pFenetre->addWidget(pAudio, 2, 0, 1, 2);
    pFenetre->setSizeConstraint(QLayout::SetFixedSize);

    connect(visuel.pBoutons, &QButtonGroup::idClicked, this, &CProgrammeDlg::ChoisitVisuel);
    connect(sonore.pBoutons, &QButtonGroup::idClicked, this, &CProgrammeDlg::ChoisitSonore);
    for (int n = 1; n < kNbTypes; ++n) {
      QPushButton* pConfigurer = sonore.configurer[static_cast<size_t>(n)];
      // A kind without a class has nothing to configure.
      pConfigurer->setEnabled(CreateAudioProgram(n, {}) != nullptr);
      connect(pConfigurer, &QPushButton::clicked, this, [this, n] { ConfigureSonore(n); });
      visuel.configurer[static_cast<size_t>(n)]->setEnabled(false);
    }
    if (QAbstractButton* pChoisi = sonore.pBoutons->checkedButton()) pChoisi->setFocus();

    m_timer.setInterval(kPeriodeTitreMs);
    connect(&m_timer, &QTimer::timeout, this, &CProgrammeDlg::Titres);
    Titres();
    m_timer.start();
  }

  void done(int nResultat) override;

 private:
  struct Choix {
    CGroupe* pGroupe = nullptr;
    QButtonGroup* pBoutons = nullptr;
    std::array<QPushButton*, kNbTypes> configurer{};
  };

  Choix Groupe(const QString& szTitre, const Noms& noms, int nActuel) {
    Choix choix;
    choix.pGroupe = new CGroupe(szTitre, this);
    choix.pBoutons = new QButtonGroup(this);
    auto* pGrille = new QGridLayout(choix.pGroupe);
    pGrille->setContentsMargins(kMarge, kEspace, kMarge, kMarge);
    pGrille->setHorizontalSpacing(3 * kEspace);
    pGrille->setVerticalSpacing(kEspace);
    pGrille->setColumnStretch(0, 1);
    for (int n = 0; n < kNbTypes; ++n) {
      const QString szNom = QString::fromUtf8(noms[static_cast<size_t>(n)]);
      auto* pRadio = new QRadioButton(szNom, choix.pGroupe);
      pRadio->setChecked(n == nActuel);
      choix.pBoutons->addButton(pRadio, n);
      pGrille->addWidget(pRadio, n, 0);
      if (n == 0) continue;
      QPushButton* pConfigurer = Bouton(QStringLiteral("Configurer"), choix.pGroupe);
      pConfigurer->setAccessibleName(QStringLiteral("Configurer ") + QString(szNom).remove(QLatin1Char('&')));
      choix.configurer[static_cast<size_t>(n)] = pConfigurer;
      pGrille->addWidget(pConfigurer, n, 1);
      // All rows as high as those with a button.
      pGrille->setRowMinimumHeight(0, pConfigurer->sizeHint().height());
    }
    return choix;
  }

  QWidget* EnCours(const QString& szTitre, CTextBox** ppTexte) {
    auto* pGroupe = new CGroupe(szTitre, this);
    *ppTexte = new CTextBox(1, QString::fromUtf8(kTitreUsuel), CTextBox::Cadrage::Centre, pGroupe);
    (*ppTexte)->setAccessibleName(szTitre);
    auto* pDans = new QVBoxLayout(pGroupe);
    pDans->setContentsMargins(kMarge, kEspace, kMarge, kMarge);
    pDans->addWidget(*ppTexte);
    return pGroupe;
  }

  void Titres() {
    std::string szTitre;
    if (!GetTitreAudioProgram(&szTitre)) szTitre = kRien;
    // The boxes repaint only what is new to them.
    m_pAudio->SetTexte(QString::fromStdString(szTitre));
    m_pVisuel->SetTexte(QLatin1String(kRien));
  }

  void ChoisitSonore(int nType) {
    if (nType == g_Appcfg.MusicSource) return;
    g_Appcfg.MusicSource = nType;
    RelanceAudioProgram();
    g_Appcfg.Save();
  }

  void ChoisitVisuel(int nType) {
    if (nType == g_Appcfg.PgmVideoCourant) return;
    g_Appcfg.PgmVideoCourant = nType;
    g_Appcfg.Save();
  }

  void ConfigureSonore(int nType) {
    // An object of its own: the one that plays is never touched, and learns of changes by its restart.
    const std::unique_ptr<CAudioProgram> pProgramme = CreateAudioProgram(nType, g_Appcfg.m_szIniPath);
    if (pProgramme == nullptr) return;
    const bool bActif = nType == g_Appcfg.MusicSource;
    if (pProgramme->Configure(this, bActif) && bActif) RelanceAudioProgram();
  }

  CTextBox* m_pVisuel = nullptr;
  CTextBox* m_pAudio = nullptr;
  QTimer m_timer;  // 1
};

QPointer<CProgrammeDlg> g_hDlgProgramme;

void CProgrammeDlg::done(int nResultat) {
  m_timer.stop();
  if (g_hDlgProgramme == this) g_hDlgProgramme.clear();
  CReglageDlg::done(nResultat);
  deleteLater();
}

}  // namespace

bool OpenDlgProgramme(QWidget* pParent) {
  if (!g_hDlgProgramme.isNull()) return false;
  g_hDlgProgramme = std::make_unique<CProgrammeDlg>(pParent).release();  // its parent's, or gone when closed
  g_hDlgProgramme->show();
  return true;
}

void CloseDlgProgramme() {
  if (!g_hDlgProgramme.isNull()) g_hDlgProgramme->close();
}

}  // namespace tonara
