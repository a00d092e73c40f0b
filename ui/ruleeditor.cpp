#include "ui/ruleeditor.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "audio/media.h"
#include "audio/preview.h"
#include "core/log.h"
#include "core/mediatype.h"
#include "platform/paths.h"
#include "ui/look/iconbutton.h"
#include "ui/look/look.h"
#include "ui/look/shareddialogs.h"
#include "ui/rulefields.h"
#include "ui/ruletree.h"

namespace tonara {
namespace {

constexpr QSize kTailleBouton{32, 32};
constexpr QSize kTailleArbre{700, 260};
constexpr char kFiltreMessages[] =
    "Tous (*.*)|*.*|"
    "Fichiers audio (*.mp3;*.mp2;*.wav)|*.mp3;*.mp2;*.wav|"
    "Fichiers vidéo (*.wmv;*.mpg;*.avi;*.mp4;*.mts;*.m2t;*.m2ts;*.ts;*.mkv;*.mov;*.vob;*.3gp)|"
    "*.wmv;*.mpg;*.avi;*.mp4;*.mts;*.m2t;*.m2ts;*.ts;*.mkv;*.mov;*.vob;*.3gp|"
    "Fichiers image (*.jpg;*.jpeg;*.bmp;*.png)|*.jpg;*.jpeg;*.bmp;*.png|";

}  // namespace

EtatFormat SondeFormat(const std::string& szPath) {
  const std::unique_ptr<CMedia> pMedia = CreeMedia(GetTypeMedia(szPath));
  if (!pMedia) return EtatFormat::TypeInconnu;
  PCMWAVEFORMAT format{};
  if (!pMedia->ReadFormat(szPath, &format)) return EtatFormat::Illisible;
  return format.nChannels == 2 ? EtatFormat::Bon : EtatFormat::NonStereo;
}

SondesRegles::SondesRegles() : fnAccessible(&PathExists), fnFormat(&SondeFormat) {}

CRuleEditor::CRuleEditor(std::vector<Rule> vRules, QWidget* pParent, SondesRegles sondes)
    : QDialog(pParent), m_vRules(std::move(vRules)), m_sondes(std::move(sondes)) {
  setWindowTitle(QStringLiteral("Règles de diffusion des messages"));
  m_pArbre = new CRuleTree(m_vRules, m_sondes.fnAccessible, this);
  m_pArbre->setMinimumSize(kTailleArbre / 2);
  m_pArbre->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);

  auto* pIcones = new QHBoxLayout;
  pIcones->setSpacing(kEspace);
  const auto bouton = [&](CIconButton* pBouton, const char* szBulle) {
    AddToolTip(pBouton, QString::fromUtf8(szBulle));
    pBouton->setAccessibleName(QString::fromUtf8(szBulle));
    pIcones->addWidget(pBouton);
    return pBouton;
  };
  pIcones->addSpacing(-CIconButton::kBord);
  m_pAjouterFichier = bouton(new CIconButton(QStringLiteral("rule-file"), kTailleBouton, this),
                             "Ajouter une règle pour un fichier message");
  m_pAjouterDossier = bouton(new CIconButton(QStringLiteral("rule-folder"), kTailleBouton, this),
                             "Ajouter une règle pour tous les fichiers messages d'un répertoire");
  m_pEcouter = bouton(new CIconButton(QStringLiteral("listen-stop"), QStringLiteral("listen"), kTailleBouton, this),
                      "Préécouter (message audio seulement)");
  m_pSupprimer = bouton(new CIconButton(QStringLiteral("rule-delete"), kTailleBouton, this), "Supprimer la règle");
  pIcones->addStretch();

  m_pChamps = new CRuleFields(this);
  m_pAppliquer = new QPushButton(QStringLiteral("&Appliquer"), this);
  m_pAppliquer->setDefault(true);
  auto* pAbandonner = new QPushButton(QStringLiteral("A&bandonner"), this);
  const int nLargeur = pAbandonner->sizeHint().width() + 2 * kEspace;
  for (QPushButton* pBouton : {m_pAppliquer, pAbandonner}) pBouton->setMinimumWidth(nLargeur);
  auto* pBas = new QHBoxLayout;
  pBas->setSpacing(kEspace);
  pBas->addStretch();
  pBas->addWidget(m_pAppliquer);
  pBas->addWidget(pAbandonner);

