#include "audio/waveout.h"

#include <algorithm>
#include <bit>
#include <new>

#include "audio/pcm.h"
#include "core/log.h"

namespace tonara {

namespace {

/// More than any setting asks for; a mistyped setting must not eat the machine's memory.
constexpr uint64_t kTailleMax = 256ULL << 20;

}  // namespace

bool CWaveOut::AlloueLocked(uint32_t dwNbBuffers) {
  const uint64_t llTotal = uint64_t{dwNbBuffers} * m_dwTailleBuffer;
  if (llTotal == 0 || llTotal > kTailleMax) return false;
  try {
    for (uint32_t n = 0; n < dwNbBuffers; ++n) {
      m_pBuffers.push_back(std::make_unique<WAVE_BUFFER>());
      WAVE_BUFFER& bloc = *m_pBuffers.back();
      bloc.m_iIndex = static_cast<int>(n);
      bloc.m_vData.resize(m_dwTailleBuffer);
      bloc.m_bLibre = true;
      bloc.m_pOwner = this;
    }
  } catch (const std::bad_alloc&) {
    LibereLocked();
    return false;
  }
  return true;
}

void CWaveOut::LibereLocked() {
  m_pBuffers.clear();
}

void CWaveOut::TraceErreur(const char* szOperation, const std::string& szTexte) {
  Trace(1, "%s a échoué %d\n", szOperation, static_cast<int>(m_iDevice));
  Trace(0, "%s\n", szTexte.c_str());
}

bool CWaveOut::Open(uint32_t dwDevice, const PCMWAVEFORMAT& format, uint32_t dwNbBuffers, int iMs, CAutoEvent* pEvent) {
  CGuard guard(m_Lock);
  if (m_hWaveOut) return true;
  m_dwTours = 0;
  m_dwDernierePos = 0;
  m_llTour = 0;
  m_dwTourMs = 0;
  m_llEcrites = 0;
  m_iQueue = 0;
  m_Format = format;
  m_dwTailleBuffer = iMs > 0 ? TailleBloc(format, static_cast<uint32_t>(iMs)) : 0;
  m_hEvent = pEvent;
  m_iDevice = dwDevice;
  if (!AlloueLocked(dwNbBuffers)) {
    Trace(1, "L'allocation des buffers Audio a échoué %d\n", static_cast<int>(dwDevice));
    return false;
  }
  Trace(1, "WaveOutOpen %d\n", static_cast<int>(dwDevice));
  // Some devices know only the extensible description, some only the plain one.
  std::string szErreur;
  CWaveBackend& backend = WaveBackend();
  m_hWaveOut = backend.OpenOut(dwDevice, format, true, &CWaveOut::Fini, &szErreur);
  if (!m_hWaveOut) m_hWaveOut = backend.OpenOut(dwDevice, format, false, &CWaveOut::Fini, &szErreur);
  if (!m_hWaveOut) {
    TraceErreur("waveOutOpen", szErreur);
    LibereLocked();
    return false;
  }
  if (!m_hWaveOut->Pause()) TraceErreur("waveOutPause", m_hWaveOut->ErrorText());
  m_bActif = true;
  m_bOuvert.store(true, std::memory_order_release);
  return true;
}

bool CWaveOut::Close() {
  CGuard guard(m_Lock);
  m_bActif = false;
  m_iQueue = 0;
  if (!m_hWaveOut) return false;
  Trace(1, "WaveOutClose %d\n", static_cast<int>(m_iDevice));
  // The destructor gives the blocks back, so they may go only after it.
  m_hWaveOut.reset();
  m_bOuvert.store(false, std::memory_order_release);
  LibereLocked();
  return true;
}

bool CWaveOut::Write(int iBloc, uint32_t dwOctets) {
  CGuard guard(m_Lock);
  if (dwOctets == 0 || !m_bActif || !m_hWaveOut) return false;
  if (iBloc < 0 || iBloc >= static_cast<int>(m_pBuffers.size()) || dwOctets > m_dwTailleBuffer) return false;
  WAVE_BUFFER& bloc = *m_pBuffers[static_cast<size_t>(iBloc)];
  bloc.m_bLibre = false;
  bloc.m_bFini.store(false, std::memory_order_relaxed);
  bloc.m_Header = {};
  bloc.m_Header.pData = bloc.m_vData.data();
  bloc.m_Header.dwLength = dwOctets;
  bloc.m_Header.pUser = &bloc;
  if (!m_hWaveOut->Write(&bloc.m_Header)) {
    TraceErreur("waveOutWrite", m_hWaveOut->ErrorText());
    return false;
  }
  ++m_iQueue;
  m_llEcrites += dwOctets / m_Format.nBlockAlign;
  return true;
}

void CWaveOut::Fini(WaveHeader* pHeader) {
  auto* pBloc = static_cast<WAVE_BUFFER*>(pHeader->pUser);
  // Read before the mark: once it is set, the block may be written anew.
  CAutoEvent* const hEvent = pBloc->m_pOwner->m_hEvent;
  pBloc->m_bFini.store(true, std::memory_order_release);
  if (hEvent) hEvent->Set();
}

bool CWaveOut::Reap() {
  CGuard guard(m_Lock);
  if (!m_hWaveOut) return false;
  for (const auto& pBloc : m_pBuffers) {
    if (!pBloc->m_bFini.load(std::memory_order_acquire)) continue;
    pBloc->m_bLibre = true;
    pBloc->m_bFini.store(false, std::memory_order_relaxed);
    m_iQueue = std::max(m_iQueue - 1, 0);
  }
  return true;
}

bool CWaveOut::Pause() {
  CGuard guard(m_Lock);
  if (!m_hWaveOut) return false;
  if (!m_hWaveOut->Pause()) TraceErreur("waveOutPause", m_hWaveOut->ErrorText());
  return true;
}

bool CWaveOut::Restart() {
  CGuard guard(m_Lock);
  if (!m_hWaveOut) return false;
  if (!m_hWaveOut->Restart()) TraceErreur("waveOutRestart", m_hWaveOut->ErrorText());
  return true;
}

bool CWaveOut::Reset() {
  CGuard guard(m_Lock);
  m_bActif = false;
  if (!m_hWaveOut) return false;
  if (!m_hWaveOut->Reset()) TraceErreur("waveOutReset", m_hWaveOut->ErrorText());
  // The device counts from 0 again: no wrap.
  m_dwDernierePos = 0;
  m_dwTours = 0;
  return true;
}

bool CWaveOut::LitPositionLocked(uint32_t* pdwEch) {
  uint32_t dwEch = 0;
  if (!m_hWaveOut || !m_hWaveOut->GetPosition(&dwEch)) return false;
  if (dwEch < m_dwDernierePos) {
    // Drivers wrap at different powers of two: at the first wrap take the next one above the last value.
    if (m_dwTours == 0) {
      m_llTour = uint64_t{1} << std::bit_width(m_dwDernierePos);
      m_dwTourMs = static_cast<uint32_t>(static_cast<double>(m_llTour) / m_Format.nSamplesPerSec * 1000.0);
    }
    ++m_dwTours;
  }
  m_dwDernierePos = dwEch;
  *pdwEch = dwEch;
  return true;
}

bool CWaveOut::GetPosition(uint32_t* pdwMs) {
  CGuard guard(m_Lock);
  uint32_t dwEch = 0;
  if (!LitPositionLocked(&dwEch)) return false;
  if (pdwMs)
    *pdwMs =
        static_cast<uint32_t>(static_cast<uint64_t>(static_cast<double>(dwEch) / m_Format.nSamplesPerSec * 1000.0) +
                              uint64_t{m_dwTours} * m_dwTourMs);
  return true;
}

bool CWaveOut::GetPositionEch(uint64_t* pllEch) {
  CGuard guard(m_Lock);
  uint32_t dwEch = 0;
  if (!LitPositionLocked(&dwEch)) return false;
  if (pllEch) *pllEch = dwEch + m_dwTours * m_llTour;
  return true;
}

bool CWaveOut::SetVolume(float fDb) {
  CGuard guard(m_Lock);
  if (!m_hWaveOut) return false;
  // Above 0 dB sixteen bits would wrap round to a whisper.
  const auto dwCote = static_cast<uint32_t>(std::clamp(DbToGain(fDb) * 65535.0, 0.0, 65535.0));
  if (!m_hWaveOut->SetVolume(dwCote << 16 | dwCote)) TraceErreur("waveOutSetVolume", m_hWaveOut->ErrorText());
  return true;
}

int CWaveOut::NbBuffers() {
  CGuard guard(m_Lock);
  return static_cast<int>(m_pBuffers.size());
}

uint32_t CWaveOut::TailleBuffer() {
  CGuard guard(m_Lock);
  return m_dwTailleBuffer;
}

bool CWaveOut::IsLibre(int iBloc) {
  CGuard guard(m_Lock);
  return iBloc >= 0 && iBloc < static_cast<int>(m_pBuffers.size()) && m_pBuffers[static_cast<size_t>(iBloc)]->m_bLibre;
}

uint8_t* CWaveOut::Data(int iBloc) {
  CGuard guard(m_Lock);
  if (iBloc < 0 || iBloc >= static_cast<int>(m_pBuffers.size())) return nullptr;
  return m_pBuffers[static_cast<size_t>(iBloc)]->m_vData.data();
}

int CWaveOut::NbEnQueue() {
  CGuard guard(m_Lock);
  return m_iQueue;
}

uint64_t CWaveOut::EchEcrites() {
  CGuard guard(m_Lock);
  return m_llEcrites;
}

}  // namespace tonara
