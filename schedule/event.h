// One entry of the day plan: one file to broadcast at one minute. Start and CheckEnd run on the firing
// thread only, under the calendar's lock; they lower the music, take the screen, play, notice the
// end and, for the last of a sequence, give everything back.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

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

enum TypeEvent : int { kEventMsgAudio = 1, kEventMsgVideo = 2, kEventMsgImage = 3, kEventJingle = 4, kEventVirgule = 9 };

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

  int m_nType = 0;
  std::string m_szNom;  ///< at most 127 bytes
  CCivilTime m_stHeure;
  uint32_t m_wOrdre = 0;
  bool m_bCache = false;
  bool m_bAutofade = false;
  uint32_t m_dwFadeDown = 200;  ///< ms
  uint32_t m_dwFadeUp = 500;    ///< ms
  bool m_bEnchaine = false;
  bool bFinASAEOF = false;
  bool m_bDemarre = false;
  bool m_bTermine = false;
  int m_nTranche = 0;
  std::string m_szPath;
};

/// A new event of that type on that context; null for an unknown type.
std::unique_ptr<CEvent> CreeEvent(int nType, EventContext& context = GlobalEventContext());

}  // namespace tonara