  auto* pFenetre = new QVBoxLayout(this);
  pFenetre->setContentsMargins(kMarge, kMarge, kMarge, kMarge);
  pFenetre->setSpacing(kEspace);
  pFenetre->addWidget(m_pArbre, 1);
  pFenetre->addLayout(pIcones);
  pFenetre->addWidget(m_pChamps);
  pFenetre->addSpacing(kEspaceGroupe - kEspace);
  pFenetre->addLayout(pBas);
  resize(sizeHint().expandedTo({kTailleArbre.width(), sizeHint().height() + kTailleArbre.height() / 2}));

  m_pDelaiFormat = new QTimer(this);
  m_pDelaiFormat->setSingleShot(true);

  connect(m_pArbre, &CRuleTree::RegleChoisie, this, &CRuleEditor::Choisie);
  connect(m_pChamps, &CRuleFields::Modifiee, this, &CRuleEditor::Modifiee);
  connect(m_pAjouterFichier, &QAbstractButton::clicked, this, &CRuleEditor::ChoisitFichier);
  connect(m_pAjouterDossier, &QAbstractButton::clicked, this, &CRuleEditor::ChoisitDossier);
  connect(m_pEcouter, &QAbstractButton::clicked, this, &CRuleEditor::BasculeEcoute);
  connect(m_pSupprimer, &QAbstractButton::clicked, this, &CRuleEditor::SupprimeRegle);
  connect(m_pDelaiFormat, &QTimer::timeout, this, [this] { ReponseFormat(EtatFormat::Illisible); });
  connect(m_pAppliquer, &QPushButton::clicked, this, [this] {
    m_pChamps->TermineSaisie();
    accept();
  });
  connect(pAbandonner, &QPushButton::clicked, this, &QDialog::reject);

  m_pArbre->Remplit();
  m_pArbre->Selectionne(0);
  m_pArbre->setFocus();
}

CRuleEditor::~CRuleEditor() {
  ArreteEcoute();
}

void CRuleEditor::done(int nResultat) {
  ArreteEcoute();
  QDialog::done(nResultat);
}

void CRuleEditor::ChoisitFichier() {
  const QPointer<CRuleEditor> pMoi(this);
  std::string szPath;
  if (!ChoisirFichier(this, &szPath, QString::fromUtf8(kFiltreMessages), QStringLiteral("Ajouter un message"),
                      kFichierExistant, {})) {
    return;
  }
  if (!pMoi.isNull()) AjouteFichier(szPath);
}

void CRuleEditor::ChoisitDossier() {
  const QPointer<CRuleEditor> pMoi(this);
  std::string szPath;
  if (!ChoisirDossier(this, {}, QStringLiteral("Répertoire des messages"), &szPath)) return;
  if (!pMoi.isNull()) AjouteDossier(szPath);
}

void CRuleEditor::AjouteFichier(const std::string& szPath) {
  switch (GetMediaType(szPath)) {
    case kMediaInconnu:
      Refuse(EtatFormat::TypeInconnu);
      return;
    case kMediaAudio:
      break;
    default:
      AjouteRegle(RegleNouvelle(szPath, false));
      return;
  }
  SetAttenteFormat(true);
  m_szAttendu = szPath;
  m_sondeFormat.Demande([this, szPath, fnFormat = m_sondes.fnFormat]() -> CArrierePlan::Suite {
    const EtatFormat eEtat = fnFormat(szPath);
    return [this, eEtat] { ReponseFormat(eEtat); };
  });
}

void CRuleEditor::AjouteDossier(const std::string& szPath) {
  AjouteRegle(RegleNouvelle(szPath, true));
}

void CRuleEditor::SetAttenteFormat(bool bAttente) {
  // A button that is disabled passes the keyboard to any other: it goes where the new rule will be.
  if (bAttente) m_pArbre->setFocus();
  // Held back as well: applying would lose the rule that is on its way.
  for (QWidget* pBouton : std::initializer_list<QWidget*>{m_pAjouterFichier, m_pAjouterDossier, m_pAppliquer}) {
    pBouton->setEnabled(!bAttente);
  }
  m_bAttenteFormat = bAttente;
  m_sondeFormat.Oublie();
  if (bAttente) {
    m_pDelaiFormat->start(m_sondes.nDelaiMs);
    setCursor(Qt::BusyCursor);
  } else {
    m_pDelaiFormat->stop();
    unsetCursor();
  }
}

