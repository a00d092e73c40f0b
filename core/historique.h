// The broadcast history "Historique.txt": one line for each thing that went on the air.
#pragma once

#include <atomic>
#include <string>

#include "platform/lock.h"

namespace tonara {

class CClock;

class CHistorique {
 public:
  CHistorique();
  virtual ~CHistorique() = default;

  /// File is szDir + "Historique.txt". Before other threads use the object.
  void SetPath(const std::string& szDir);
  void Enable(bool bActif);
  void SetClock(CClock& clock);
  /// Appends "MM/DD/YY HH:MM:SS - text" if the history is on; the text brings its own line feed and is
  /// cut at 1023 bytes on a character boundary, its line feed kept. The file is open only during the call. Any thread;
  /// blocks on the disk. A file that can't be opened loses the line.
  void Add(const char* szFormat, ...) __attribute__((format(printf, 2, 3)));

 private:
  CLock m_cs;
  std::string m_szLigne GUARDED_BY(m_cs);
  std::atomic<bool> m_bActif{false};
  std::string m_szPath;
  CClock* m_pClock;  ///< null: the system's
};

extern CHistorique g_Historique;

}  // namespace tonara
