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
  /// On the machine's clock and the process's globals.
  CCalendrier();
  CCalendrier(CClock& clock, CGrille& grille, EventContext& context);
  /// Ends both threads.
  virtual ~CCalendrier();
  CCalendrier(const CCalendrier&) = delete;
  CCalendrier& operator=(const CCalendrier&) = delete;

  /// Where notifications go. Once, before the thread starts.
  void SetNotify(MsgTarget hWnd, uint32_t uMsgTick);
  /// Starts the firing thread unless it runs. Always true; a thread that could not be made is traced and
  /// tried again at the next call. Main thread.
  bool StartThread();
  /// Counts as started, with the rounds left to the caller of Tick: for tests.
  void StartSansThread() { m_bThreadActif = true; }
  /// Ends it, after the tick under way. Main thread.
  void StopThread();
  /// Asks for a generation: uMsg with wParam (kGeneration...) goes out as soon as no event plays. A request
  /// that arrives during a generation waits for its end; several waiting ones become one that does
  /// what all of them asked. Any thread.
  void RequestGeneration(uint32_t uMsg, uint32_t wParam);
  /// The generation has ended: events may fire again. Any thread.
  void EndGeneration();
  /// Enabling passes over everything that fell due meanwhile. Disabling lets what plays end and close its
  /// sequence. Any thread; may wait for an event that opens its file.
  void SetMessagesActifs(bool bActifs);
  /// Copies the status line (at most 255 bytes). Null is ignored. May wait for an event that opens its file.
  void GetStatusText(std::string* pOut);
  /// A message or sting is under way. Any thread, no lock.
  [[nodiscard]] bool IsMessageEnCours() const { return m_bMessageEnCours.load(std::memory_order_relaxed); }

  /// Main window, on kMsgGeneration: stamps today into the plan and starts the generation thread, which
  /// posts kMsgFinGeneration. Without a thread it generates at once, in the caller's.
  void OnMsgGeneration(uint32_t wParam);
  /// Main window, timer 3: asks for a day-change generation when the date differs from *pDernierJour, which
  /// takes the present time.
  void CheckJour(CCivilTime* pDernierJour);

  /// One tick of the firing thread, without its sleep. For the thread and for tests.
  void Tick();
  /// Length of the sleep that ends at the next fifth of a second of the local clock: 1 to 200 ms.
  [[nodiscard]] uint32_t DureeSommeil() const;

  CJournee m_Journee;

 private:
  void TickEvent(CEvent& event, CEvent* pSuivant, int nMaintenant) REQUIRES(m_cs);
  void Demarre(CEvent& event, CEvent* pSuivant, int nMaintenant) REQUIRES(m_cs);
  void FermeSequence(const CEvent* pEvent) REQUIRES(m_cs);
  void MakeStatus(const CEvent* pEvent, const CEvent* pSuivant, int nMaintenant) REQUIRES(m_cs);
  void CedeGeneration(CEvent* pEvent) REQUIRES(m_cs);

  CClock& m_clock;
  EventContext& m_context;
  MsgTarget m_hWnd = 0;
  uint32_t m_uMsgTick = 0;
  uint32_t m_uMsgGeneration GUARDED_BY(m_cs) = 0;
  uint32_t m_wParamGeneration GUARDED_BY(m_cs) = 0;
  bool m_bMessagesActifs GUARDED_BY(m_cs) = false;
  std::atomic<bool> m_bMessageEnCours{false};
  CLock m_cs;
  bool m_bThreadActif = false;  ///< main thread only
  bool m_bGenerationDemandee GUARDED_BY(m_cs) = false;
  bool m_bSuspendu GUARDED_BY(m_cs) = false;
  bool m_bSansFenetre GUARDED_BY(m_cs) = false;      ///< nobody takes the hand-over: go on with the old plan
  bool m_bSequenceOuverte GUARDED_BY(m_cs) = false;  ///< the last event left the programme to its successor
  std::string m_szStatus GUARDED_BY(m_cs);

  CWorker m_worker;  ///< last: it is joined before the rest goes
};

extern CCalendrier g_Calendrier;

}  // namespace tonara
