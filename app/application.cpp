#include "app/application.h"

#include <QApplication>
#include <QGuiApplication>
#include <QMessageBox>
#include <cstdlib>

#include "audio/mixout.h"
#include "core/appcfg.h"
#include "core/historique.h"
#include "core/log.h"
#include "programmes/audioprogram.h"
#include "schedule/calendrier.h"
#include "schedule/grille.h"
#include "video/contentlistmngr.h"

namespace tonara {

MsgTarget g_hMainWnd = 0;
CCivilTime g_stDernierJour;

namespace {

constexpr int kPeriodeAffichageMs = 500;
constexpr int kPeriodeJourMs = 200;
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

  g_pWarning->SetButton(m_pFenetre->UiAvertissement());
  connect(&m_timerAffichage, &QTimer::timeout, m_pFenetre.get(), &CMainWindow::Rafraichit);
  m_timerAffichage.start(kPeriodeAffichageMs);
  connect(&m_timerJour, &QTimer::timeout, this, [] { g_Calendrier.CheckJour(&g_stDernierJour); });
  m_timerJour.start(kPeriodeJourMs);

  g_Grille.Load(g_szAppDir);
  g_stDernierJour = SystemClock().LocalTime();
  g_Calendrier.SetNotify(g_hMainWnd, kMsgTick);
  g_Calendrier.StartThread();
  g_Calendrier.RequestGeneration(kMsgGeneration, kGenerationComplete);
  m_pFenetre->AfficheMessagesActifs(g_Appcfg.MessagesActifs);
  g_Calendrier.SetMessagesActifs(g_Appcfg.MessagesActifs);

  m_pFenetre->setWindowTitle(QLatin1String(kTitre));
  m_pFenetre->move(g_Appcfg.PosMain_Left, g_Appcfg.PosMain_Top);
  m_pFenetre->CreeBulles();
  m_pFenetre->Rafraichit();
  PostMsg(g_hMainWnd, kMsgDemarreProgrammes, 0, 0);
  // Without a display nobody sees the window, and nothing is spent on drawing it.
  if (QGuiApplication::platformName() != QLatin1String("offscreen")) m_pFenetre->show();
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
    default:  // kMsgTick among them: nobody shows the running event yet
      break;
  }
}

void CApplication::DemarreProgrammes() {
  Trace(1, "Démarrage des programmes, %u ms après le lancement\n",
        static_cast<unsigned>(SystemClock().MonotonicMs() - m_llLancementMs));
  if (StartAudioProgram()) {
    Trace(1, "Programme audio démarré, %u ms après le lancement\n",
          static_cast<unsigned>(SystemClock().MonotonicMs() - m_llLancementMs));
  }
}

void CApplication::FinGeneration() {
  g_Calendrier.EndGeneration();
  if (g_Calendrier.m_Journee.m_bFichiersManquants) m_pFenetre->AvertitFichiersManquants();
}

void CApplication::Ferme() {
  Stop();
  QCoreApplication::exit();
}

void CApplication::Stop(bool bSansAffichage) {
  if (!m_bDemarre) return;
  m_bDemarre = false;
  s_pApplication = nullptr;

  StopAudioProgram();
  g_Calendrier.StopThread();
  // A generation under way uses the globals that go down below. What it posts at its end is lost with
  // the receiver.
  g_Calendrier.m_Journee.WaitGeneration();
  m_pMessages->Deconnecte(g_hMainWnd);
  g_hMainWnd = 0;
  m_timerJour.stop();
  m_timerAffichage.stop();
  g_Mixout.StopAll();
  g_Mixout.Stop();
  if (bSansAffichage) {
    [[maybe_unused]] CMainWindow* pAbandonnee = m_pFenetre.release();
  } else if (m_pFenetre->isVisible() && PositionConnue()) {
    g_Appcfg.PosMain_Left = m_pFenetre->x();
    g_Appcfg.PosMain_Top = m_pFenetre->y();
  }
  m_pFenetre.reset();
  g_pWarning = nullptr;
  m_pWarning.reset();
  m_pMessages.reset();
  LogClose();
  // Last, so that the window's place reaches the file.
  g_Appcfg.Save();
}

}  // namespace tonara
