// The mixer's thread and the mix pass.
#include <algorithm>

#include "audio/mixe.h"
#include "audio/mixout.h"
#include "core/log.h"

namespace tonara {

namespace {

/// Turns of a loop within one block before the block goes out short: a source of a few frames must not
/// keep the lock for ever.
constexpr int kToursMax = 256;

}  // namespace

void CMixout::ThreadMix() {
  // The time-out is only there for the stop flag: every change that needs a look sets the event.
  while (!m_hThread.StopRequested()) {
    if (!m_hEvent.Wait(500)) continue;
    while (!m_hThread.StopRequested() && !Tick()) m_hThread.Sleep(1);
  }
}

bool CMixout::Tick() {
  if (!m_Lock.TryLock()) return false;
  TickLocked();
  m_Lock.Unlock();
  return true;
}

void CMixout::TickLocked() {
  if (!m_Sortie.IsOpen()) return;
  m_Sortie.Reap();
  bool bRupture = false;
  if (m_Sortie.NbEnQueue() == 0 && IsActif()) {
    m_Sortie.Pause();
    m_bEnPause = true;
    bRupture = true;
  }
  if (RemplitLocked()) {
    if (bRupture) {
      Trace(0, "***************************************\n");
      Trace(1, "Device Wave %d : Rupture débit\n", m_iDevice);
      Trace(0, "***************************************\n");
    }
  } else if (m_Sortie.NbEnQueue() == 0) {
    FermeSortieLocked();
  }
}

/// Mixes into every free block until nothing more comes; lets a paused device go on if it now has
/// something to play. True if anything was written.
bool CMixout::RemplitLocked() {
  bool bEcrit = false;
  const int nBlocs = m_Sortie.NbBuffers();
  for (int n = 0; n < nBlocs; ++n) {
    if (!m_Sortie.IsLibre(n)) continue;
    const uint32_t dwOctets = MixeLocked(m_Sortie.Data(n));
    if (dwOctets == 0 || !m_Sortie.Write(n, dwOctets)) break;
    bEcrit = true;
  }
  if (bEcrit && m_bEnPause) {
    m_Sortie.Restart();
    m_bEnPause = false;
  }
  return bEcrit;
}

/// The device position for which the next block is mixed: that of the pass which, in the steady state
/// of one block a pass, would mix it. With N blocks of B frames, one has just finished then and N - 1
/// are queued, so it is what has been written less (N - 1) x B. Where one block is mixed per pass this
/// is the played position as the device tells it. Where a pass finds m free blocks, the position P read
/// in that pass would give all of them the same piece of every line; so block j gets P - (m - 1 - j) x B,
/// which is the same number, and the line is drawn on. After a starvation m is N and P all that was
/// written: the line goes on where it stopped. While the first blocks are prefilled the result is 0 or
/// below, and elapsed times take 0 for that; the same for a tranche that starts while the device runs,
/// until its first sample is heard. Where blocks had stood free because nothing came, it trails what is
/// played until the queue is full again. Ramps use the result as it is: it grows by exactly what is written,
/// whatever the device's callbacks do, so a ramp can neither repeat nor skip.
int64_t CMixout::PositionMixLocked() {
  return static_cast<int64_t>(m_Sortie.EchEcrites()) -
         static_cast<int64_t>(m_Sortie.NbBuffers() - 1) * static_cast<int64_t>(m_dwFramesBloc);
}

/// One pass: every active tranche onto the bus, the bus into the block. Bytes of the block that hold
/// sound, 0 for none.
uint32_t CMixout::MixeLocked(uint8_t* pDest) {
  // Without a position no tranche has an elapsed time; its data waits.
  if (!m_Sortie.GetPositionEch(nullptr)) return 0;
  const int64_t llMix = PositionMixLocked();
  std::fill(m_vBus.begin(), m_vBus.end(), 0.0F);
  uint32_t dwFrames = 0;
  for (int n = 1; n <= NB_TRANCHES; ++n) dwFrames = std::max(dwFrames, MixeTrancheLocked(n, llMix));
  if (dwFrames == 0) return 0;
  {
    CGuard niveaux(m_NiveauLock);
    m_pfCrete = m_vCrete;
    for (size_t c = 0; c < m_pfCrete.size(); ++c) m_pfCrete2[c] = std::max(m_pfCrete2[c], m_pfCrete[c]);
  }
  EcrireBus(m_vBus.data(), dwFrames * m_Format.nChannels, m_Format.wBitsPerSample, pDest);
  return dwFrames * m_Format.nBlockAlign;
}

/// Mixes one block of a tranche; how many frames it gave. A loop whose source ends within the block is
/// reopened at once and fills the rest, so that it has no gap while something else plays; its turn
/// begins at the frame of the queue where its first sample stands.
uint32_t CMixout::MixeTrancheLocked(int nTranche, int64_t llMix) {
  TRANCHE_MIX& t = *TrancheLocked(nTranche);
  if (!t.m_bActif || !t.m_pMedia) return 0;
  const uint64_t llBloc = m_Sortie.EchEcrites();
  uint32_t dwFait = 0;
  int nTours = 0;
  bool bRouverte = false;
  // Only a tranche that an earlier opening of the device left behind can have another rate.
  const bool bAutreFreq = t.m_Format.nSamplesPerSec != m_Format.nSamplesPerSec;
  while (dwFait < m_dwFramesBloc) {
    const uint32_t dwVoulu = (m_dwFramesBloc - dwFait) * t.m_Format.nBlockAlign;
    if (m_vSource.size() < dwVoulu) m_vSource.resize(dwVoulu);
    uint32_t dwLus = 0;
    if (bAutreFreq || !t.m_pMedia->Read(m_vSource.data(), dwVoulu, &dwLus)) dwLus = 0;
    const uint32_t dwFrames = std::min(dwLus, dwVoulu) / t.m_Format.nBlockAlign;
    if (dwFrames == 0) {
      if (!t.m_bBoucle || t.m_bFin || bAutreFreq) {
        if (dwFait == 0 && t.m_hWndFin != 0)
          PostMsg(t.m_hWndFin, t.m_uMsgFin, static_cast<uintptr_t>(nTranche), m_iDevice);
        break;
      }
      if (bRouverte || ++nTours > kToursMax || !RouvreLocked(t, llBloc + dwFait)) break;
      bRouverte = true;
      continue;
    }
    bRouverte = false;
    if (t.m_bOrphelin) {  // it has more after all: it goes on, from here, on the new opening
      t.m_bOrphelin = false;
      t.m_dwDebut = llBloc + dwFait;
      t.m_dwRampeDebut = 0;
      t.m_dwRampeFin = 0;
    }
    if (dwFait == 0) std::fill(m_vCrete.begin(), m_vCrete.end(), 0.0F);
    if (!MixeSuiteLocked(t, llMix, dwFait, dwFrames)) break;
    dwFait += dwFrames;
    if (!t.m_bBoucle || t.m_bFin) break;
  }
  return dwFait;
}

/// Mixes frames that were read into m_vSource, dwOffset frames into the block. False without a position.
bool CMixout::MixeSuiteLocked(TRANCHE_MIX& t, int64_t llMix, uint32_t dwOffset, uint32_t dwFrames) {
  POSITION_TRANCHE pos;
  if (!PositionLocked(t, llMix, &pos)) return false;
  // Elapsed and remaining hold for the block's first frame, or for that of a turn begun within it.
  const uint64_t llBloc = m_Sortie.EchEcrites();
  const uint64_t llTour = t.m_dwDebut > llBloc ? t.m_dwDebut - llBloc : 0;
  const uint64_t llDepuis = dwOffset - std::min<uint64_t>(llTour, dwOffset);
  const uint64_t llEcoule = pos.dwTotal != 0 ? std::min(pos.llEcoule, pos.llTotal) : pos.llEcoule;

  MIXE_RUN run;
  run.fMaster = m_fMaster;
  run.fGain = t.m_fGain;
  run.llRampe = llMix + dwOffset - static_cast<int64_t>(t.m_dwDebut);
  run.llRampeDebut = t.m_dwRampeDebut;
  run.llRampeFin = t.m_dwRampeFin;
  run.dRampePente = t.m_fRampePente;
  run.dRampeOrigine = t.m_fRampeOrigine;
  run.llPos = llEcoule + llDepuis;
  run.dwFadeIn = t.m_dwFadeIn;
  if (t.m_bFin) {
    run.dwFadeOut = t.m_dwFadeOut;
    run.llReste = t.m_llFin - run.llRampe;
  } else if (pos.dwTotal != 0) {  // a live source has no end to fade towards
    run.dwFadeOut = t.m_dwFadeOut;
    run.llReste = static_cast<int64_t>(pos.llTotal - llEcoule) - static_cast<int64_t>(llDepuis);
  }

  const int nCanaux = m_Format.nChannels;
  float* const pfBus = m_vBus.data() + size_t{dwOffset} * m_Format.nChannels;
  if (t.m_Format.nChannels == m_Format.nChannels && t.m_Format.wBitsPerSample == 16) {
    AjouteRun16(m_vSource.data(), dwFrames, nCanaux, run, pfBus, m_vCrete.data());
  } else {
    ConvertitRun(m_vSource.data(), t.m_Format, dwFrames, nCanaux, m_vConversion.data());
    AjouteRun(m_vConversion.data(), dwFrames, nCanaux, run, pfBus, m_vCrete.data());
  }
  if (run.llRampe + dwFrames - 1 > t.m_dwRampeFin) {
    t.m_dwRampeDebut = 0;
    t.m_dwRampeFin = 0;
  }
  return true;
}

/// Closes and opens a looping source again; llDebut is where its first sample will be heard. A ramp
/// goes on across the seam.
bool CMixout::RouvreLocked(TRANCHE_MIX& t, uint64_t llDebut) {
  t.m_pMedia->Close();
  PCMWAVEFORMAT format;
  if (!t.m_pMedia->Open(t.m_szPath, t.m_dwIn, t.m_dwOut, &format) || !FormatMixable(format) ||
      format.nSamplesPerSec != m_Format.nSamplesPerSec) {
    t.m_pMedia->Close();
    TraceOnce("mixout:boucle:" + t.m_szPath, "[" + t.m_szPath + "] ne peut etre rouvert");
    return false;
  }
  TraceOnceClear("mixout:boucle:" + t.m_szPath);
  t.m_Format = format;
  const auto llDecalage = static_cast<int64_t>(llDebut - t.m_dwDebut);
  t.m_dwDebut = llDebut;
  if (t.m_dwRampeFin > t.m_dwRampeDebut) {
    t.m_dwRampeDebut -= llDecalage;
    t.m_dwRampeFin -= llDecalage;
    t.m_fRampeOrigine += static_cast<double>(llDecalage) * t.m_fRampePente;
  }
  return true;
}

}  // namespace tonara