void CRuleEditor::ReponseFormat(EtatFormat eEtat) {
  if (!m_bAttenteFormat) return;
  const int nAttenteMs = m_sondes.nDelaiMs - std::max(m_pDelaiFormat->remainingTime(), 0);
  SetAttenteFormat(false);
  if (eEtat == EtatFormat::Bon) {
    AjouteRegle(RegleNouvelle(m_szAttendu, false));
  } else {
    m_pAjouterFichier->setFocus();
    Refuse(eEtat);
  }
  Trace(1, "Règles : %s examiné en %d ms\n", m_szAttendu.c_str(), nAttenteMs);
}

void CRuleEditor::Refuse(EtatFormat eEtat) {
  const char* szTexte = "Type de média non géré";
  if (eEtat == EtatFormat::Illisible) szTexte = "Format du fichier non déterminé ou invalide";
  if (eEtat == EtatFormat::NonStereo) szTexte = "Seuls les fichiers stéréo sont supportés";
  ShowBox(this, QString::fromUtf8(szTexte), QStringLiteral("Choix du média"));
}

void CRuleEditor::AjouteRegle(Rule rule) {
  m_vRules.push_back(std::move(rule));
  m_pArbre->Remplit();
  m_pArbre->Selectionne(static_cast<int>(m_vRules.size()) - 1);
  m_pArbre->setFocus();
}

void CRuleEditor::SupprimeRegle() {
  const int nRegle = m_pArbre->Courante();
  if (nRegle < 0) return;
  const QPointer<CRuleEditor> pMoi(this);
  const bool bOui = Confirme(this, QStringLiteral("Confirmez-vous la suppression de la règle ?"),
                             QStringLiteral("Suppression de règles"));
  if (pMoi.isNull()) return;
  if (bOui) m_vRules.erase(m_vRules.begin() + nRegle);
  m_pArbre->Remplit();
  m_pArbre->Selectionne(0);
  // Without a rule selected it was disabled for a moment, which takes the keyboard away from it.
  (m_vRules.empty() ? m_pAjouterFichier : m_pSupprimer)->setFocus();
}

void CRuleEditor::Choisie(int nRegle) {
  m_pEcouter->setEnabled(nRegle >= 0);
  m_pSupprimer->setEnabled(nRegle >= 0);
  if (nRegle < 0) {
    m_pChamps->MontreAucune();
  } else {
    m_pChamps->Montre(m_vRules[static_cast<size_t>(nRegle)]);
  }
}

void CRuleEditor::Modifiee(const Rule& rule) {
  const int nRegle = m_pArbre->Courante();
  if (nRegle < 0) return;
  m_vRules[static_cast<size_t>(nRegle)] = rule;
  m_pArbre->Actualise(nRegle);
}

void CRuleEditor::BasculeEcoute() {
  m_pEcouter->setChecked(m_bEcoute);  // the button shows what plays, not how often it was clicked
  if (m_bEcoute) {
    ArreteEcoute();
    return;
  }
  const int nRegle = m_pArbre->Courante();
  if (nRegle < 0) return;
  const Rule& rule = m_vRules[static_cast<size_t>(nRegle)];
  if (rule.Folder || GetMediaType(rule.Path) != kMediaAudio) return;
  m_bEcoute = true;
  m_pEcouter->setChecked(true);
  // The first look at the file may take long; the opening that follows doesn't.
  m_sondeEcoute.Demande([this, szPath = rule.Path, fnFormat = m_sondes.fnFormat]() -> CArrierePlan::Suite {
    fnFormat(szPath);
    return [this, szPath] { Ecoute(szPath); };
  });
}

void CRuleEditor::Ecoute(const std::string& szPath) {
  m_pFinEcoute = std::make_unique<CMsgReceiver>([this](uint32_t uMsg, uintptr_t /*wParam*/, intptr_t /*lParam*/) {
    if (uMsg == kMsgPreviewFin) ArreteEcoute();
  });
  if (!g_Preview.Ecouter(szPath, m_pFinEcoute->Target())) ArreteEcoute();
}

void CRuleEditor::ArreteEcoute() {
  if (!m_bEcoute) return;
  m_bEcoute = false;
  m_pEcouter->setChecked(false);
  m_sondeEcoute.Oublie();
  m_pFinEcoute.reset();
  g_Preview.Arreter();
}

int EditRules(QWidget* pParent, std::vector<Rule>* pvRules) {
  const CDialogueTemp dialogue(std::make_unique<CRuleEditor>(*pvRules, pParent));
  const int nResultat = dialogue->exec();
  if (!dialogue || nResultat == 0) return 0;
  *pvRules = dialogue->Regles();
  return nResultat;
}

}  // namespace tonara
