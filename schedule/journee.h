// The day's plan: the list of events, and the thread that works it out from the rules.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/lock.h"
#include "platform/messages.h"
#include "platform/worker.h"
#include "schedule/event.h"

namespace tonara {

class CClock;
class CGrille;
struct Rule;

/// Generation modes.
inline constexpr uint32_t kGenerationJour = 0;      ///< day change: unfinished events are carried over
inline constexpr uint32_t kGenerationComplete = 1;  ///< full: all anew, past events marked finished
/// Full and day change at once: all anew, and the new day's past events still fire.
inline constexpr uint32_t kGenerationCompleteJour = 2;

/// Takes its own lock in every operation but StartGeneration. Any thread.
class CJournee {
 public:
  CJournee(CClock& clock, CGrille& grille, EventContext& context);
  virtual ~CJournee();

  /// The date of the next generation. Main thread, while none runs.
  void SetDate(const CCivilTime& stDate);
  /// The date of the plan, (year x 100 + month) x 100 + day; 0 before the first generation and during one.
  [[nodiscard]] uint32_t DatePlan() const { return m_dwDatePlan.load(); }

  /// Starts the generation thread for the date in m_w...; uMsgFin goes to hWnd at its end. False if no
  /// thread could be started or one runs. Main thread, while the firing thread stands still.
  bool StartGeneration(MsgTarget hWnd, uint32_t uMsgFin, uint32_t nMode);
  /// The generation itself, in the caller's thread: what the thread runs, and tests. Reads the sting settings
  /// first. Blocks on the disks of the rules.
  void Generer(uint32_t nMode);
  /// Joins a running generation (asked to end early, without its message; the plan is then incomplete). Main
  /// thread.
  void WaitGeneration();
  [[nodiscard]] bool IsGeneration() const { return m_bGeneration.load(); }
  /// Called, on the generation thread, when nobody took the end message. Once, before the first generation.
  void SetFinPerdue(std::function<void()> fnFinPerdue) { m_fnFinPerdue = std::move(fnFinPerdue); }

  /// The event, which lives until the next generation; null for an unknown type.
  CEvent* AddEvent(int nType, uint16_t wHeure, uint16_t wMinute, uint32_t wOrdre);
  void AddMessage(uint16_t wHeure, uint16_t wMinute, const std::string& szPath);
  bool CanPlay(const std::string& szPath);
  int CountAt(uint16_t wHeure, uint16_t wMinute);
  /// Null at or past the end. The pointer lives until the next generation: firing thread only.
  CEvent* GetEventAt(size_t nIndex);
  bool GetEventInfo(size_t nIndex, bool* pbCache, uint16_t* pwHeure, uint16_t* pwMinute, std::string* pType,
                    std::string* pNom);
  /// The first unfinished event, of all or of those shown: its index, the size of the list if there is none
  /// (false), and the number of finished ones looked at before it. Constant time on average.
  bool FindNext(bool bTous, size_t* pnIndex, size_t* pnAvant);
  void SortEvents();
  /// Passes over the events that are due and have not started.
  void MarkOverdue();
  /// Deletes all events, or only the finished ones.
  void PurgeEvents(bool bGarderEnCours);
  [[nodiscard]] size_t NbEvents();

  uint16_t m_wAnnee = 0, m_wMois = 0, m_wJour = 0, m_wJourSemaine = 0;
  std::atomic<bool> m_bFichiersManquants{false};

 private:
  using Events = std::vector<std::unique_ptr<CEvent>>;
  /// A file that slots play: what doesn't change from slot to slot.
  struct Diffusable {
    CFichierPrevu Fichier;
    int nType = 0;
    bool bJouable = false;
  };
  struct ReglagesVirgules {
    bool bAvant = false;
    bool bEntre = false;
    CFichierPrevu Avant;
    CFichierPrevu Entre;
  };
  /// Where FindNext goes on: nothing before nIndex is unfinished.
  struct Curseur {
    size_t nIndex = 0;
    size_t nAvant = 0;
  };
  /// For each minute of the day that is not past, how many of its events were played: the clock was
  /// set back, or the minute has just begun. A full generation does not plan them again.
  using Servis = std::array<uint32_t, 24 * 60>;

  void LireReglages();
  bool Derouler(uint32_t nMode);
  bool DeroulerRegle(const Rule& rule, size_t nRegle);
  bool DeroulerDossier(const Rule& rule, size_t nRegle);
  [[nodiscard]] bool EstDuJour(const Rule& rule) const;
  bool DisqueRepond(const Rule& rule, bool bPatient);
  Diffusable Examiner(const std::string& szPath);
  void AddMessageLocked(uint16_t wHeure, uint16_t wMinute, const Diffusable& fichier) REQUIRES(m_cs);
  CEvent* AddEventLocked(int nType, uint16_t wHeure, uint16_t wMinute, uint32_t wOrdre) REQUIRES(m_cs);
  uint32_t& CompteLocked(uint16_t wHeure, uint16_t wMinute) REQUIRES(m_cs);
  void ReprendreListeLocked() REQUIRES(m_cs);
  void Reporter();
  Servis DejaServis();
  void MarquerServis(const Servis& servis);
  [[nodiscard]] uint32_t DateDemandee() const;

  CClock& m_clock;
  CGrille& m_grille;
  EventContext& m_context;
  std::function<void()> m_fnFinPerdue;
  MsgTarget m_hWndNotif = 0;
  uint32_t m_uMsgFin = 0;
  std::atomic<bool> m_bGeneration{false};
  std::atomic<uint32_t> m_dwDatePlan{0};
  ReglagesVirgules m_virgules;  ///< written on the main thread while no generation runs

  CLock m_cs;
  Events m_vEvents GUARDED_BY(m_cs);
  Curseur m_curTous GUARDED_BY(m_cs);
  Curseur m_curVisibles GUARDED_BY(m_cs);
  std::array<uint32_t, 24 * 60> m_nParMinute GUARDED_BY(m_cs){};
  std::unordered_map<uint32_t, uint32_t> m_nAilleurs GUARDED_BY(m_cs);  ///< counts at times that no day has

  CWorker m_worker;  ///< last: it is joined before the rest goes
};

}  // namespace tonara
