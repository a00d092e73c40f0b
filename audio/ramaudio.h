// A "file" in memory: a PCM format, a byte ring, a lock. One thread fills it (capture), a CWaveRAM
// source drains it. Whoever touches m_pFifo holds m_Lock for the call.
#pragma once

#include <cstdint>
#include <memory>

#include "audio/fifocache.h"
#include "platform/lock.h"

namespace tonara {

class CRAMAudio {
 public:
  CRAMAudio(uint16_t wChannels, uint32_t dwFreq, uint16_t wBits, uint16_t wTaille)
      : m_iChannels(wChannels),
        m_dwFreq(dwFreq),
        m_iBits(wBits),
        m_dwTaille(wTaille),
        m_pFifo(std::make_unique<CFIFOCache>(wTaille)) {}
  virtual ~CRAMAudio() = default;

  const uint16_t m_iChannels;
  const uint32_t m_dwFreq;
  const uint16_t m_iBits;
  const uint32_t m_dwTaille;
  CLock m_Lock;
  std::unique_ptr<CFIFOCache> m_pFifo GUARDED_BY(m_Lock);
};

}  // namespace tonara
