// A source: one playable thing as a stream of PCM bytes for a tranche of the mixer. The path alone
// chooses the class. Sources are not locked: only the thread that holds the mixer's lock touches
// them; Abort alone may come from any thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/waveformat.h"

namespace tonara {

class CRAMAudio;

enum TypeMedia : int { kMediaWave = 1, kMediaMpeg = 2, kMediaRam = 3 };

/// The "path" of an in-memory source: '@', three NULs, then the CRAMAudio's address. Not a text.
std::string MakeRamPath(CRAMAudio* pRam);
/// The address in such a path, null if it isn't one.
CRAMAudio* RamFromPath(const std::string& szPath);

class CMedia {
 public:
  virtual ~CMedia() = default;

  /// Opens the source and gives its format. In and out points in ms, out 0 for the end. On failure
  /// false, and Close must still be called. May block on the disk.
  virtual bool Open(const std::string& szPath, uint32_t dwIn, uint32_t dwOut, PCMWAVEFORMAT* pFormat) = 0;
  virtual bool Close() = 0;
  /// Releases a blocked Read. Any thread, without the mixer's lock.
  virtual bool Abort() { return true; }
  /// Gives up to dwWanted bytes, *pdwGiven of them. Zero bytes or false: the end of the source.
  virtual bool Read(uint8_t* pDest, uint32_t dwWanted, uint32_t* pdwGiven) = 0;
  /// Kept for sources that could set data aside; none does. Returns 0.
  virtual int Reserve(uint32_t /*dwArg*/) { return 0; }
  /// False unless open.
  virtual bool GetFormat(PCMWAVEFORMAT* pFormat) = 0;
  /// Total duration in ms at the reference format's rate (null: its own). 0 for a live source. False
  /// if the source can't tell.
  virtual bool GetDuree(uint32_t* pdwMs, const PCMWAVEFORMAT* pReference) = 0;
  /// Reads the format of a file without playing it; opens and closes by itself.
  virtual bool ReadFormat(const std::string& szPath, PCMWAVEFORMAT* pFormat) = 0;

  int m_iType = 0;

 protected:
  std::string m_szPath;
  uint32_t m_dwIn = 0;
  uint32_t m_dwOut = 0;
  bool m_bOuvert = false;
  std::atomic<bool> m_bAbort{false};
};

/// kMediaRam for a path that begins with '@', kMediaWave for the extension ".wav" in any case, else
/// kMediaMpeg, URLs included.
int GetTypeMedia(const std::string& szPath);
/// A new source of that type with m_iType set; null for any other type.
std::unique_ptr<CMedia> CreeMedia(int iType);

}  // namespace tonara
