#include "ui/mainwindow.h"

#include <QCloseEvent>
#include <QDesktopServices>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QMessageBox>
#include <QUrl>
#include <QVBoxLayout>
#include <algorithm>
#include <initializer_list>

#include "audio/mixout.h"
#include "core/appcfg.h"
#include "programmes/programmedlg.h"
#include "schedule/calendrier.h"
#include "ui/listeevents.h"
#include "ui/look/groupe.h"
#include "ui/look/iconbutton.h"
#include "ui/look/look.h"
#include "ui/look/textbox.h"
#include "ui/look/vumeter.h"
#include "ui/mixergui.h"

namespace tonara {
namespace {

constexpr size_t kStatusMax = 256;  // bytes of the status that are looked at
constexpr QSize kTailleIcone{30, 30};
constexpr QSize kTailleBascule{56, 32};

QHBoxLayout* Rangee(CGroupe* pGroupe) {
  auto* pRangee = new QHBoxLayout(pGroupe);
  // A button is larger than its drawing, on either side.
  pRangee->setContentsMargins(kMarge - 4, kEspace, kMarge - 4, kMarge - 4);
  pRangee->setSpacing(kEspace);
  return pRangee;
}

}  // namespace

CMainWindow::CMainWindow(const CClock& horloge) : m_horloge(horloge) {
  setWindowTitle(QStringLiteral("tonara"));
  setWindowFlags(Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                 Qt::WindowMinimizeButtonHint | Qt::WindowCloseButtonHint);

  m_pLogo = new CIconButton(QStringLiteral("logo"), {164, 36}, this);
  m_pLogo->setAccessibleName(QStringLiteral("Accès au site internet tonara"));
  m_pAvertissement = new CIconButton(QStringLiteral("warning"), {32, 32}, this);
  m_pAvertissement->setAccessibleName(QStringLiteral("Avertissement"));
  // Its place stays free, so that nothing moves when it appears.
  QSizePolicy place = m_pAvertissement->sizePolicy();
  place.setRetainSizeWhenHidden(true);
  m_pAvertissement->setSizePolicy(place);
  m_pAvertissement->hide();
  m_pHorloge = new CTextBox(1, QStringLiteral("00:00:00"), CTextBox::Cadrage::Gauche, this);
  m_pHorloge->setFont(FonteHorloge(*this));
  m_pHorloge->SetMarges(10, 2);
  m_pHorloge->setAccessibleName(QStringLiteral("Heure"));
  m_pHorloge->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);

  auto* pEntete = new QHBoxLayout;
  pEntete->setSpacing(kEspace);
  // A button is larger than its drawing: so the logo stands flush with the groups below.
  pEntete->addSpacing(-CIconButton::kBord);
  pEntete->addWidget(m_pLogo);
  pEntete->addStretch();
  pEntete->addWidget(m_pAvertissement);
  pEntete->addStretch();
  pEntete->addWidget(m_pHorloge);

  auto* pGeneral = new CGroupe(QStringLiteral("Général"), this);
  m_pMetres = new CZoneVuMetres(g_Appcfg.ModeVuMetres, pGeneral);
  m_pMetres->setAccessibleName(QStringLiteral("Niveaux de sortie"));
  m_pMetres->setAccessibleDescription(QStringLiteral("Rouge : saturation. Un clic efface l'alarme."));
  m_vNiveaux.assign(static_cast<size_t>(m_pMetres->NbBarres()), kNiveauRepos);
  m_vCretes = m_vAlarmes = m_vNiveaux;
  m_pNiveaux = Bouton(QStringLiteral("levels"), QStringLiteral("Régler les niveaux audio"), pGeneral);
  m_pConfiguration = Bouton(QStringLiteral("settings"), QStringLiteral("Configurer tonara"), pGeneral);
  auto* pRangeeGeneral = Rangee(pGeneral);
  pRangeeGeneral->addSpacing(4);
  pRangeeGeneral->addWidget(m_pMetres);
  pRangeeGeneral->addWidget(m_pNiveaux);
  pRangeeGeneral->addWidget(m_pConfiguration);

  auto* pGroupeMessages = new CGroupe(QStringLiteral("Messages"), this);
  m_pMessages =
      new CIconButton(QStringLiteral("toggle-on"), QStringLiteral("toggle-off"), kTailleBascule, pGroupeMessages);
  m_pMessages->setAccessibleName(QStringLiteral("Diffusion des messages programmés"));
  m_pStatus = new CTextBox(2, QStringLiteral("Nom d'un message assez long dans 23 h 59 mn 59 s"),
                           CTextBox::Cadrage::Centre, pGroupeMessages);
  m_pStatus->SetMarges(8, 6);
  m_pStatus->setAccessibleName(QStringLiteral("État de la programmation"));
  m_pStatus->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  m_pPlan = Bouton(QStringLiteral("plan"), QStringLiteral("Programmer les messages"), pGroupeMessages);
  auto* pMessages = Rangee(pGroupeMessages);
  pMessages->addWidget(m_pMessages);
  pMessages->addWidget(m_pStatus);
  pMessages->addWidget(m_pPlan);

