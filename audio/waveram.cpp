#include "audio/waveram.h"

#include "audio/ramaudio.h"
#include "core/log.h"

namespace tonara {
namespace {

constexpr uint64_t kAttenteMaxS = 5;

}  // namespace

bool CWaveRAM::Open(const std::string& szPath, uint32_t dwIn, uint32_t dwOut, PCMWAVEFORMAT* pFormat) {
  m_dwIn = dwIn;
  m_dwOut = dwOut;
  m_pRam = RamFromPath(szPath);
  if (m_pRam == nullptr) return false;
  // The rest of the record is an address, nothing to be shown.
  m_szPath.assign(1, '@');
  m_Format = MakePcmFormat(m_pRam->m_dwFreq, m_pRam->m_iChannels, m_pRam->m_iBits);
  m_bOuvert = true;
  m_bAbort.store(false, std::memory_order_release);
  if (pFormat != nullptr) *pFormat = m_Format;
  return true;
}

bool CWaveRAM::Close() {
  m_bOuvert = false;
  m_bAbort.store(false, std::memory_order_release);
  m_pRam = nullptr;
  return true;
}

bool CWaveRAM::Abort() {
  m_bAbort.store(true, std::memory_order_release);
  return true;
}

bool CWaveRAM::Read(uint8_t* pDest, uint32_t dwWanted, uint32_t* pdwGiven) {
  *pdwGiven = 0;
  if (!m_bOuvert) return false;
  if (dwWanted > m_pRam->m_dwTaille) {
    TraceOnce("ram-bloc", "Source en mémoire : le bloc de mixage est plus grand que le tampon");
    return false;
  }
  // Whole seconds, of the monotonic clock: setting the time of day must neither cut the wait nor
  // stretch it.
  uint64_t llDebut = m_Clock.MonotonicMs() / 1000;
  uint32_t dwAvant = 0;
  while (!m_bAbort.load(std::memory_order_acquire)) {
    uint32_t dwFill = 0;
    {
      CGuard guard(m_pRam->m_Lock);
      dwFill = m_pRam->m_pFifo->GetCount();
      if (dwFill >= dwWanted) {
        *pdwGiven = m_pRam->m_pFifo->Lit(pDest, dwWanted);
        return true;
      }
    }
    const uint64_t llSecondes = m_Clock.MonotonicMs() / 1000;
    if (dwFill != dwAvant) {
      llDebut = llSecondes;
      dwAvant = dwFill;
    }
    if (llSecondes - llDebut >= kAttenteMaxS) return false;
    m_Clock.SleepMs(1);
  }
  return false;
}

bool CWaveRAM::GetFormat(PCMWAVEFORMAT* pFormat) {
  if (!m_bOuvert) return false;
  *pFormat = m_Format;
  return true;
}

bool CWaveRAM::GetDuree(uint32_t* pdwMs, const PCMWAVEFORMAT* /*pReference*/) {
  if (pdwMs != nullptr) *pdwMs = 0;
  return true;
}

bool CWaveRAM::ReadFormat(const std::string& /*szPath*/, PCMWAVEFORMAT* /*pFormat*/) {
  return false;
}

}  // namespace tonara
