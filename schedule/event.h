// One entry of the day plan: one file to broadcast at one minute. Start and CheckEnd run on the firing
// thread only, under the calendar's lock; they lower the music, take the screen, play, notice the
// end and, for the last of a sequence, give everything back.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "platform/clock.h"

namespace tonara {

class CAppcfg;
class CMixout;
class CHistorique;

/// What events act on; the process's globals by default, a test's own otherwise. The screen is GetEcran().
struct EventContext {
  CAppcfg* pCfg;
  CMixout* pMixout;
  CHistorique* pHistorique;
};
/// The context of the process's globals.
EventContext& GlobalEventContext();

/// The music is down. Firing thread only, under the calendar's lock.
extern bool g_bAutofadeActif;

/// Gives back what a sequence has taken: video programme, band, and the music over dwFadeUp ms. Does
/// nothing for what was not taken. Firing thread, under the calendar's lock.
void RendreProgramme(EventContext& context, uint32_t dwFadeUp);

enum TypeEvent : int {
  kEventMsgAudio = 1,
  kEventMsgVideo = 2,
  kEventMsgImage = 3,
  kEventJingle = 4,
  kEventVirgule = 9
};

/// An unchanging text that many events share: a plan of a rule per minute holds each path once.
class CTexte {
 public:
  CTexte() = default;
  explicit CTexte(std::string szText) : m_pText(std::make_shared<const std::string>(std::move(szText))) {}
  [[nodiscard]] const std::string& str() const { return m_pText ? *m_pText : Vide(); }
  operator const std::string&() const { return str(); }  // NOLINT: reads like the text it is
  [[nodiscard]] const char* c_str() const { return str().c_str(); }
  [[nodiscard]] bool empty() const { return str().empty(); }

 private:
  static const std::string& Vide();
  std::shared_ptr<const std::string> m_pText;
};

inline bool operator==(const CTexte& a, const std::string& b) {
  return a.str() == b;
}
inline bool operator==(const CTexte& a, const char* b) {
  return a.str() == b;
}

/// A file as events name it: its path and its title, cut at 127 bytes.
struct CFichierPrevu {
  CFichierPrevu() = default;
  explicit CFichierPrevu(const std::string& szPath);
  CTexte Path;
  CTexte Titre;
};

class CEvent {
 public:
  virtual ~CEvent() = default;

  virtual bool IsSpecial() = 0;
  /// Stores the path, and all but the jingle its title as m_szNom. False for a null path.
  virtual bool SetPath(const char* szPath) = 0;
  virtual bool GetTypeName(std::string* pOut) = 0;
  /// Title of the file, "A définir" without one. False for a null output.
  virtual bool GetFileName(std::string* pOut) = 0;
  virtual bool Save(const char* szSection, const char* szFichier) = 0;
  virtual bool Load(const char* szSection, const char* szFichier) = 0;
  /// Begins the broadcast; true. Once begun, does nothing more.
  virtual bool Start(bool bFin) = 0;
  /// True if the event has ended (now or earlier).
  virtual bool CheckEnd() = 0;

  /// Same as SetPath, sharing the texts.
  void SetFichier(const CFichierPrevu& fichier);
  /// Seconds from midnight to the second 0 of its minute.
  [[nodiscard]] int Secondes() const { return (m_stHeure.wHour * 60 + m_stHeure.wMinute) * 60; }

  int m_nType = 0;
  uint32_t m_wOrdre = 0;  ///< within its minute
  CTexte m_szNom;         ///< at most 127 bytes
  CTexte m_szPath;
  CCivilTime m_stHeure;         ///< only hour and minute count; the date is that of its plan, 0 once carried over
  uint32_t m_dwOrigine = 0;     ///< date of the plan that it was made for, (year x 100 + month) x 100 + day
  uint32_t m_dwFadeDown = 200;  ///< ms
  uint32_t m_dwFadeUp = 500;    ///< ms
  int m_nTranche = 0;
  bool m_bCache = false;
  bool m_bAutofade = false;
  bool m_bEnchaine = false;
  bool bFinASAEOF = false;
  bool m_bDemarre = false;
  /// Never goes back to false. Written by the firing thread and, for events that did not start, by whoever passes
  /// them over.
  std::atomic<bool> m_bTermine{false};
};

/// A new event of that type on that context; null for an unknown type, or without memory.
std::unique_ptr<CEvent> CreeEvent(int nType, EventContext& context = GlobalEventContext());

}  // namespace tonara