  auto* pGroupeTextes = new CGroupe(QStringLiteral("Textes défilants"), this);
  m_pTextes = new CIconButton(QStringLiteral("toggle-on"), QStringLiteral("toggle-off"), kTailleBascule, pGroupeTextes);
  m_pTextes->setAccessibleName(QStringLiteral("Diffusion des textes défilants"));
  m_pGestionTextes = Bouton(QStringLiteral("texts"), QStringLiteral("Gérer les textes défilants"), pGroupeTextes);
  auto* pTextes = Rangee(pGroupeTextes);
  pTextes->addWidget(m_pTextes);
  pTextes->addStretch();
  pTextes->addWidget(m_pGestionTextes);

  auto* pGroupeProgramme = new CGroupe(QStringLiteral("Programme"), this);
  m_pProgramme = Bouton(QStringLiteral("music"), QStringLiteral("Définir le programme continu"), pGroupeProgramme);
  auto* pProgramme = Rangee(pGroupeProgramme);
  pProgramme->addStretch();
  pProgramme->addWidget(m_pProgramme);
  pProgramme->addStretch();

  // Stands in the layout for shops that have it shown; nothing here does.
  auto* pGroupeManuel = new CGroupe(QStringLiteral("Manuel"), this);
  m_pManuel = Bouton(QStringLiteral("manual"), QStringLiteral("Diffusion manuelle"), pGroupeManuel);
  auto* pManuel = Rangee(pGroupeManuel);
  pManuel->addStretch();
  pManuel->addWidget(m_pManuel);
  pManuel->addStretch();
  m_pManuel->hide();
  pGroupeManuel->hide();
  // Their windows are still to come.
  for (CIconButton* pBouton : {m_pConfiguration, m_pGestionTextes}) pBouton->setEnabled(false);

  auto* pBas = new QHBoxLayout;
  pBas->setSpacing(kEspaceGroupe);
  pBas->addWidget(pGroupeTextes, 2);
  pBas->addWidget(pGroupeProgramme, 1);
  pBas->addWidget(pGroupeManuel, 1);

  auto* pFenetre = new QVBoxLayout(this);
  pFenetre->setContentsMargins(kMarge, kMarge, kMarge, kMarge);
  pFenetre->setSpacing(kEspaceGroupe);
  pFenetre->addLayout(pEntete);
  pFenetre->addWidget(pGeneral);
  pFenetre->addWidget(pGroupeMessages);
  pFenetre->addLayout(pBas);
  pFenetre->setSizeConstraint(QLayout::SetFixedSize);

  QWidget* pAvant = m_pLogo;
  for (QWidget* pControle :
       std::initializer_list<QWidget*>{m_pAvertissement, m_pMetres, m_pNiveaux, m_pConfiguration, m_pMessages, m_pPlan,
                                       m_pTextes, m_pGestionTextes, m_pProgramme, m_pManuel}) {
    setTabOrder(pAvant, pControle);
    pAvant = pControle;
  }

  connect(m_pLogo, &QAbstractButton::clicked, this, &CMainWindow::OuvreSite);
  connect(m_pAvertissement, &QAbstractButton::clicked, this, [] {
    if (g_pWarning != nullptr) g_pWarning->Show();
  });
  connect(m_pMetres, &CZoneVuMetres::Clic, this,
          [this] { std::fill(m_vAlarmes.begin(), m_vAlarmes.end(), kNiveauRepos); });
  connect(m_pNiveaux, &QAbstractButton::clicked, this, [this] { g_MixerGUI.Open(this, &g_Mixout); });
  connect(m_pPlan, &QAbstractButton::clicked, this, [this] { g_ListeEvents.Open(this); });
  connect(m_pTextes, &QAbstractButton::clicked, this, &CMainWindow::BasculeTextes);
  connect(m_pProgramme, &QAbstractButton::clicked, this, [this] { OpenDlgProgramme(this); });
  connect(m_pManuel, &QAbstractButton::clicked, this, &CMainWindow::DiffusionManuelle);
  // clicked, not toggled: setting the state by program must change nothing else.
  connect(m_pMessages, &QAbstractButton::clicked, this, &CMainWindow::BasculeMessages);
  // The window itself has the focus at first: a space bar hit by chance must not switch the messages off.
  setFocusPolicy(Qt::ClickFocus);
  setFocus();
}

