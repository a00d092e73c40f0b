// The program put together: start and stop orders of the subsystems, timers and private messages of
// the main window. Main thread.
#pragma once

#include <QObject>
#include <QTimer>
#include <memory>

#include "app/qtmessagesink.h"
#include "app/windowplace.h"
#include "core/warning.h"
#include "platform/clock.h"
#include "ui/mainwindow.h"

namespace tonara {

/// The process's result when it has been up.
inline constexpr int kFinNormale = 1;

/// The main window as a receiver of messages; 0 before its start and after its end.
extern MsgTarget g_hMainWnd;
/// The moment of the last day check.
extern CCivilTime g_stDernierJour;

class CApplication final : public QObject {
  Q_OBJECT

 public:
  CApplication() = default;
  ~CApplication() override { Stop(); }

  /// Brings everything up, the programmes excepted: they start with the first messages, once the
  /// window is there. llLancementMs is the process's start on the monotonic clock, for the trace.
  void Start(uint64_t llLancementMs);
  /// Takes everything down in order; blocks until the threads have ended. Does nothing when nothing
  /// is up. bSansAffichage: the display has gone, so no window is touched.
  void Stop(bool bSansAffichage = false);
  /// The close message: modal windows are left first, then Stop, then the end of the event loop.
  void Ferme();

 private:
  void OnMessage(uint32_t uMsg, uintptr_t wParam);
  void DemarreProgrammes();
  void FinGeneration();

  uint64_t m_llLancementMs = 0;
  std::unique_ptr<CQtMessageSink> m_pMessages;
  std::unique_ptr<CWarning> m_pWarning;
  std::unique_ptr<CMainWindow> m_pFenetre;
  std::unique_ptr<CWindowPlace> m_pPlace;
  QTimer m_timerAffichage;  // 1
  QTimer m_timerJour;       // 3
  QTimer m_timerNiveaux;    // 4
  bool m_bDemarre = false;
  int m_nEssaisModale = 0;
};

}  // namespace tonara
