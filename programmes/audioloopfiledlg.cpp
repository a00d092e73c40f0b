#include "programmes/audioloopfiledlg.h"

#include <QHBoxLayout>
#include <QVBoxLayout>
#include <array>
#include <memory>

#include "audio/media.h"
#include "core/log.h"
#include "programmes/audioloopfileprogram.h"
#include "programmes/essaidlg.h"
#include "ui/look/groupe.h"
#include "ui/look/look.h"
#include "ui/look/shareddialogs.h"

namespace tonara {
namespace {

constexpr uint32_t kPremiersOctets = 4800;  // whole frames of any usual format
constexpr char kFiltre[] = "Fichiers audio (*.mp3;*.mp2;*.wav)|*.mp3;*.mp2;*.wav|";

class CEssaiFichier final : public CSourceEssai {
 public:
  explicit CEssaiFichier(const CChampChemin& chemin) : m_chemin(chemin) {}

  /// The first look at the file may take long; the opening that follows doesn't. The mixer plays an MPEG file
  /// without a single frame, too, as silence: here it counts as one that can't be played.
  [[nodiscard]] std::function<bool()> Disque() const override {
    return [szPath = m_szPath] {
      PCMWAVEFORMAT format{};
      std::array<uint8_t, kPremiersOctets> debut{};
      uint32_t dwLus = 0;
      const std::unique_ptr<CMedia> pMedia = CreeMedia(GetTypeMedia(szPath));
      if (pMedia && pMedia->Open(szPath, 0, 0, &format) && pMedia->Read(debut.data(), kPremiersOctets, &dwLus)) {
        return true;
      }
      Trace(1, "[%s] ne peut etre ouvert\n", szPath.c_str());
      return false;
    };
  }

 protected:
  bool PrepareSource() override {
    m_szPath = m_chemin.Chemin();
    return !m_szPath.empty();
  }
  bool DemarreSource(CMixout& mixout, float fGain) override {
    m_dwTrancheTestLoop = mixout.PlayFichier(m_szPath, kPlayMixe, 0, 0, 0, 0, fGain, /*bBoucle=*/true, 0, 0, nullptr);
    return m_dwTrancheTestLoop != 0;
  }
  void ArreteSource(CMixout& mixout) override {
    mixout.StopTranche(m_dwTrancheTestLoop);
    m_dwTrancheTestLoop = 0;
  }

 private:
  const CChampChemin& m_chemin;
  std::string m_szPath;
  int m_dwTrancheTestLoop = 0;
};

}  // namespace

CAudioLoopFileDlg::CAudioLoopFileDlg(const std::string& szPath, QWidget* pParent)
    : CReglageDlg(QStringLiteral("PAD audio"), pParent), m_szPath(szPath) {
  const QString szNom = QStringLiteral("Fichier son joué en boucle");
  auto* pGroupe = new CGroupe(szNom, this);
  m_pChemin = new CChampChemin(
      szNom, QStringLiteral("Choisir le fichier musique"), szPath,
      [this](std::string* pOut) {
        return ChoisirFichier(this, pOut, QString::fromUtf8(kFiltre), QStringLiteral("Choisir le fichier musique"),
                              kFichierExistant, {});
      },
      pGroupe);
  auto* pDansGroupe = new QVBoxLayout(pGroupe);
  pDansGroupe->setContentsMargins(kMarge, kEspace, kMarge, kMarge);
  pDansGroupe->addWidget(m_pChemin);
  m_pTester = new CBoutonEssai(std::make_unique<CEssaiFichier>(*m_pChemin), this);

  auto* pBas = new QHBoxLayout;
  pBas->addStretch();
  pBas->addWidget(m_pTester);
  auto* pFenetre = new QVBoxLayout(this);
  pFenetre->setContentsMargins(kMarge, kMarge, kMarge, kMarge);
  pFenetre->setSpacing(kEspaceGroupe);
  pFenetre->addWidget(pGroupe);
  pFenetre->addLayout(pBas);
  pFenetre->setSizeConstraint(QLayout::SetFixedSize);
  m_pChemin->setFocus();
}

void CAudioLoopFileDlg::done(int nResultat) {
  m_pTester->Termine();
  QDialog::done(nResultat);
}

bool CAudioLoopFileProgram::Configure(QWidget* pParent, bool /*bActif*/) {
  const CDialogueTemp dialogue(std::make_unique<CAudioLoopFileDlg>(m_szPath, pParent));
  const bool bChange = dialogue->exec() != 0 && dialogue;
  if (bChange) m_szPath = dialogue->Chemin();
  Save(m_szIni);
  return bChange;
}

}  // namespace tonara
