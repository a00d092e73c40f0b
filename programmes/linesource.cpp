#include "programmes/linesource.h"

#include <algorithm>
#include <array>
#include <utility>

#include "audio/media.h"
#include "audio/mixout.h"
#include "audio/ramaudio.h"
#include "core/appcfg.h"
#include "core/log.h"
#include "platform/clock.h"

namespace tonara {
namespace {

constexpr uint32_t kFreq = 44100;
constexpr uint16_t kVoies = 2;
constexpr uint16_t kBits = 16;
// One capture block of 35280 bytes and room for 10048 more: about 257 ms.
constexpr uint16_t kAnneau = 45328;
// One capture block.
constexpr uint32_t kPret = 35280;
// Blocks in a row that the ring refuses, 200 ms each, before its reader counts as gone. A reader that
// has only lost the race of the clocks loses one at a time.
constexpr uint32_t kRefusMax = 5;

}  // namespace

CLineSource g_LineSource;

CLineSource::CLineSource() = default;

CLineSource::~CLineSource() {
  Stop();
}

void CLineSource::SetRecordBox(RecordBox fnBox) {
  CGuard guard(m_Lock);
  m_fnBox = std::move(fnBox);
}

bool CLineSource::Start(const std::string& szDevice, CMixout* pMixout, const char* szGroupe, float fGain) {
  {
    CGuard guard(m_Lock);
    if (m_bActif) return true;
  }
  if (!Ouvre(szDevice, pMixout, /*bDiscret=*/false)) return false;
  if (Joue(szGroupe, fGain)) return true;
  Stop();
  return false;
}

bool CLineSource::Ouvre(const std::string& szDevice, CMixout* pMixout, bool bDiscret) {
  if (pMixout == nullptr) return false;
  CGuard guard(m_Lock);
  if (m_pRecorder) return true;
  if (m_bEnCours) return false;  // a Stop still waits for the mixer to let go of the old ring
  // Looked for first: an attempt on an input that isn't there leaves no trace.
  const int iDevice = FindDeviceIn(szDevice);
  if (bDiscret && iDevice < 0) return false;
  if (!bDiscret) Trace(1, "LineSource : Start\n");
  m_pMixout = pMixout;
  m_pRam = std::make_unique<CRAMAudio>(kVoies, kFreq, kBits, kAnneau);
  m_pRecorder = std::make_unique<CWaveRecorder>(kFreq, kVoies, kBits);
  m_pRecorder->SetRecordBox(m_fnBox);
  m_pRecorder->SetDiscret(bDiscret);
  if (m_bSansThread) m_pRecorder->SetSansThread();
  const std::string szRam = MakeRamPath(m_pRam.get());
  if (m_pRecorder->Init(&szRam, static_cast<uint32_t>(iDevice)) && m_pRecorder->Prepare() &&
      m_pRecorder->Demarre(false)) {
    return true;
  }
  FermeLocked();
  m_pRam.reset();
  return false;
}

bool CLineSource::Joue(const char* szGroupe, float fGain) {
  std::string szRam;
  CMixout* pMixout = nullptr;
  {
    CGuard guard(m_Lock);
    if (m_dwTranche != 0) return true;
    if (!m_pRecorder || m_bEnCours) return false;
    szRam = MakeRamPath(m_pRam.get());
    pMixout = m_pMixout;
    m_bEnCours = true;
    m_bAbandon = false;
  }
  // Outside the lock: the mixer fills its queue from the ring, in real time.
  const int nTranche = pMixout->PlayFichier(szRam, kPlayMixe, 0, 0, 0, 0, fGain, false, 0, 0, szGroupe);
  CGuard guard(m_Lock);
  if (m_bAbandon) {
    // Stop waits for m_bEnCours with the ring still alive.
    pMixout->StopTranche(nTranche);
    m_bEnCours = false;
    return false;
  }
  m_bEnCours = false;
  m_dwTranche = nTranche;
  m_bActif = nTranche != 0;
  return m_bActif;
}

void CLineSource::FermeLocked() {
  if (!m_pRecorder) return;
  m_pRecorder->Arrete();
  m_pRecorder->Ferme();
  m_pRecorder.reset();
}

void CLineSource::Stop() {
  m_Lock.Lock();
  if (m_pRecorder && m_bActif) Trace(1, "LineSource : Stop\n");
  FermeLocked();
  m_bAbandon = m_bEnCours;
  if (m_bEnCours) {
    // The mixer is filling its queue from a ring that nothing feeds any more: silence lets it finish
    // in milliseconds, where it would wait for seconds.
    static constexpr std::array<uint8_t, kPret> kSilence{};
    while (m_bEnCours) {
      {
        CGuard guard(m_pRam->m_Lock);
        m_pRam->m_pFifo->Ecrit(kSilence.data(), kSilence.size());
      }
      m_Lock.Unlock();
      SystemClock().SleepMs(1);
      m_Lock.Lock();
    }
  }
  // The tranche goes before the ring that it reads.
  if (m_dwTranche != 0) m_pMixout->StopTranche(m_dwTranche);
  m_dwTranche = 0;
  m_pRam.reset();
  m_bActif = false;
  m_Lock.Unlock();
}

bool CLineSource::GetNiveaux(float* pfNiveaux, float* pfMax) {
  CGuard guard(m_Lock);
  return m_pRecorder && m_pRecorder->GetNiveaux(pfNiveaux, pfMax);
}

void CLineSource::ResetMax() {
  CGuard guard(m_Lock);
  if (m_pRecorder) m_pRecorder->ResetMax();
}

bool CLineSource::IsPret() {
  CGuard guard(m_Lock);
  if (!m_pRam) return false;
  CGuard anneau(m_pRam->m_Lock);
  return m_pRam->m_pFifo->GetCount() >= kPret;
}

void CLineSource::VideAnneau() {
  CGuard guard(m_Lock);
  if (!m_pRam) return;
  CGuard anneau(m_pRam->m_Lock);
  m_pRam->m_pFifo->Vide();
}

uint32_t CLineSource::NbBlocs() {
  CGuard guard(m_Lock);
  return m_pRecorder ? m_pRecorder->NbBlocs() : 0;
}

uint32_t CLineSource::NbRefus() {
  CGuard guard(m_Lock);
  return m_pRecorder ? m_pRecorder->NbRefus() : 0;
}

bool CLineSource::IsEntendue() {
  int nTranche = 0;
  CMixout* pMixout = nullptr;
  {
    CGuard guard(m_Lock);
    if (m_dwTranche == 0 || !m_pRecorder || m_pRecorder->NbRefus() >= kRefusMax) return false;
    nTranche = m_dwTranche;
    pMixout = m_pMixout;
  }
  // Outside the lock: a mix pass may be waiting for a dead input, and Stop must not wait behind it.
  return pMixout->GetPosTranche(nTranche, nullptr, nullptr);
}

bool CLineSource::IsOuvert() {
  CGuard guard(m_Lock);
  return m_pRecorder != nullptr;
}

void CLineSource::TickCapture() {
  CGuard guard(m_Lock);
  if (m_pRecorder) m_pRecorder->Tick();
}

}  // namespace tonara
