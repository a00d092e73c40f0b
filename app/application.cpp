#include "app/application.h"

#include <QApplication>
#include <QDialog>
#include <QGuiApplication>
#include <QMetaObject>
#include <QString>
#include <cstdlib>
#include <string>
#include <utility>

#include "app/echeance.h"
#include "audio/mixout.h"
#include "audio/preview.h"
#include "core/appcfg.h"
#include "core/historique.h"
#include "core/log.h"
#include "programmes/audioprogram.h"
#include "programmes/linesource.h"
#include "programmes/programmedlg.h"
#include "schedule/calendrier.h"
#include "schedule/grille.h"
#include "ui/listeevents.h"
#include "ui/look/look.h"
#include "ui/look/msgtarget.h"
#include "ui/mixergui.h"
#include "video/contentlistmngr.h"

namespace tonara {

MsgTarget g_hMainWnd = 0;
CCivilTime g_stDernierJour;

namespace {

constexpr int kPeriodeAffichageMs = 500;
constexpr int kPeriodeJourMs = 200;
constexpr int kPeriodeNiveauxMs = 200;
constexpr int kEssaisModale = 20;
constexpr int kAttenteModaleMs = 20;
constexpr int kFinAuPlusTardMs = 1300;
constexpr char kTitre[] = "tonara 2.05a";

CApplication* s_pApplication = nullptr;  // while it is up

// The display library calls exit() when its server dies. Threads that run on while the globals are
// destroyed would be a crash or a hang, and the settings would be lost.
void FinImprevue() {
  if (s_pApplication == nullptr) return;
  Trace(1, "Affichage perdu : fin du programme\n");
  s_pApplication->Stop(/*bSansAffichage=*/true);
}

// Wayland tells no window where it stands, and offers no way to put it anywhere.
bool PositionConnue() {
  return !QGuiApplication::platformName().startsWith(QLatin1String("wayland"));
}

}  // namespace

void CApplication::Start(uint64_t llLancementMs) {
  if (m_bDemarre) return;
  m_bDemarre = true;
  m_llLancementMs = llLancementMs;
  s_pApplication = this;
  // Registered after the globals were made, so it runs before their destructors.
  [[maybe_unused]] static const int s_nFin = std::atexit(FinImprevue);

  m_pMessages = std::make_unique<CQtMessageSink>();
  g_hMainWnd = NewMsgTarget();
  m_pMessages->Connecte(g_hMainWnd,
                        [this](uint32_t uMsg, uintptr_t wParam, intptr_t /*lParam*/) { OnMessage(uMsg, wParam); });

  SetMsgConnector({[this](MsgTarget target, MsgRecepteur fn) { m_pMessages->Connecte(target, std::move(fn)); },
                   [this](MsgTarget target) { m_pMessages->Deconnecte(target); }});

  g_Historique.SetPath(g_szAppDir);
  g_Historique.Enable(g_Appcfg.ActiverHistorique);
  g_Historique.Add("<----- DEMARRAGE APPLICATION ----->\n");
  SemerAleatoire(static_cast<uint32_t>(SystemClock().MonotonicMs()));
  LogSetFile(g_szAppDir, "tonara.log", g_Appcfg.ActiverTraces);
  LogOpen();
  m_pWarning = std::make_unique<CWarning>();
  g_pWarning = m_pWarning.get();

  m_pFenetre = std::make_unique<CMainWindow>();
  connect(m_pFenetre.get(), &CMainWindow::Fermeture, this, &CApplication::Ferme, Qt::QueuedConnection);

  g_Mixout.Start(FindDeviceOut(g_Appcfg.DeviceOut), g_Appcfg.NbBuffers, g_Appcfg.TailleBuffers, 0);
  g_Mixout.AddGroupe("MESSAGE", g_Appcfg.MessageAudio, 0.0F);
  g_Mixout.AddGroupe("MUSIQUE", g_Appcfg.Music, g_Appcfg.AutoFade);

  // The capture's failures come from the threads that open the input. All of them have ended before the
  // window goes.
  g_LineSource.SetRecordBox([pFenetre = m_pFenetre.get()](const std::string& szTexte, const std::string& szTitre) {
    QMetaObject::invokeMethod(
        pFenetre,
        [pFenetre, szTexte = QString::fromStdString(szTexte), szTitre = QString::fromStdString(szTitre)] {
          ShowBox(pFenetre, szTexte, szTitre);
        },
        Qt::QueuedConnection);
  });

  g_pWarning->SetButton(m_pFenetre->UiAvertissement());
  connect(&m_timerAffichage, &QTimer::timeout, m_pFenetre.get(), &CMainWindow::Rafraichit);
  connect(&m_timerJour, &QTimer::timeout, this, [] { g_Calendrier.CheckJour(&g_stDernierJour); });
  m_timerJour.start(kPeriodeJourMs);
  connect(&m_timerNiveaux, &QTimer::timeout, m_pFenetre.get(), &CMainWindow::RafraichitNiveaux);

  g_Grille.Load(g_szAppDir);
  g_stDernierJour = SystemClock().LocalTime();
  g_Calendrier.SetNotify(g_hMainWnd, kMsgTick);
  g_Calendrier.StartThread();
  g_Calendrier.RequestGeneration(kMsgGeneration, kGenerationComplete);
  m_pFenetre->AfficheMessagesActifs(g_Appcfg.MessagesActifs);
  m_pFenetre->AfficheTextesActifs(g_Appcfg.Synthe.Enable);
  g_Calendrier.SetMessagesActifs(g_Appcfg.MessagesActifs);

  m_pFenetre->setWindowTitle(QLatin1String(kTitre));
  m_pPlace = std::make_unique<CWindowPlace>(*m_pFenetre, QPoint(g_Appcfg.PosMain_Left, g_Appcfg.PosMain_Top));
  m_pFenetre->CreeBulles();
  m_pFenetre->Rafraichit();
  PostMsg(g_hMainWnd, kMsgDemarreProgrammes, 0, 0);
  // Without a display nobody sees the window, and nothing is spent on drawing it.
  if (QGuiApplication::platformName() != QLatin1String("offscreen")) {
    m_timerAffichage.start(kPeriodeAffichageMs);
    m_timerNiveaux.start(kPeriodeNiveauxMs);
    m_pFenetre->show();
  }
}

void CApplication::OnMessage(uint32_t uMsg, uintptr_t wParam) {
  switch (uMsg) {
    case kMsgDemarreProgrammes:
      DemarreProgrammes();
      break;
    case kMsgGeneration:
      g_Calendrier.OnMsgGeneration(static_cast<uint32_t>(wParam));
      break;
    case kMsgFinGeneration:
      FinGeneration();
      break;
    case kMsgTick:
      g_ListeEvents.MoveHighlight();
      break;
    default:
      break;
  }
}

void CApplication::DemarreProgrammes() {
  Trace(1, "Démarrage des programmes, %u ms après le lancement\n",
        static_cast<unsigned>(SystemClock().MonotonicMs() - m_llLancementMs));
  // Not here: a music folder on a network drive that isn't there yet must not hold up the plan.
  RelanceAudioProgram([llLancementMs = m_llLancementMs](bool bJoue) {
    if (!bJoue) return;
    Trace(1, "Programme audio démarré, %u ms après le lancement\n",
          static_cast<unsigned>(SystemClock().MonotonicMs() - llLancementMs));
  });
}

void CApplication::FinGeneration() {
  g_Calendrier.EndGeneration();
  g_ListeEvents.Refresh();
  if (g_Calendrier.m_Journee.m_bFichiersManquants) m_pFenetre->AvertitFichiersManquants();
}

void CApplication::Ferme() {
  // A modal window has a loop of its own, on whose stack its objects live: it has to return before they
  // are destroyed. Leaving it is what its close box does.
  if (QWidget* pModale = QApplication::activeModalWidget(); pModale != nullptr && m_nEssaisModale++ < kEssaisModale) {
    auto* pDialogue = qobject_cast<QDialog*>(pModale);
    if (pDialogue != nullptr) {
      pDialogue->reject();
    } else {
      pModale->close();
    }
    QTimer::singleShot(kAttenteModaleMs, this, &CApplication::Ferme);
    return;
  }
  Stop();
  QCoreApplication::exit();
}

void CApplication::Stop(bool bSansAffichage) {
  if (!m_bDemarre) return;
  m_bDemarre = false;
  s_pApplication = nullptr;
  if (!bSansAffichage && m_pFenetre->isVisible() && PositionConnue()) {
    const QPoint coin = m_pPlace->Coin();
    g_Appcfg.PosMain_Left = coin.x();
    g_Appcfg.PosMain_Top = coin.y();
  }
  CEcheance echeance(kFinAuPlusTardMs, [] {
    Trace(1, "Fin sans attendre : un disque ne répond pas\n");
    LogClose();
    g_Appcfg.Save();
    std::_Exit(kFinNormale);
  });

  StopAudioProgram();
  g_LineSource.SetRecordBox({});
  g_Calendrier.StopThread();
  // A generation under way uses the globals that go down below. What it posts at its end is lost with
  // the receiver.
  g_Calendrier.m_Journee.WaitGeneration();
  g_Preview.Arreter();
  m_pMessages->Deconnecte(g_hMainWnd);
  g_hMainWnd = 0;
  m_timerJour.stop();
  m_timerAffichage.stop();
  m_timerNiveaux.stop();
  g_Mixout.StopAll();
  g_Mixout.Stop();
  if (!bSansAffichage) {
    // The panel saves its levels as it closes.
    g_MixerGUI.Close();
    g_ListeEvents.Close();
    CloseDlgProgramme();
  }
  if (bSansAffichage) {
    [[maybe_unused]] CMainWindow* pAbandonnee = m_pFenetre.release();
  }
  m_pPlace.reset();
  m_pFenetre.reset();
  SetMsgConnector({});
  g_pWarning = nullptr;
  m_pWarning.reset();
  m_pMessages.reset();
  echeance.Leve();
  LogClose();
  // Last, so that the window's place reaches the file.
  g_Appcfg.Save();
}

}  // namespace tonara
