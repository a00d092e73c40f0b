// Tranches and the device: start and stop, what plays a file and what ends it.
#include "audio/mixout.h"

#include <algorithm>
#include <new>
#include <utility>

#include "audio/mixe.h"
#include "audio/pcm.h"
#include "core/log.h"

namespace tonara {

CMixout g_Mixout;

namespace {

constexpr const char* kEtoiles = "***************************************\n";

void TraceGrave(const std::string& szTexte) {
  Trace(0, "%s", kEtoiles);
  Trace(1, "%s\n", szTexte.c_str());
  Trace(0, "%s", kEtoiles);
}

void TraceRefus(const std::string& szPath, uint32_t dwFreqBus, uint32_t dwFreqFichier) {
  Trace(0, "%s", kEtoiles);
  Trace(1, "[%s] Refusé (fréquence différente)\n", szPath.c_str());
  Trace(1, "Freq Play = %d, Freq fichier = %d\n", static_cast<int>(dwFreqBus), static_cast<int>(dwFreqFichier));
  Trace(0, "%s", kEtoiles);
}

/// A fade's length in frames.
uint32_t FonduEch(const PCMWAVEFORMAT& format, uint32_t dwMs) {
  return static_cast<uint32_t>(std::min(MsToEch(format, dwMs), static_cast<double>(kFonduMax)));
}

}  // namespace

CMixout::CMixout() = default;

CMixout::~CMixout() {
  StopAll();
  Stop();
}

TRANCHE_MIX* CMixout::TrancheLocked(int nTranche) {
  return nTranche >= 1 && nTranche <= NB_TRANCHES ? &m_Tranches[static_cast<size_t>(nTranche - 1)] : nullptr;
}

bool CMixout::EstLectureLocked(int nTranche, uint32_t dwLecture) {
  const TRANCHE_MIX* const pTranche = TrancheLocked(nTranche);
  return pTranche && (dwLecture == 0 || pTranche->m_dwLecture == dwLecture);
}

int CMixout::TrancheLibreLocked() const {
  for (int n = 0; n < NB_TRANCHES; ++n)
    if (!m_Tranches[static_cast<size_t>(n)].m_pMedia) return n + 1;
  return 0;
}

int CMixout::NbPrisesLocked() const {
  return static_cast<int>(
      std::count_if(m_Tranches.begin(), m_Tranches.end(), [](const TRANCHE_MIX& t) { return t.m_pMedia != nullptr; }));
}

void CMixout::DemarreLocked(int iDevice, int iNbBuffers, int iTailleMs, uint32_t dwDureeMax) {
  m_iDevice = iDevice;
  // A mistyped setting must not silence the shop.
  m_iNbBuffers = iNbBuffers > 0 ? iNbBuffers : 10;
  m_iTailleBuffer = iTailleMs > 0 ? iTailleMs : 50;
  m_dwDureeMax = dwDureeMax;
  m_hEvent.Reset();
}

bool CMixout::Start(int iDevice, int iNbBuffers, int iTailleMs, uint32_t dwDureeMax) {
  CGuard guard(m_Lock);
  if (m_hThread.IsRunning()) return false;
  DemarreLocked(iDevice, iNbBuffers, iTailleMs, dwDureeMax);
  return m_hThread.Start("mixout", CWorker::Priority::AboveNormal, [this] { ThreadMix(); });
}

bool CMixout::StartSansThread(int iDevice, int iNbBuffers, int iTailleMs, uint32_t dwDureeMax) {
  CGuard guard(m_Lock);
  if (m_hThread.IsRunning()) return false;
  DemarreLocked(iDevice, iNbBuffers, iTailleMs, dwDureeMax);
  return true;
}

void CMixout::Stop() {
  // The lock stays held over the join: the thread only ever tries it.
  CGuard guard(m_Lock);
  FermeSortieLocked();
  m_hThread.RequestStop();
  m_hEvent.Set();
  m_hThread.Stop();
}

int CMixout::NbTranchesPrises() {
  CGuard guard(m_Lock);
  return NbPrisesLocked();
}

bool CMixout::GetFormat(bool bBus, PCMWAVEFORMAT* pFormat) {
  if (!pFormat) return false;
  CGuard guard(m_Lock);
  *pFormat = bBus ? m_Format : m_Tranches[0].m_pMedia ? m_Tranches[0].m_Format : PCMWAVEFORMAT{};
  return true;
}

bool CMixout::OuvreSortieLocked(const PCMWAVEFORMAT& format) {
  const auto dwDevice = m_iDevice < 0 ? kWaveMapper : static_cast<uint32_t>(m_iDevice);
  if (!m_Sortie.Open(dwDevice, format, static_cast<uint32_t>(m_iNbBuffers), m_iTailleBuffer, &m_hEvent)) return false;
  m_bEnPause = true;
  m_Format = format;
  m_dwFramesBloc = m_Sortie.TailleBuffer() / format.nBlockAlign;
  m_vCrete.assign(format.nChannels, 0.0F);
  OublieNiveaux(format.nChannels);
  try {
    m_vBus.resize(size_t{m_dwFramesBloc} * format.nChannels);
    m_vConversion.resize(m_vBus.size());
    m_vSource.resize(m_Sortie.TailleBuffer());
  } catch (const std::bad_alloc&) {
    FermeSortieLocked();
    return false;
  }
  return true;
}

void CMixout::FermeSortieLocked() {
  if (m_Sortie.IsOpen()) {
    m_Sortie.Reset();
    m_Sortie.Close();
    // Positions count from the opening: a tranche that outlives it would seem to start anew with the next.
    for (TRANCHE_MIX& tranche : m_Tranches) tranche.m_bOrphelin = tranche.m_pMedia != nullptr;
  }
  m_bEnPause = false;
  m_Format = {};
  m_vCrete.clear();
  OublieNiveaux(0);
}

void CMixout::OublieNiveaux(size_t nCanaux) {
  CGuard guard(m_NiveauLock);
  m_pfCrete.assign(nCanaux, 0.0F);
  m_pfCrete2.assign(nCanaux, 0.0F);
}

void CMixout::GainDepartLocked(TRANCHE_MIX& tranche, float fGain, const char* szGroupe) {
  tranche.m_fGain = DbToGain(fGain);
  tranche.m_fGainMemo = 1.0F;
  if (!szGroupe) return;
  tranche.m_szGroupe = std::string(szGroupe).substr(0, 19);
  const GROUPE_MIX* pGroupe = GroupeLocked(szGroupe);
  if (!pGroupe) return;
  if (pGroupe->m_iEtat != 0) {
    tranche.m_fGain = DbToGain(pGroupe->m_fAutofade);
    tranche.m_fGainMemo = DbToGain(pGroupe->m_fLevel);
  } else {
    tranche.m_fGain = DbToGain(pGroupe->m_fLevel);
  }
}

int CMixout::PlayFichier(const std::string& szPath, int iMode, uint32_t dwIn, uint32_t dwOut, uint32_t dwFadeIn,
                         uint32_t dwFadeOut, float fGain, bool bBoucle, MsgTarget hWnd, uint32_t uMsg,
                         const char* szGroupe, uint32_t* pdwLecture) {
  if (pdwLecture) *pdwLecture = 0;
  if (szPath.empty()) return 0;
  if (iMode == kPlayExclusif && m_Sortie.IsOpen())
    for (int n = 1; n <= NB_TRANCHES; ++n) Abandonne(n, 0);
  {
    CGuard guard(m_Lock);
    Trace(1, "Play Fichier %s\n", szPath.c_str());
    if (iMode == kPlayExclusif && m_Sortie.IsOpen()) StopAllLocked();
    if (TrancheLibreLocked() == 0) {
      TraceGrave("Plus de tranches de mix libres");
      return 0;
    }
  }

  // Nobody else knows this source yet, so it opens without the lock.
  std::unique_ptr<CMedia> pMedia = CreeMedia(GetTypeMedia(szPath));
  PCMWAVEFORMAT format;
  if (!pMedia || !pMedia->Open(szPath, dwIn, dwOut, &format) || !FormatMixable(format)) {
    if (pMedia) pMedia->Close();
    TraceGrave("[" + szPath + "] ne peut etre ouvert");
    return 0;
  }

  CGuard guard(m_Lock);
  const int nTranche = TrancheLibreLocked();
  if (nTranche == 0) {  // taken meanwhile
    pMedia->Close();
    TraceGrave("Plus de tranches de mix libres");
    return 0;
  }
  if (m_Sortie.IsOpen() && format != m_Format && NbPrisesLocked() == 0) FermeSortieLocked();
  if (m_Format.nSamplesPerSec != 0 && m_Format.nSamplesPerSec != format.nSamplesPerSec) {
    pMedia->Close();
    TraceRefus(szPath, m_Format.nSamplesPerSec, format.nSamplesPerSec);
    return 0;
  }
  if (!m_Sortie.IsOpen() && !OuvreSortieLocked(format)) {
    pMedia->Close();
    Trace(1, "Erreur ouverture Wave\n");
    return 0;
  }

  TRANCHE_MIX& tranche = *TrancheLocked(nTranche);
  tranche = TRANCHE_MIX{};
  tranche.m_pMedia = std::move(pMedia);
  tranche.m_szPath = szPath;
  tranche.m_Format = format;
  tranche.m_dwIn = dwIn;
  tranche.m_dwOut = dwOut;
  tranche.m_bBoucle = bBoucle;
  tranche.m_dwFadeIn = FonduEch(format, dwFadeIn);
  tranche.m_dwFadeOut = FonduEch(format, dwFadeOut);
  GainDepartLocked(tranche, fGain, szGroupe);
  tranche.m_hWndFin = hWnd;
  tranche.m_uMsgFin = uMsg;
  m_dwLectures = std::max(m_dwLectures + 1, 1U);
  tranche.m_dwLecture = m_dwLectures;
  if (pdwLecture) *pdwLecture = tranche.m_dwLecture;
  // Heard when what is already written has played: position and queue in one number, so nothing can
  // finish between the reading of the two.
  tranche.m_dwDebut = m_Sortie.EchEcrites();
  tranche.m_bActif = true;
  m_nActifs.fetch_add(1, std::memory_order_acq_rel);
  {
    CGuard abort(m_AbortLock);
    m_pAbort[static_cast<size_t>(nTranche - 1)] = {tranche.m_pMedia.get(), tranche.m_dwLecture};
  }
  RemplitLocked();
  // The thread looks once in any case: if nothing was written, no block will ever wake it.
  m_hEvent.Set();
  return nTranche;
}

void CMixout::Abandonne(int nTranche, uint32_t dwLecture) {
  if (nTranche < 1 || nTranche > NB_TRANCHES) return;
  CGuard guard(m_AbortLock);
  const ABORT& abort = m_pAbort[static_cast<size_t>(nTranche - 1)];
  if (abort.m_pMedia && (dwLecture == 0 || dwLecture == abort.m_dwLecture)) abort.m_pMedia->Abort();
}

std::unique_ptr<CMedia> CMixout::LibereTrancheLocked(int nTranche) {
  TRANCHE_MIX* const pTranche = TrancheLocked(nTranche);
  if (!pTranche) return nullptr;
  {
    CGuard guard(m_AbortLock);
    m_pAbort[static_cast<size_t>(nTranche - 1)] = {};
  }
  if (std::exchange(pTranche->m_bActif, false)) m_nActifs.fetch_sub(1, std::memory_order_acq_rel);
  pTranche->m_bFin = false;
  pTranche->m_bOrphelin = false;
  return std::move(pTranche->m_pMedia);
}

void CMixout::StopTranche(int nTranche, uint32_t dwLecture) {
  // A source blocked in Read holds the lock: it has to be released first.
  Abandonne(nTranche, dwLecture);
  std::unique_ptr<CMedia> pMedia;
  {
    CGuard guard(m_Lock);
    if (!EstLectureLocked(nTranche, dwLecture)) return;
    pMedia = LibereTrancheLocked(nTranche);
  }
  if (!pMedia) return;
  // Nobody else knows it any more; closing a stream may take a while.
  pMedia->Close();
  pMedia.reset();
  m_hEvent.Set();
}

void CMixout::StopAllLocked() {
  for (int n = 1; n <= NB_TRANCHES; ++n)
    if (const std::unique_ptr<CMedia> pMedia = LibereTrancheLocked(n)) pMedia->Close();
}

void CMixout::StopAll() {
  for (int n = 1; n <= NB_TRANCHES; ++n) StopTranche(n);
}

}  // namespace tonara
