// PCM in memory as a source: what another thread captures is played as it comes.
#pragma once

#include <cstdint>
#include <string>

#include "audio/media.h"
#include "platform/clock.h"

namespace tonara {

/// Drains a CRAMAudio, which it doesn't own and which must outlive it. A live source: duration 0.
class CWaveRAM final : public CMedia {
 public:
  explicit CWaveRAM(CClock& clock = SystemClock()) : m_Clock(clock) {}
  ~CWaveRAM() override { CWaveRAM::Close(); }

  /// The path comes from MakeRamPath.
  bool Open(const std::string& szPath, uint32_t dwIn, uint32_t dwOut, PCMWAVEFORMAT* pFormat) override;
  bool Close() override;
  bool Abort() override;
  /// Gives exactly dwWanted bytes, or none. Blocks until that much is there, for up to 5 s without any
  /// new data; Abort ends the wait within milliseconds, and so does a dwWanted that the ring can never
  /// hold.
  bool Read(uint8_t* pDest, uint32_t dwWanted, uint32_t* pdwGiven) override;
  bool GetFormat(PCMWAVEFORMAT* pFormat) override;
  bool GetDuree(uint32_t* pdwMs, const PCMWAVEFORMAT* pReference) override;
  bool ReadFormat(const std::string& szPath, PCMWAVEFORMAT* pFormat) override;

 private:
  CClock& m_Clock;
  CRAMAudio* m_pRam = nullptr;
  PCMWAVEFORMAT m_Format;
};

}  // namespace tonara
