#include "ui/mainwindow.h"

#include <QCloseEvent>
#include <QDesktopServices>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QMessageBox>
#include <QUrl>
#include <QVBoxLayout>

#include "core/appcfg.h"
#include "schedule/calendrier.h"
#include "ui/groupe.h"
#include "ui/iconbutton.h"
#include "ui/look.h"
#include "ui/textbox.h"

namespace tonara {
namespace {

constexpr size_t kStatusMax = 256;  // bytes of the status that are looked at

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
  m_pHorloge->setFont(FonteHorloge());
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

  auto* pGroupeMessages = new CGroupe(QStringLiteral("Messages"), this);
  m_pMessages = new CIconButton(QStringLiteral("toggle-on"), QStringLiteral("toggle-off"), {56, 32}, pGroupeMessages);
  m_pMessages->setAccessibleName(QStringLiteral("Diffusion des messages programmés"));
  m_pStatus = new CTextBox(2, QStringLiteral("Nom d'un message assez long dans 23 h 59 mn 59 s"),
                           CTextBox::Cadrage::Centre, pGroupeMessages);
  m_pStatus->SetMarges(8, 6);
  m_pStatus->setAccessibleName(QStringLiteral("État de la programmation"));
  m_pStatus->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  auto* pMessages = new QHBoxLayout(pGroupeMessages);
  pMessages->setContentsMargins(kMarge - 4, kEspace, kMarge, kMarge - 2);
  pMessages->setSpacing(kEspace);
  pMessages->addWidget(m_pMessages);
  pMessages->addWidget(m_pStatus);

  auto* pFenetre = new QVBoxLayout(this);
  pFenetre->setContentsMargins(kMarge, kMarge, kMarge, kMarge);
  pFenetre->setSpacing(kEspaceGroupe);
  pFenetre->addLayout(pEntete);
  pFenetre->addWidget(pGroupeMessages);
  pFenetre->setSizeConstraint(QLayout::SetFixedSize);

  setTabOrder(m_pLogo, m_pAvertissement);
  setTabOrder(m_pAvertissement, m_pMessages);

  connect(m_pLogo, &QAbstractButton::clicked, this, &CMainWindow::OuvreSite);
  connect(m_pAvertissement, &QAbstractButton::clicked, this, [] {
    if (g_pWarning != nullptr) g_pWarning->Show();
  });
  // clicked, not toggled: setting the state by program must change nothing else.
  connect(m_pMessages, &QAbstractButton::clicked, this, &CMainWindow::BasculeMessages);
  // The window itself has the focus at first: a space bar hit by chance must not switch the messages off.
  setFocusPolicy(Qt::ClickFocus);
  setFocus();
}

void CMainWindow::AfficheMessagesActifs(bool bActifs) {
  m_pMessages->setChecked(bActifs);
}

void CMainWindow::CreeBulles() {
  AddToolTip(m_pLogo, QStringLiteral("Accès au site internet tonara"));
  AddToolTip(m_pMessages, QStringLiteral("Autoriser / Interdire la diffusion des messages programmés"));
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

}  // namespace tonara
