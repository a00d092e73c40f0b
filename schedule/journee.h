// The day's plan: the list of events, and the thread that works it out from the rules.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/lock.h"
#include "platform/messages.h"
#include "platform/worker.h"
#include "schedule/event.h"

namespace tonara {

class CClock;
class CGrille;

inline constexpr uint32_t kGenerationJour = 0;       ///< day change: unfinished events are carried over
inline constexpr uint32_t kGenerationComplete = 1;   ///< full: all anew, past events marked finished

/// Takes its own lock in every operation but StartGeneration. Any thread.
class CJournee {
 public:
  CJournee(CClock& clock, CGrille& grille, EventContext& context);
  virtual ~CJournee();

  /// Starts the generation thread for the date in m_w...; uMsgFin goes to hWnd at its end. False if no
  /// thread could be started. Main thread, while the firing thread stands still.
  bool StartGeneration(MsgTarget hWnd, uint32_t uMsgFin, uint32_t nMode);
  /// The generation itself, in the caller's thread: what the thread runs, and tests. 
  void Generer(uint32_t nMode);
  /// Joins a running generation (asked to end early). Main thread.
  void WaitGeneration();
  [[nodiscard]] bool IsGeneration() const;

  CEvent* AddEvent(int nType, uint16_t wHeure, uint16_t wMinute, uint32_t wOrdre);
  void AddMessage(uint16_t wHeure, uint16_t wMinute, const std::string& szPath);
  bool CanPlay(const std::string& szPath);
  int CountAt(uint16_t wHeure, uint16_t wMinute);
  /// Null at or past the end. The pointer lives until the next generation: firing thread only.
  CEvent* GetEventAt(size_t nIndex);
  bool GetEventInfo(size_t nIndex, bool* pbCache, uint16_t* pwHeure, uint16_t* pwMinute, std::string* pType,
                    std::string* pNom);
  bool FindNext(bool bTous, size_t* pnIndex, size_t* pnAvant);
  void SortEvents();
  void MarkOverdue();
  void PurgeEvents(bool bGarderEnCours);
  [[nodiscard]] size_t NbEvents();

  uint16_t m_wAnnee = 0, m_wMois = 0, m_wJour = 0, m_wJourSemaine = 0;
  std::atomic<bool> m_bFichiersManquants{false};
};

}  // namespace tonara
