#include "programmes/audiolignedlg.h"

#include <QComboBox>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>
#include <array>
#include <atomic>

#include "audio/mixout.h"
#include "programmes/audioligneprogram.h"
#include "programmes/essaidlg.h"
#include "programmes/linesource.h"
#include "ui/look/look.h"
#include "ui/look/shareddialogs.h"
#include "ui/look/vumeter.h"

namespace tonara {
namespace {

constexpr int kPeriodeNiveauxMs = 50;
constexpr int kVoies = 2;

class CEssaiLigne final : public CSourceEssai {
 public:
  explicit CEssaiLigne(CAudioLigneDlg* pDialogue) : m_pDialogue(pDialogue) {
    // The box comes from the test's thread, and is shown where windows live.
    m_LineSourceTest.SetRecordBox([pDialogue](const std::string& szTexte, const std::string& szTitre) {
      QMetaObject::invokeMethod(
          pDialogue,
          [pDialogue, szTexte = QString::fromStdString(szTexte), szTitre = QString::fromStdString(szTitre)] {
            if (pDialogue->isVisible()) ShowBox(pDialogue, szTexte, szTitre);
          },
          Qt::QueuedConnection);
    });
  }
  [[nodiscard]] CLineSource* Ligne() { return &m_LineSourceTest; }
  void Interrompt() override {
    m_bInterrompu.store(true);
    m_LineSourceTest.Stop();
  }

 protected:
  bool PrepareSource() override {
    m_bInterrompu.store(false);
    m_szDevice = m_pDialogue->Choix();
    return !m_szDevice.empty();
  }
  bool DemarreSource(CMixout& mixout, float fGain) override {
    // In two steps: an interruption that comes before the opening finds nothing to stop.
    return m_LineSourceTest.Ouvre(m_szDevice, &mixout, /*bDiscret=*/false) && !m_bInterrompu.load() &&
           m_LineSourceTest.Joue(nullptr, fGain);
  }
  void ArreteSource(CMixout& /*mixout*/) override { m_LineSourceTest.Stop(); }

 private:
  CAudioLigneDlg* m_pDialogue;
  std::string m_szDevice;
  std::atomic<bool> m_bInterrompu{false};
  CLineSource m_LineSourceTest;
};

}  // namespace

CAudioLigneDlg::CAudioLigneDlg(const std::string& szDevice, QWidget* pParent)
    : CReglageDlg(QStringLiteral("Source externe"), pParent), m_szDevice(szDevice) {
  auto* pLegende = new QLabel(QStringLiteral("Entrée de carte son sur laquelle vous aurez connecté\n"
                                             "votre tuner, lecteur CD, iPod, smartphone, ..."),
                              this);
  m_pEntrees = new QComboBox(this);
  m_pEntrees->setAccessibleName(QStringLiteral("Entrée de carte son"));
  m_pEntrees->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  auto* pCadre = new QFrame(this);
  pCadre->setFrameStyle(QFrame::Panel | QFrame::Sunken);
  m_pMetres = new CZoneVuMetres(kVoies, pCadre);
  m_pMetres->setAccessibleName(QStringLiteral("Niveaux de l'entrée"));
  auto* pDansCadre = new QVBoxLayout(pCadre);
  pDansCadre->setContentsMargins(0, 0, 0, 0);
  pDansCadre->addWidget(m_pMetres);

  auto pSource = std::make_unique<CEssaiLigne>(this);
  m_pLigne = pSource->Ligne();
  m_pTester = new CBoutonEssai(std::move(pSource), this);
  auto* pBas = new QHBoxLayout;
  pBas->setSpacing(kEspaceGroupe);
  pBas->addWidget(pCadre, 1);
  pBas->addWidget(m_pTester);

  auto* pFenetre = new QVBoxLayout(this);
  pFenetre->setContentsMargins(kMarge, kMarge, kMarge, kMarge);
  pFenetre->setSpacing(kEspace);
  pFenetre->addWidget(pLegende);
  pFenetre->addWidget(m_pEntrees);
  pFenetre->addSpacing(kEspaceGroupe - kEspace);
  pFenetre->addLayout(pBas);
  pFenetre->setSizeConstraint(QLayout::SetFixedSize);

  connect(m_pTester, &CBoutonEssai::Joue, this, [this](bool bJoue) { bJoue ? m_timer.start() : Repos(); });
  connect(m_pMetres, &CZoneVuMetres::Clic, this, [this] { m_pLigne->ResetMax(); });
  m_timer.setInterval(kPeriodeNiveauxMs);
  connect(&m_timer, &QTimer::timeout, this, &CAudioLigneDlg::Niveaux);
  m_pEntrees->setFocus();
  Lit();
}

CAudioLigneDlg::~CAudioLigneDlg() {
  // The test and the reading post to this object.
  m_lecture.Stop();
  m_pTester->Termine();
}

void CAudioLigneDlg::Lit() {
  m_lecture.Start("entrees", CWorker::Priority::Normal, [this] {
    Liste liste;
    EnumDevicesIn(&liste.vEntrees);
    liste.nActuelle = FindDeviceIn(m_szDevice);
    QMetaObject::invokeMethod(
        this, [this, liste] { Remplit(liste); }, Qt::QueuedConnection);
  });
}

void CAudioLigneDlg::Remplit(const Liste& liste) {
  m_nActuelle = liste.nActuelle;
  for (const DeviceInfo& entree : liste.vEntrees) m_pEntrees->addItem(QString::fromStdString(entree.szName));
  // Without the one that is wanted, the first one stays selected.
  if (m_nActuelle >= 0) m_pEntrees->setCurrentIndex(m_nActuelle);
}

std::string CAudioLigneDlg::Choix() const {
  return m_pEntrees->currentText().toStdString();
}

bool CAudioLigneDlg::Applique() {
  // The settings may name the input in the sound server's own way.
  return m_pEntrees->currentIndex() >= 0 && m_pEntrees->currentIndex() != m_nActuelle && Choix() != m_szDevice;
}

void CAudioLigneDlg::Niveaux() {
  std::array<float, kVoies> niveaux{};
  std::array<float, kVoies> maxima{};
  if (!m_pLigne->GetNiveaux(niveaux.data(), maxima.data())) return;
  for (int i = 0; i < kVoies; ++i) {
    m_pMetres->Update(i, niveaux[static_cast<size_t>(i)], maxima[static_cast<size_t>(i)]);
  }
}

void CAudioLigneDlg::Repos() {
  m_timer.stop();
  for (int i = 0; i < kVoies; ++i) m_pMetres->Update(i, kNiveauRepos, kNiveauRepos);
}

void CAudioLigneDlg::done(int nResultat) {
  m_pTester->Termine();
  QDialog::done(nResultat);
}

bool CAudioLigneProgram::Configure(QWidget* pParent, bool /*bActif*/) {
  const CDialogueTemp dialogue(std::make_unique<CAudioLigneDlg>(g_Appcfg.DeviceIn, pParent));
  const bool bChange = dialogue->exec() != 0 && dialogue;
  if (bChange) g_Appcfg.DeviceIn = dialogue->Choix();
  g_Appcfg.Save();
  return bChange;
}

}  // namespace tonara
