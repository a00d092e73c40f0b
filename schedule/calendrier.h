// The clock of the broadcast: owns the day's plan and one firing thread that looks five times a
// second at the first unfinished event, starts it when its time has come and asks whether it has
// ended. Also writes the operator's status line and decides when a new plan may replace the old one.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "platform/lock.h"
#include "platform/messages.h"
#include "platform/worker.h"
#include "schedule/journee.h"

namespace tonara {

/// Private messages of the main window.
inline constexpr uint32_t kMsgDemarreProgrammes = 1025;
inline constexpr uint32_t kMsgTick = 1027;
inline constexpr uint32_t kMsgGeneration = 1028;
inline constexpr uint32_t kMsgFinGeneration = 1029;

class CCalendrier {
 public:
  CCalendrier();
  CCalendrier(CClock& clock, CGrille& grille, EventContext& context);
  virtual ~CCalendrier();

  /// Where notifications go. Once, before the thread starts.
  void SetNotify(MsgTarget hWnd, uint32_t uMsgTick);
  /// Starts the firing thread unless it runs. Always true.
  bool StartThread();
  /// Ends it, after the tick under way. Main thread.
  void StopThread();
  /// Asks for a generation: uMsg with wParam goes out as soon as no event plays. A request that
  /// arrives during a generation waits for its end. Any thread.
  void RequestGeneration(uint32_t uMsg, uint32_t wParam);
  /// The generation has ended: events may fire again.
  void EndGeneration();
  /// Enabling passes over everything that fell due meanwhile.
  void SetMessagesActifs(bool bActifs);
  /// Copies the status line (at most 255 bytes). Null is ignored. May wait for an event that opens its file.
  void GetStatusText(std::string* pOut);
  /// A message or sting is under way. Any thread, no lock.
  [[nodiscard]] bool IsMessageEnCours() const { return m_bMessageEnCours.load(std::memory_order_relaxed); }

  /// Main window, on kMsgGeneration: stamps today into the plan and starts the generation thread, which
  /// posts kMsgFinGeneration.
  void OnMsgGeneration(uint32_t wParam);
  /// Main window, timer 3: asks for a day-change generation when the date differs from *pDernierJour, which
  /// takes the present time.
  void CheckJour(CCivilTime* pDernierJour);

  /// One tick of the firing thread, without its sleep. For the thread and for tests.
  void Tick();

  CJournee m_Journee;
};

extern CCalendrier g_Calendrier;

}  // namespace tonara