CIconButton* CMainWindow::Bouton(const QString& szIcone, const QString& szNom, QWidget* pParent) {
  auto* pBouton = new CIconButton(szIcone, kTailleIcone, pParent);
  pBouton->setAccessibleName(szNom);
  return pBouton;
}

void CMainWindow::AfficheTextesActifs(bool bActifs) {
  m_pTextes->setChecked(bActifs);
}

void CMainWindow::AfficheMessagesActifs(bool bActifs) {
  m_pMessages->setChecked(bActifs);
}

void CMainWindow::CreeBulles() {
  AddToolTip(m_pLogo, QStringLiteral("Accès au site internet tonara"));
  for (CIconButton* pBouton : {m_pNiveaux, m_pConfiguration, m_pPlan, m_pGestionTextes, m_pProgramme}) {
    AddToolTip(pBouton, pBouton->accessibleName());
  }
  AddToolTip(m_pMessages, QStringLiteral("Autoriser / Interdire la diffusion des messages programmés"));
  AddToolTip(m_pTextes, QStringLiteral("Autoriser / Interdire la diffusion des textes défilants"));
}

WarningUi CMainWindow::UiAvertissement() {
  WarningUi ui;
  ui.fnShowButton = [this](bool bVisible) {
    m_pAvertissement->setEnabled(bVisible);
    m_pAvertissement->setVisible(bVisible);
  };
  ui.fnBox = [this](const std::string& szTexte, const std::string& szTitre) {
    ShowBox(this, QString::fromStdString(szTexte), QString::fromStdString(szTitre));
  };
  return ui;
}

void CMainWindow::Rafraichit() {
  if (g_pWarning != nullptr) g_pWarning->Poll();

  const CCivilTime t = m_horloge.LocalTime();
  m_pHorloge->SetTexte(QString::asprintf("%02d:%02d:%02d", t.wHour, t.wMinute, t.wSecond));

  std::string szStatus;
  g_Calendrier.GetStatusText(&szStatus);
  if (szStatus.compare(0, kStatusMax, m_szStatus) != 0) {
    m_szStatus = szStatus.substr(0, kStatusMax);
    m_pStatus->SetTexte(QString::fromStdString(m_szStatus));
  }
  g_MixerGUI.SetMessageEnCours(g_Calendrier.IsMessageEnCours());
}

void CMainWindow::RafraichitNiveaux() {
  const int nBarres = m_pMetres->NbBarres();
  if (!g_Mixout.IsActif()) {
    for (int i = 0; i < nBarres; ++i) m_pMetres->Update(i, kNiveauRepos, kNiveauRepos);
    return;
  }
  std::fill(m_vNiveaux.begin(), m_vNiveaux.end(), kNiveauRepos);
  std::fill(m_vCretes.begin(), m_vCretes.end(), kNiveauRepos);
  g_Mixout.GetNiveaux(m_vNiveaux.data(), m_vCretes.data(), nBarres);
  for (int i = 0; i < nBarres; ++i) {
    const auto n = static_cast<size_t>(i);
    m_vAlarmes[n] = std::max(m_vAlarmes[n], m_vCretes[n]);
    m_pMetres->Update(i, m_vNiveaux[n], m_vAlarmes[n]);
  }
}

void CMainWindow::AvertitFichiersManquants() {
  ShowBox(this,
          QStringLiteral("Des fichiers ou répertoires ne sont plus accessibles et n'ont pas été pris en compte.\r\n"
                         "Consulter les règles de diffusion des messages."),
          QStringLiteral("Gérération de la programmation du jour"));
}

void CMainWindow::closeEvent(QCloseEvent* pEvent) {
  // The window goes when everything behind it has gone.
  pEvent->ignore();
  emit Fermeture();
}

void CMainWindow::keyPressEvent(QKeyEvent* pEvent) {
  if (pEvent->key() == Qt::Key_Return || pEvent->key() == Qt::Key_Enter) {
    close();
    return;
  }
  QWidget::keyPressEvent(pEvent);
}

void CMainWindow::OuvreSite() {
  QDesktopServices::openUrl(QUrl(QLatin1String(kSiteWeb)));
}

void CMainWindow::BasculeMessages(bool bActifs) {
  g_Appcfg.MessagesActifs = bActifs;
  g_Calendrier.SetMessagesActifs(bActifs);
  g_Appcfg.Save();
}

void CMainWindow::BasculeTextes(bool bActifs) {
  g_Appcfg.Synthe.Enable = bActifs;
  g_Appcfg.Save();
}

}  // namespace tonara
